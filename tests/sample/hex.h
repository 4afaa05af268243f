// Bytes as hexadecimal text, so that expectations read like a dump.
#pragma once

#include <string>
#include <string_view>

#include "sample/bytes.h"

// "C1 02" for {0xC1, 0x02}.
inline std::string hex(sample::ByteView bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string s;
    for (uint8_t b : bytes) {
        if (!s.empty())
            s += ' ';
        s += digits[b >> 4];
        s += digits[b & 15];
    }
    return s;
}

inline std::string hex(sample::ByteView bytes, size_t offset, size_t count) {
    return hex(bytes.subspan(offset, count));
}
