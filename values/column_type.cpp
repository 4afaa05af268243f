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
    LengthRange lengths; // of stored values, where the declared length does not say more
};

constexpr LengthRange ANY_LENGTH{1, VALUE_SIZE_MAX};

constexpr TypeRow TYPES[] = {
    {TYPE_VARCHAR2, ColumnKind::text, ColumnKind::national_text, "VARCHAR2", "NVARCHAR2", true, ANY_LENGTH},
    {TYPE_NUMBER, ColumnKind::number, ColumnKind::number, "NUMBER", "NUMBER", false, {1, 22}},
    {TYPE_LONG, ColumnKind::long_text, ColumnKind::long_text, "LONG", "LONG", false, ANY_LENGTH},
    {TYPE_ROWID_OLD, ColumnKind::rowid, ColumnKind::rowid, "ROWID", "ROWID", false, ANY_LENGTH},
    {TYPE_DATE, ColumnKind::date, ColumnKind::date, "DATE", "DATE", false, {7, 7}},
    {TYPE_RAW, ColumnKind::raw, ColumnKind::raw, "RAW", "RAW", true, ANY_LENGTH},
    {TYPE_LONG_RAW, ColumnKind::long_raw, ColumnKind::long_raw, "LONG RAW", "LONG RAW", false, ANY_LENGTH},
    {TYPE_ROWID, ColumnKind::rowid, ColumnKind::rowid, "ROWID", "ROWID", false, ANY_LENGTH},
    {TYPE_CHAR, ColumnKind::text, ColumnKind::national_text, "CHAR", "NCHAR", true, ANY_LENGTH},
    {TYPE_BINARY_FLOAT,
     ColumnKind::binary_float,
     ColumnKind::binary_float,
     "BINARY_FLOAT",
     "BINARY_FLOAT",
     false,
     {4, 4}},
    {TYPE_BINARY_DOUBLE,
     ColumnKind::binary_double,
     ColumnKind::binary_double,
     "BINARY_DOUBLE",
     "BINARY_DOUBLE",
     false,
     {8, 8}},
    {TYPE_CLOB, ColumnKind::lob, ColumnKind::lob, "CLOB", "NCLOB", false, ANY_LENGTH},
    {TYPE_BLOB, ColumnKind::lob, ColumnKind::lob, "BLOB", "BLOB", false, ANY_LENGTH},
    {TYPE_TIMESTAMP, ColumnKind::timestamp, ColumnKind::timestamp, "TIMESTAMP", "TIMESTAMP", false, {7, 11}},
    {TYPE_TIMESTAMP_TZ,
     ColumnKind::timestamp_tz,
     ColumnKind::timestamp_tz,
     "TIMESTAMP WITH TIME ZONE",
     "TIMESTAMP WITH TIME ZONE",
     false,
     {13, 13}},
    {TYPE_INTERVAL_YM,
     ColumnKind::interval_ym,
     ColumnKind::interval_ym,
     "INTERVAL YEAR TO MONTH",
     "INTERVAL YEAR TO MONTH",
     false,
     {5, 5}},
    {TYPE_INTERVAL_DS,
     ColumnKind::interval_ds,
     ColumnKind::interval_ds,
     "INTERVAL DAY TO SECOND",
     "INTERVAL DAY TO SECOND",
     false,
     {11, 11}},
    {TYPE_UROWID, ColumnKind::rowid, ColumnKind::rowid, "UROWID", "UROWID", false, ANY_LENGTH},
    {TYPE_TIMESTAMP_LTZ,
     ColumnKind::timestamp_ltz,
     ColumnKind::timestamp_ltz,
     "TIMESTAMP WITH LOCAL TIME ZONE",
     "TIMESTAMP WITH LOCAL TIME ZONE",
     false,
     {7, 11}},
};

const TypeRow *find_type(uint32_t ctyp) {
    for (const TypeRow &row : TYPES)
        if (row.ctyp == ctyp)
            return &row;
    return nullptr;
}

// "NAME(7)".
std::string with_number(std::string name, uint32_t number) {
    return name.append("(").append(std::to_string(number)).append(")");
}

} // namespace

ColumnKind column_kind(uint32_t ctyp, bool national) {
    const TypeRow *row = find_type(ctyp);
    if (row == nullptr)
        return ColumnKind::unknown;
    return national ? row->national_kind : row->kind;
}

LengthRange value_lengths(ColumnKind kind, uint32_t clen) {
    for (const TypeRow &row : TYPES) {
        if (row.kind != kind && row.national_kind != kind)
            continue;
        return row.with_length && clen >= 1 && clen <= VALUE_SIZE_MAX ? LengthRange{1, clen} : row.lengths;
    }
    return ANY_LENGTH;
}

std::string type_text(uint32_t ctyp, bool national, uint32_t clen) {
    const TypeRow *row = find_type(ctyp);
    if (row == nullptr)
        return with_number("UNKNOWN", ctyp);
    const char *name = national ? row->national_name : row->name;
    return row->with_length ? with_number(name, clen) : name;
}

} // namespace vexlo
