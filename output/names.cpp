#include "output/names.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "values/hex.h"

namespace vexlo {

namespace {

constexpr size_t FILE_NAME_MAX = 180; // leaves room for an extension and the name of the unfinished file
constexpr std::string_view RESERVED = "/\\:*?\"'<>|%";
constexpr std::string_view KEPT_BY_SQLITE = "sqlite_";

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

// The begin of the name of at most `size` bytes that has no part of a character.
std::string cut(const std::string &name, size_t size) {
    if (name.size() <= size)
        return name;
    while (size > 0 && (static_cast<unsigned char>(name[size]) & 0xC0) == 0x80)
        --size;
    return name.substr(0, size);
}

std::string escaped(char c) {
    const auto byte = static_cast<uint8_t>(c);
    char digits[2];
    put_hex(&byte, 1, digits);
    return "%" + std::string(digits, sizeof digits);
}

} // namespace

size_t character_size(std::string_view text) {
    size_t size = 1;
    while (size < std::min<size_t>(text.size(), 4) && (static_cast<uint8_t>(text[size]) & 0xC0) == 0x80)
        ++size;
    return size;
}

std::string safe_file_name(std::string_view name) {
    std::string safe;
    while (!name.empty()) {
        const size_t size = character_size(name);
        const bool plain = !is_reserved(name[0]) && !(name[0] == '.' && safe.empty());
        const std::string character = plain ? std::string(name.substr(0, size)) : escaped(name[0]);
        if (safe.size() + character.size() > FILE_NAME_MAX)
            break;
        safe += character;
        name.remove_prefix(plain ? size : 1);
    }
    return safe.empty() ? "_" : safe;
}

std::string UniqueNames::take(const std::string &name) {
    const auto [first, is_new] = taken_.try_emplace(folded(name), 2U);
    if (is_new)
        return name;
    for (;;) {
        const std::string number = "_" + std::to_string(first->second++);
        const std::string candidate = cut(name, size_max_ - number.size()) + number;
        if (taken_.try_emplace(folded(candidate), 2U).second)
            return candidate;
    }
}

void UniqueNames::release(const std::string &name) {
    taken_.erase(folded(name));
}

std::string NameRules::in_case(const std::string &name) const {
    return lowercase ? folded(name) : name;
}

size_t NameRules::size_max() const {
    constexpr size_t POSTGRESQL_MAX = 63;
    return postgresql ? POSTGRESQL_MAX : UniqueNames::ANY_SIZE;
}

std::string NameRules::apply(const std::string &name) const {
    return cut(in_case(name), size_max());
}

// PostgreSQL keeps "pg_" for itself: it takes a table of such a name for one of its own, and no schema.
std::string NameRules::apply_to_owner(const std::string &name) const {
    const std::string text = apply(name);
    return postgresql && text.starts_with("pg_") ? cut("_" + text, size_max()) : text;
}

std::string NameRules::apply_to_table(const std::string &name) const {
    const std::string text = apply_to_owner(name);
    return sqlite ? sqlite_table_name(text) : text;
}

std::string NameRules::apply_to_column(const std::string &name) const {
    constexpr std::string_view SYSTEM_COLUMNS[] = {"tableoid", "xmin", "cmin", "xmax", "cmax", "ctid"};
    const std::string text = apply(name);
    const bool taken =
        std::find(std::begin(SYSTEM_COLUMNS), std::end(SYSTEM_COLUMNS), text) != std::end(SYSTEM_COLUMNS);
    return postgresql && taken ? text + "_" : text;
}

std::string sqlite_table_name(const std::string &name) {
    return folded(name).starts_with(KEPT_BY_SQLITE) ? "_" + name : name;
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
