#include "bytes.h"

namespace vexlo_test {

bytes to_bytes(std::string_view text) {
    return bytes(text.begin(), text.end());
}

bytes from_hex(std::string_view hex) {
    bytes data;
    std::string digits;
    for (const char c : hex) {
        if (c == ' ')
            continue;
        digits += c;
        if (digits.size() == 2) {
            data.push_back(static_cast<std::uint8_t>(std::stoul(digits, nullptr, 16)));
            digits.clear();
        }
    }
    return data;
}

std::string to_hex(const bytes &data) {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string hex;
    for (std::uint8_t b : data) {
        hex += digits[b >> 4];
        hex += digits[b & 0xF];
    }
    return hex;
}

} // namespace vexlo_test
