#include "values/column_type.h"

namespace vexlo {

namespace {

struct TypeRow {
    uint32_t ctyp;
    ColumnKind kind;
    ColumnKind national_kind;
    const char *name;
    const char *national_name;
    bool with_length;
};

constexpr TypeRow TYPES[] = {
    {1, ColumnKind::text, ColumnKind::national_text, "VARCHAR2", "NVARCHAR2", true},
    {2, ColumnKind::number, ColumnKind::number, "NUMBER", "NUMBER", false},
    {8, ColumnKind::long_text, ColumnKind::long_text, "LONG", "LONG", false},
    {12, ColumnKind::date, ColumnKind::date, "DATE", "DATE", false},
    {23, ColumnKind::raw, ColumnKind::raw, "RAW", "RAW", true},
    {24, ColumnKind::long_raw, ColumnKind::long_raw, "LONG RAW", "LONG RAW", false},
    {96, ColumnKind::text, ColumnKind::national_text, "CHAR", "NCHAR", true},
    {100, ColumnKind::binary_float, ColumnKind::binary_float, "BINARY_FLOAT", "BINARY_FLOAT", false},
    {101, ColumnKind::binary_double, ColumnKind::binary_double, "BINARY_DOUBLE", "BINARY_DOUBLE", false},
    {112, ColumnKind::lob, ColumnKind::lob, "CLOB", "NCLOB", false},
    {113, ColumnKind::lob, ColumnKind::lob, "BLOB", "BLOB", false},
    {180, ColumnKind::timestamp, ColumnKind::timestamp, "TIMESTAMP", "TIMESTAMP", false},
    {181, ColumnKind::timestamp_tz, ColumnKind::timestamp_tz, "TIMESTAMP WITH TIME ZONE",
     "TIMESTAMP WITH TIME ZONE", false},
    {182, ColumnKind::interval_ym, ColumnKind::interval_ym, "INTERVAL YEAR TO MONTH",
     "INTERVAL YEAR TO MONTH", false},
    {183, ColumnKind::interval_ds, ColumnKind::interval_ds, "INTERVAL DAY TO SECOND",
     "INTERVAL DAY TO SECOND", false},
    {231, ColumnKind::timestamp_ltz, ColumnKind::timestamp_ltz, "TIMESTAMP WITH LOCAL TIME ZONE",
     "TIMESTAMP WITH LOCAL TIME ZONE", false},
};

const TypeRow *find_type(uint32_t ctyp) {
    for (const TypeRow &row : TYPES)
        if (row.ctyp == ctyp)
            return &row;
    return nullptr;
}

} // namespace

ColumnKind column_kind(uint32_t ctyp, bool national) {
    const TypeRow *row = find_type(ctyp);
    if (row == nullptr)
        return ColumnKind::unknown;
    return national ? row->national_kind : row->kind;
}

LengthRange value_lengths(ColumnKind kind, uint32_t clen) {
    switch (kind) {
    case ColumnKind::number:
        return {1, 22};
    case ColumnKind::date:
        return {7, 7};
    case ColumnKind::timestamp:
    case ColumnKind::timestamp_ltz:
        return {7, 11};
    case ColumnKind::timestamp_tz:
        return {13, 13};
    case ColumnKind::interval_ym:
        return {5, 5};
    case ColumnKind::interval_ds:
        return {11, 11};
    case ColumnKind::binary_float:
        return {4, 4};
    case ColumnKind::binary_double:
        return {8, 8};
    case ColumnKind::text:
    case ColumnKind::national_text:
    case ColumnKind::raw:
        return {1, clen >= 1 && clen <= VALUE_SIZE_MAX ? clen : VALUE_SIZE_MAX};
    case ColumnKind::long_text:
    case ColumnKind::long_raw:
    case ColumnKind::lob:
    case ColumnKind::unknown:
    case ColumnKind::ready_text:
    case ColumnKind::ready_integer:
        break;
    }
    return {1, VALUE_SIZE_MAX};
}

std::string type_text(uint32_t ctyp, bool national, uint32_t clen) {
    const TypeRow *row = find_type(ctyp);
    if (row == nullptr)
        return "UNKNOWN(" + std::to_string(ctyp) + ")";
    std::string text = national ? row->national_name : row->name;
    if (row->with_length)
        text += "(" + std::to_string(clen) + ")";
    return text;
}

} // namespace vexlo
