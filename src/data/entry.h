// Dump entries in the cache. The caller has made room.
#pragma once

#include "data/dump_file.h"
#include "format/byte_order.h"
#include "format/stored_value.h"

// Writes the entry of a value, or of NULL, at `to`. Returns the position behind it.
inline uint8_t *write_entry(uint8_t *to, const VALUE &value) {
    store_be16(to, value.null ? MARK_NULL : static_cast<uint16_t>(value.len));
    memcpy(to + MARK_SIZE, value.data, value.len);
    return to + MARK_SIZE + value.len;
}

// The end of what is in the cache.
inline uint8_t *cache_end(const ULDR *ul) {
    return ul->cache + ul->clen;
}

// Says that the cache is filled up to `end`.
inline void set_cache_end(ULDR *ul, const uint8_t *end) {
    ul->clen = static_cast<int32_t>(end - ul->cache);
}

// Appends the entry of a value, or of NULL.
inline void put_value(ULDR *ul, const VALUE &value) {
    set_cache_end(ul, write_entry(cache_end(ul), value));
}

// Appends a mark or a length.
inline void put_word(ULDR *ul, uint16_t mark) {
    store_be16(cache_end(ul), mark);
    ul->clen += MARK_SIZE;
}

// Appends bytes as they are.
inline void put_bytes(ULDR *ul, const uint8_t *data, uint32_t len) {
    memcpy(cache_end(ul), data, len);
    ul->clen += static_cast<int32_t>(len);
}

// Stores the length of the value that spans pieces, now that it is known. The place of the length may have
// been flushed meanwhile: its bytes in the file stay zero then, and the length lands in the cache, where
// later entries overwrite it.
inline void finish_value(ULDR *ul) {
    store_be16(ul->pl, static_cast<uint16_t>(ul->ccl));
    ul->pl = nullptr;
    ul->ccl = 0;
}
