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
        break;
    }
    return "text";
}

class PostgresqlDialect : public SqlDialect {
public:
    CellStyle style() const override { return {MomentStyle::postgresql, IntervalStyle::iso}; }

    std::string prologue() const override {
        return "SET client_encoding = 'UTF8';\nSET standard_conforming_strings = on;\nBEGIN;\n";
    }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return create_table_statement(table, table.name, column_type);
    }

    bool put_cell(const Column &, const Cell &cell, OutputFile &file) override {
        switch (cell.kind) {
        case CellKind::number:
            file.append(cell.view());
            return true;
        case CellKind::binary:
            file.append("'\\x");
            file.append_hex(cell.view());
            file.put('\'');
            return true;
        case CellKind::text:
            return put_text(cell.view(), file);
        default:
            put_sql_string(cell.view(), file);
            return true;
        }
    }

private:
    // The server has no place for NUL in a text.
    static bool put_text(std::string_view text, OutputFile &file) {
        if (text.find('\0') == std::string_view::npos) {
            put_sql_string(text, file);
            return true;
        }
        std::string replaced;
        for (const char c : text)
            replaced += c == '\0' ? REPLACEMENT : std::string_view(&c, 1);
        put_sql_string(replaced, file);
        return false;
    }
};

} // namespace

std::unique_ptr<SqlDialect> make_postgresql_dialect() {
    return std::make_unique<PostgresqlDialect>();
}

} // namespace vexlo
