// The column list that a table's section begins with.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vexlo {

struct ColumnInfo {
    bool national;    // uses the national character set
    uint32_t ctyp;    // Oracle's type code
    uint32_t clen;    // declared length in bytes
    std::string name; // bytes as stored
};

// The text in a field of `width` bytes: it ends at its first NUL or at its width.
std::string text_field(const uint8_t *p, size_t width);

// The column entry in the COL_SIZE bytes at `p`.
ColumnInfo column_entry(const uint8_t *p);

// What can be had of a damaged entry: its type, 0 when that is none, and its name, empty when that is none.
ColumnInfo damaged_column_entry(const uint8_t *p);

// Whether the COL_SIZE bytes at `p` can be nothing but a column entry: a known type, a length it can have, a
// name.
bool is_column_entry(const uint8_t *p);

// Whether they are a column entry where one is expected, whatever its type.
bool may_be_column_entry(const uint8_t *p);

// Whether they have the flag, type and length of a known type's column, whatever its name.
bool has_column_form(const uint8_t *p);

// Whether the field of `width` bytes holds a name, then nothing but zeros.
bool is_name_field(const uint8_t *p, size_t width);

} // namespace vexlo
