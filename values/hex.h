// Bytes as hexadecimal digits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

// Writes two upper-case digits for each of the `size` bytes at `data`; returns the end.
inline char *put_hex(const uint8_t *data, size_t size, char *out) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    for (size_t i = 0; i < size; ++i) {
        *out++ = DIGITS[data[i] >> 4];
        *out++ = DIGITS[data[i] & 0x0F];
    }
    return out;
}

} // namespace vexlo
