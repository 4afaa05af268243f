// What the entries of a table's rows can look like: the lengths that a column's values have, and whether
// bytes are a value of the column at all.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "convert/dump_file.h"
#include "values/column_type.h"
#include "values/row.h"

namespace vexlo {

// The lengths of a column's values. A length is possible when it is `low` plus a multiple of `step_mask` + 1
// that is at most `span`. What is a mark in place of a length is never one.
struct ColumnRule {
    ColumnKind kind;
    uint32_t low;
    uint32_t span;
    uint32_t step_mask;
    uint32_t declared; // a possible length above it is odd, no more
    bool free_length;  // damage can hide in a value: its length says how much of what follows belongs to it

    bool possible(uint32_t size) const { return size - low <= span && ((size - low) & step_mask) == 0; }
};

// A text may be four times as long as its column is declared: the length there can be one of characters, and
// what converts a character set in place lengthens what is stored.
ColumnRule column_rule(const ColumnInfo &column);

// Whether a value of this kind can end with a zero byte, so that what follows it looks like the begin of a
// row.
bool can_end_with_zero(ColumnKind kind);

// Whether the bytes are a value of the kind. Text is one when it holds no zero byte (or is of two bytes a
// character and holds no zero character); RAW is whatever it is. A NUMBER is in the form that databases
// write; the infinities, which hardly any table has, look too much like other bytes.
bool is_sound_value(ColumnKind kind, const uint8_t *data, size_t size);

// Whether the bytes, a sound value of the kind, speak for it: of bytes that are something else few would be
// one.
bool is_telling_value(ColumnKind kind, const uint8_t *data, size_t size);

// What people write: bytes of other types hold control characters.
bool is_readable(const uint8_t *data, size_t size);

} // namespace vexlo
