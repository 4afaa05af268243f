// Reading the columns of one dictionary row, in order. A dictionary row is read by position: the length byte
// of a column is taken as it stands, 255 alone meaning NULL, and a map may read past the columns that the
// piece holds.
#pragma once

#include "block.h"
#include "value.h"
#include "vexlo.h"

struct ROW_CURSOR {
    const uint8_t *p;
    const uint8_t *end; // of the block
    bool damaged;       // a column left the block; everything read since then is empty
};

/// The next column, its length byte 254 taken for a length.
inline VALUE read_column(ROW_CURSOR &row) {
    if (!row.damaged && row.p < row.end) {
        const uint8_t len = *row.p++;
        if (len == 0xFF)
            return {row.p, 0, true};
        if (row.end - row.p >= len) {
            row.p += len;
            return {row.p - len, len, false};
        }
    }
    row.damaged = true;
    return {row.end, 0, true};
}

/// The next column as a number; NULL is 0.
inline uint32_t read_number(ROW_CURSOR &row) {
    const VALUE value = read_column(row);
    return value.null ? 0 : static_cast<uint32_t>(ora_number_to_int(value.data, static_cast<int>(value.len)));
}

/// Copies a value into a field of `size` bytes, cut so that a NUL stays behind it.
inline void copy_text(char *field, size_t size, const VALUE &value) {
    const size_t len = value.len < size - 1 ? value.len : size - 1;
    memcpy(field, value.data, len);
    field[len] = '\0';
}

/// The next column as a name of at most 31 characters; NULL is empty.
inline void read_name(ROW_CURSOR &row, char (&name)[NAME_SIZE]) {
    copy_text(name, NAME_SIZE, read_column(row));
}

/// The next column with its long form: 254 announces a 16-bit length.
inline VALUE read_long_column(ROW_CURSOR &row) {
    VALUE value;
    if (!row.damaged && next_value(row.p, row.end, &value))
        return value;
    row.damaged = true;
    return {row.end, 0, true};
}

/// Passes over `n` columns.
inline void skip(ROW_CURSOR &row, int n) {
    const uint8_t *p = row.damaged ? nullptr : skip_columns(row.p, row.end, n);
    if (p == nullptr)
        row.damaged = true;
    else
        row.p = p;
}
