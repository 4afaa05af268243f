// Unaligned big-endian loads: every integer of a dump file, and most multi-byte fields inside values.
#pragma once

#include <cstdint>
#include <cstring>

namespace convert {

inline uint16_t load_be16(const uint8_t *p) {
    return static_cast<uint16_t>((p[0] << 8) | p[1]);
}

inline uint32_t load_be32(const uint8_t *p) {
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return __builtin_bswap32(v);
}

inline uint64_t load_be64(const uint8_t *p) {
    uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return __builtin_bswap64(v);
}

} // namespace convert
