#include "model.h"

#include <algorithm>
#include <utility>

#include "vexlo.h"

namespace sample {

namespace {

constexpr uint32_t NUMBER_LENGTH = 22;
constexpr uint32_t DATE_LENGTH = 7;
constexpr uint32_t DATABASE_CHARSET_FORM = 1;

} // namespace

ColumnDef typed_column(std::string name, uint32_t type, uint32_t length) {
    ColumnDef def;
    def.name = std::move(name);
    def.type = type;
    def.length = length;
    return def;
}

ColumnDef number_column(std::string name) {
    return typed_column(std::move(name), TYPE_NUMBER, NUMBER_LENGTH);
}

ColumnDef varchar2_column(std::string name, uint32_t length) {
    ColumnDef def = typed_column(std::move(name), TYPE_VARCHAR2, length);
    def.charset_form = DATABASE_CHARSET_FORM;
    return def;
}

ColumnDef char_column(std::string name, uint32_t length) {
    ColumnDef def = typed_column(std::move(name), TYPE_CHAR, length);
    def.charset_form = DATABASE_CHARSET_FORM;
    return def;
}

ColumnDef date_column(std::string name) {
    return typed_column(std::move(name), TYPE_DATE, DATE_LENGTH);
}

bool is_lob_column(const ColumnDef &column) {
    return column.type == TYPE_CLOB || column.type == TYPE_BLOB || column.type == TYPE_JSON ||
           (column.property & COLUMN_LOB_INSIDE) != 0;
}

bool is_character_lob(const ColumnDef &column) {
    return column.type == TYPE_CLOB || (is_lob_column(column) && column.type == TYPE_VARCHAR2);
}

Value guard_value(std::span<const uint32_t> guard_ids) {
    Bytes bits;
    for (uint32_t id : guard_ids) {
        bits.resize(std::max<size_t>(bits.size(), id / 8 + 1));
        bits[id / 8] = static_cast<uint8_t>(bits[id / 8] | 1 << (id & 7));
    }
    return bits;
}

} // namespace sample
