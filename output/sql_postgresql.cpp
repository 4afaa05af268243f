// The dialect of PostgreSQL.
#include "output/create_table.h"
#include "output/sql_dialect.h"

namespace vexlo {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD"; // U+FFFD
constexpr uint32_t BLOB_TYPE = 113;
constexpr uint32_t VARCHAR_MAX = 4000;

// Lengths are in bytes here and in characters there, so a declared length is never too short.
std::string varchar_type(uint32_t clen) {
    return clen >= 1 && clen <= VARCHAR_MAX ? "varchar(" + std::to_string(clen) + ")" : "text";
}

std::string column_type(const Column &column) {
    switch (column.kind) {
    case ColumnKind::text:
    case ColumnKind::national_text:
        return varchar_type(column.clen);
    case ColumnKind::number:
    case ColumnKind::ready_integer:
        return "numeric";
    case ColumnKind::date:
        return "timestamp(0)";
    case ColumnKind::timestamp:
        return "timestamp";
    case ColumnKind::timestamp_tz:
    case ColumnKind::timestamp_ltz:
        return "timestamp with time zone";
    case ColumnKind::interval_ym:
    case ColumnKind::interval_ds:
        return "interval";
    case ColumnKind::binary_float:
        return "real";
    case ColumnKind::binary_double:
        return "double precision";
    case ColumnKind::raw:
    case ColumnKind::long_raw:
        return "bytea";
    case ColumnKind::lob:
        return column.ctyp == BLOB_TYPE ? "bytea" : "text";
    case ColumnKind::long_text:
    case ColumnKind::unknown:
    case ColumnKind::ready_text:
        break;
    }
    return "text";
}

struct PostgresqlValues {
    const Column &column;
    ByteBuffer &bytes;

    bool null() { return plain("NULL"); }
    bool number(std::string_view digits) { return plain(digits); }
    bool special(std::string_view name) { return quoted(name); }
    bool moment(std::string_view form) { return quoted(form); }
    bool hex(std::string_view digits) { return quoted(digits); }
    bool binary(std::string_view data) {
        bytes.append("'\\x");
        bytes.append_hex(data);
        return plain("'");
    }
    // The server has no place for NUL in a text.
    bool text(std::string_view utf8) {
        if (utf8.find('\0') == std::string_view::npos)
            return quoted(utf8);
        std::string replaced;
        for (const char c : utf8)
            replaced += c == '\0' ? REPLACEMENT : std::string_view(&c, 1);
        quoted(replaced);
        return false;
    }

private:
    bool plain(std::string_view words) {
        bytes.append(words);
        return true;
    }
    bool quoted(std::string_view words) {
        put_sql_string(words, bytes);
        return true;
    }
};

class PostgresqlDialect : public SqlDialect {
public:
    std::string prologue() const override {
        return "SET client_encoding = 'UTF8';\nSET standard_conforming_strings = on;\nBEGIN;\n";
    }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return create_table_statement(table, table.name, column_type);
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style({MomentStyle::postgresql, IntervalStyle::iso});
        return std::make_unique<InsertFormatter<PostgresqlValues>>(decoder, decoder.table().name);
    }
};

} // namespace

std::unique_ptr<SqlDialect> make_postgresql_dialect() {
    return std::make_unique<PostgresqlDialect>();
}

} // namespace vexlo
