#include "convert/column_list.h"

#include <algorithm>
#include <cstring>

#include "convert/dump_format.h"
#include "format/byte_order.h"
#include "values/column_type.h"

namespace vexlo {

namespace {

constexpr uint32_t DECLARED_MAX = 0x10000; // no column of any version is declared longer
constexpr uint32_t TYPE_MAX = 0xFF;        // the database has one byte for a type's code

} // namespace

// Control characters and blanks at its begin are in no name.
bool is_name_field(const uint8_t *p, size_t width) {
    const size_t size = strnlen(reinterpret_cast<const char *>(p), width);
    return size > 0 && p[0] != ' ' && std::all_of(p, p + size, [](uint8_t c) { return c >= ' '; }) &&
           std::all_of(p + size, p + width, [](uint8_t c) { return c == 0; });
}

std::string text_field(const uint8_t *p, size_t width) {
    const char *text = reinterpret_cast<const char *>(p);
    return {text, strnlen(text, width)};
}

ColumnInfo column_entry(const uint8_t *p) {
    return {(load_be32(p + COL_FLAG) & COL_FLAG_NATIONAL) != 0, load_be32(p + COL_CTYP),
            load_be32(p + COL_CLEN), text_field(p + COL_NAME, NAME_SIZE)};
}

ColumnInfo damaged_column_entry(const uint8_t *p) {
    ColumnInfo column = column_entry(p);
    if (column_kind(column.ctyp, false) == ColumnKind::unknown)
        column.ctyp = 0;
    if (!is_name_field(p + COL_NAME, NAME_SIZE))
        column.name.clear();
    column.clen = VALUE_MAX;
    return column;
}

bool is_column_entry(const uint8_t *p) {
    const ColumnKind kind = column_kind(load_be32(p + COL_CTYP), false);
    const bool is_long = kind == ColumnKind::long_text || kind == ColumnKind::long_raw;
    return has_column_form(p) && (load_be32(p + COL_CLEN) > 0 || is_long) &&
           is_name_field(p + COL_NAME, NAME_SIZE);
}

bool has_column_form(const uint8_t *p) {
    return load_be32(p + COL_FLAG) <= COL_FLAG_NATIONAL &&
           column_kind(load_be32(p + COL_CTYP), false) != ColumnKind::unknown &&
           load_be32(p + COL_CLEN) <= DECLARED_MAX;
}

bool may_be_column_entry(const uint8_t *p) {
    return load_be32(p + COL_FLAG) <= COL_FLAG_NATIONAL && load_be32(p + COL_CTYP) - 1 < TYPE_MAX &&
           load_be32(p + COL_CLEN) <= DECLARED_MAX && is_name_field(p + COL_NAME, NAME_SIZE);
}

} // namespace vexlo
