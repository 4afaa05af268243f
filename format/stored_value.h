// Stored column values: a length and that many bytes, or NULL. A step from value to value stays inside the
// block or says that it cannot.
#pragma once

#include "format/byte_order.h"

// One stored column value.
struct VALUE {
    const uint8_t *data;
    uint32_t len;
    bool null;
};

// Reads the value at `p` and steps behind it. A first byte up to 0xFD is the length, 0xFE announces a 16-bit
// little-endian length, 0xFF is NULL. False when the value leaves [p, end).
inline bool next_value(const uint8_t *&p, const uint8_t *end, VALUE *value) {
    if (p >= end)
        return false;
    uint32_t len = *p++;
    if (len >= 0xFE) {
        if (len == 0xFF) {
            *value = {p, 0, true};
            return true;
        }
        if (end - p < 2)
            return false;
        len = load_le16(p);
        p += 2;
    }
    if (end - p < static_cast<int64_t>(len))
        return false;
    *value = {p, len, false};
    p += len;
    return true;
}

// As next_value for a value that continues in another piece: 0xFF is a plain length there.
inline bool next_cut_value(const uint8_t *&p, const uint8_t *end, VALUE *value) {
    if (p >= end || *p != 0xFF)
        return next_value(p, end, value);
    if (end - p < 1 + 0xFF)
        return false;
    *value = {p + 1, 0xFF, false};
    p += 1 + 0xFF;
    return true;
}

// The position behind `ncol` encoded column values at `p`, or null when one of them leaves [p, end). With
// `ncol` of 0 or less `p` itself.
const uint8_t *skip_columns(const uint8_t *p, const uint8_t *end, int32_t ncol);
