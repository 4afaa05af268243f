#include "bytes.h"

namespace vexlo_test {

bytes to_bytes(std::string_view text) {
    return bytes(text.begin(), text.end());
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
