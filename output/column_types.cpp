#include "output/column_types.h"

#include <algorithm>

#include "values/errors.h"

namespace vexlo {

namespace {

constexpr uint32_t VARCHAR_MAX = 4000; // longer ones are an option that a database may not have

struct TargetTypes {
    ColumnKind kind;
    const char *oracle;
    const char *postgresql;
    const char *sqlite;
};

// Texts and RAW have lengths, see below. A NUMBER of SQLite has no type: its affinity would turn a TEXT
// number that REAL cannot hold into REAL.
constexpr TargetTypes TYPES[] = {
    {ColumnKind::text, "", "text", "TEXT"},
    {ColumnKind::national_text, "", "text", "TEXT"},
    {ColumnKind::number, "NUMBER", "numeric", "/* NUMBER */"},
    {ColumnKind::date, "DATE", "timestamp(0)", "TEXT"},
    {ColumnKind::timestamp, "TIMESTAMP(9)", "timestamp", "TEXT"},
    {ColumnKind::timestamp_tz, "TIMESTAMP(9) WITH TIME ZONE", "timestamp with time zone", "TEXT"},
    {ColumnKind::timestamp_ltz, "TIMESTAMP(9) WITH LOCAL TIME ZONE", "timestamp with time zone", "TEXT"},
    {ColumnKind::interval_ym, "INTERVAL YEAR(9) TO MONTH", "interval", "TEXT"},
    {ColumnKind::interval_ds, "INTERVAL DAY(9) TO SECOND(9)", "interval", "TEXT"},
    {ColumnKind::binary_float, "BINARY_FLOAT", "real", "REAL"},
    {ColumnKind::binary_double, "BINARY_DOUBLE", "double precision", "REAL"},
    {ColumnKind::raw, "BLOB", "bytea", "BLOB"},
    {ColumnKind::long_text, "CLOB", "text", "TEXT"},
    {ColumnKind::long_raw, "BLOB", "bytea", "BLOB"},
    {ColumnKind::lob, "CLOB", "text", "TEXT"},
    {ColumnKind::rowid, "ROWID", "text", "TEXT"},
    {ColumnKind::unknown, "CLOB", "text", "TEXT"},
    {ColumnKind::ready_text, "", "text", "TEXT"},
    {ColumnKind::ready_integer, "NUMBER", "numeric", "INTEGER"},
};

const char *plain_type(ColumnKind kind, Dialect dialect) {
    for (const TargetTypes &row : TYPES)
        if (row.kind == kind)
            return dialect == Dialect::oracle       ? row.oracle
                   : dialect == Dialect::postgresql ? row.postgresql
                                                    : row.sqlite;
    return "";
}

std::string sized(const char *type, uint32_t length, uint32_t limit, const char *unit = "") {
    return std::string(type) + "(" + std::to_string(std::clamp(length, 1U, limit)) + unit + ")";
}

// A length in bytes holds elsewhere only where the text stays UTF-8; other text may need more bytes there,
// and has at most as many characters as bytes.
std::string oracle_text_type(const Column &column) {
    const bool fixed = column.ctyp == TYPE_CHAR;
    const uint32_t length = declared_characters(column);
    if (!fixed && column.clen > VARCHAR_MAX)
        return column.kind == ColumnKind::national_text ? "NCLOB" : "CLOB";
    if (column.kind == ColumnKind::national_text)
        return fixed ? sized("NCHAR", length, 1000) : sized("NVARCHAR2", length, 2000);
    if (length == 0)
        return sized("VARCHAR2", VARCHAR_MAX, VARCHAR_MAX, " CHAR");
    const char *unit = column.utf8 ? " BYTE" : " CHAR";
    return fixed ? sized("CHAR", length, 2000, unit) : sized("VARCHAR2", length, VARCHAR_MAX, unit);
}

std::string oracle_type(const Column &column) {
    const std::string plain = plain_type(column.kind, Dialect::oracle);
    if (plain.empty())
        return oracle_text_type(column);
    if (column.kind == ColumnKind::raw && column.clen <= ORACLE_RAW_MAX)
        return sized("RAW", column.clen, ORACLE_RAW_MAX);
    if (column.ctyp == TYPE_UROWID) // those that are no addresses of rows come as digits
        return sized("VARCHAR2", VARCHAR_MAX, VARCHAR_MAX, " CHAR");
    if (column.kind == ColumnKind::lob)
        return column.ctyp == TYPE_BLOB ? "BLOB" : column.national ? "NCLOB" : "CLOB";
    return plain;
}

// A value WITH LOCAL TIME ZONE that has no offset must not be read in the time zone of the session.
std::string postgresql_type(const Table &table, const Column &column) {
    if (column.kind == ColumnKind::timestamp_ltz && !table.local_zone)
        return plain_type(ColumnKind::timestamp, Dialect::postgresql);
    if (column.kind == ColumnKind::lob && column.ctyp == TYPE_BLOB)
        return plain_type(ColumnKind::raw, Dialect::postgresql);
    const uint32_t limit = postgresql_text_limit(column);
    return limit == 0 ? plain_type(column.kind, Dialect::postgresql) : sized("varchar", limit, VARCHAR_MAX);
}

} // namespace

Dialect dialect_of(const std::string &name) {
    if (name.empty())
        return Dialect::none;
    if (name == "oracle")
        return Dialect::oracle;
    if (name == "postgresql")
        return Dialect::postgresql;
    if (name == "sqlite")
        return Dialect::sqlite;
    throw UsageError("SQL dialect \"" + name + "\" is not known");
}

uint32_t declared_characters(const Column &column) {
    return column.characters != 0 ? column.characters : column.clen;
}

uint32_t postgresql_text_limit(const Column &column) {
    if (column.kind != ColumnKind::text && column.kind != ColumnKind::national_text)
        return 0;
    const uint32_t length = declared_characters(column);
    return length <= VARCHAR_MAX ? length : 0;
}

std::string column_type(const Table &table, const Column &column, Dialect dialect) {
    if (dialect == Dialect::oracle)
        return oracle_type(column);
    if (dialect == Dialect::postgresql)
        return postgresql_type(table, column);
    if (column.kind == ColumnKind::lob && column.ctyp == TYPE_BLOB)
        return plain_type(ColumnKind::raw, dialect);
    return plain_type(column.kind, dialect);
}

} // namespace vexlo
