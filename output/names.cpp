#include "output/names.h"

#include "values/hex.h"

namespace vexlo {

namespace {

constexpr size_t FILE_NAME_MAX = 180; // leaves room for an extension and the name of the unfinished file
constexpr std::string_view RESERVED = "/\\:*?\"'<>|%";

bool is_reserved(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0x20 || byte == 0x7F || RESERVED.find(c) != std::string_view::npos;
}

std::string folded(std::string_view name) {
    std::string text(name);
    for (char &c : text)
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c + ('a' - 'A'));
    return text;
}

} // namespace

std::string safe_file_name(std::string_view name) {
    std::string safe;
    for (const char c : name) {
        if (safe.size() >= FILE_NAME_MAX)
            break;
        if (!is_reserved(c) && !(c == '.' && safe.empty())) {
            safe += c;
            continue;
        }
        const auto byte = static_cast<uint8_t>(c);
        char digits[2];
        put_hex(&byte, 1, digits);
        safe += '%';
        safe.append(digits, sizeof digits);
    }
    return safe.empty() ? "_" : safe;
}

std::string UniqueNames::take(const std::string &name) {
    const auto [first, is_new] = taken_.try_emplace(folded(name), 2U);
    if (is_new)
        return name;
    for (;;) {
        const std::string candidate = name + "_" + std::to_string(first->second++);
        if (taken_.try_emplace(folded(candidate), 2U).second)
            return candidate;
    }
}

std::string quoted_identifier(std::string_view name) {
    std::string quoted = "\"";
    for (const char c : name) {
        if (c == '\0')
            continue;
        if (c == '"')
            quoted += '"';
        quoted += c;
    }
    return quoted + '"';
}

} // namespace vexlo
