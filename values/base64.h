// Bytes as base64, with padding.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vexlo {

constexpr size_t base64_size(size_t bytes) {
    return (bytes + 2) / 3 * 4;
}

// Writes `data` to `out`, which has room for base64_size() characters; returns the end.
inline char *write_base64(std::string_view data, char *out) {
    constexpr char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const auto byte = [&](size_t at) -> uint32_t {
        return at < data.size() ? static_cast<unsigned char>(data[at]) : 0;
    };
    for (size_t at = 0; at < data.size(); at += 3) {
        const uint32_t bits = byte(at) << 16 | byte(at + 1) << 8 | byte(at + 2);
        *out++ = DIGITS[bits >> 18];
        *out++ = DIGITS[bits >> 12 & 63];
        *out++ = at + 1 < data.size() ? DIGITS[bits >> 6 & 63] : '=';
        *out++ = at + 2 < data.size() ? DIGITS[bits & 63] : '=';
    }
    return out;
}

} // namespace vexlo
