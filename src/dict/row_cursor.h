// Reading the columns of one dictionary row, in order. A dictionary row is read by position: the length byte
// of a column is taken as it stands, 255 alone meaning NULL, and a map may read past the columns that the
// piece holds. A column of the piece that leaves the block is damage; past them, where the block ends,
// columns are NULL.
#pragma once

#include "format/block.h"
#include "format/number_to_int.h"
#include "format/stored_value.h"
#include "value.h"
#include "vexlo.h"

struct ROW_CURSOR {
    const uint8_t *p;
    const uint8_t *end; // of the block
    int stored;         // columns of the piece not read yet
    bool damaged;       // one of them left the block
};

// The value of a column that leaves the block: NULL, like all that follow it.
inline VALUE leave_block(ROW_CURSOR &row) {
    row.damaged = row.damaged || row.stored > 0;
    row.p = row.end;
    return {row.end, 0, true};
}

// The next column, its length byte 254 taken for a length.
inline VALUE read_column(ROW_CURSOR &row) {
    if (row.p >= row.end)
        return leave_block(row);
    const uint8_t len = *row.p;
    if (len != 0xFF && row.end - row.p <= len)
        return leave_block(row);
    row.stored--;
    row.p++;
    if (len == 0xFF)
        return {row.p, 0, true};
    row.p += len;
    return {row.p - len, len, false};
}

// The next column with its long form: 254 announces a 16-bit length.
inline VALUE read_long_column(ROW_CURSOR &row) {
    VALUE value;
    if (!next_value(row.p, row.end, &value))
        return leave_block(row);
    row.stored--;
    return value;
}

// The next column as a number; NULL is 0.
inline uint32_t read_number(ROW_CURSOR &row) {
    const VALUE value = read_column(row);
    return value.null ? 0 : static_cast<uint32_t>(ora_number_to_int(value.data, static_cast<int>(value.len)));
}

// Copies a value into a field of `size` bytes, cut so that a NUL stays behind it.
inline void copy_text(char *field, size_t size, const VALUE &value) {
    const size_t len = value.len < size - 1 ? value.len : size - 1;
    memcpy(field, value.data, len);
    field[len] = '\0';
}

// The next column as a name of at most 31 characters; NULL is empty.
inline void read_name(ROW_CURSOR &row, char (&name)[NAME_SIZE]) {
    copy_text(name, NAME_SIZE, read_column(row));
}

// Passes over `n` columns.
inline void skip(ROW_CURSOR &row, int n) {
    for (; n > 0; n--)
        read_long_column(row);
}
