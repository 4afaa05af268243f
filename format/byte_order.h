// The only place that knows byte order. Datafiles and dictionary files are little-endian, next-piece
// addresses inside row pieces and dump files big-endian. Nothing here checks bounds: callers hold a checked
// pointer.
#pragma once

#include <cstdint>
#include <cstring>

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "datafiles are read in host order");

inline uint16_t load_le16(const uint8_t *p) {
    uint16_t v;
    memcpy(&v, p, sizeof v);
    return v;
}

inline uint32_t load_le32(const uint8_t *p) {
    uint32_t v;
    memcpy(&v, p, sizeof v);
    return v;
}

inline uint16_t load_be16(const uint8_t *p) {
    return __builtin_bswap16(load_le16(p));
}

inline uint32_t load_be32(const uint8_t *p) {
    return __builtin_bswap32(load_le32(p));
}

inline uint64_t load_be64(const uint8_t *p) {
    uint64_t v;
    memcpy(&v, p, sizeof v);
    return __builtin_bswap64(v);
}

inline void store_be16(uint8_t *p, uint16_t v) {
    v = __builtin_bswap16(v);
    memcpy(p, &v, sizeof v);
}

inline uint32_t to_be32(uint32_t v) {
    return __builtin_bswap32(v);
}

inline uint64_t to_be64(uint64_t v) {
    return __builtin_bswap64(v);
}
