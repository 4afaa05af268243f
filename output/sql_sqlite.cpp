// The dialect of SQLite.
#include "output/sql_dialect.h"
#include "output/sqlite_target.h"

namespace vexlo {

namespace {

class SqliteDialect : public SqlDialect {
public:
    CellStyle style() const override { return {}; }

    std::string prologue() const override { return "BEGIN;\n"; }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return sqlite_create_table(table, sqlite_table_name(table.name));
    }

    std::string table_name(const Table &table) const override {
        return quoted_identifier(sqlite_table_name(table.name));
    }

    bool put_cell(const Column &column, const Cell &cell, OutputFile &file) override {
        switch (cell.kind) {
        case CellKind::number:
            put_number(column, cell.view(), file);
            break;
        case CellKind::special:
            put_special(column, cell.view(), file);
            break;
        case CellKind::binary:
            file.append("X'");
            file.append_hex(cell.view());
            file.put('\'');
            break;
        default:
            put_text(cell.view(), file);
            break;
        }
        return true;
    }

private:
    static void put_number(const Column &column, std::string_view text, OutputFile &file) {
        if (column.kind == ColumnKind::number && sqlite_storage(text) == SqliteStorage::text)
            put_sql_string(text, file);
        else
            file.append(text);
    }

    // A literal beyond the range of a double is an infinity; NaN exists as text only.
    static void put_special(const Column &column, std::string_view text, OutputFile &file) {
        if (column.kind == ColumnKind::number || text == "NaN")
            put_sql_string(text, file);
        else
            file.append(text[0] == '-' ? "-9e999" : "9e999");
    }

    // A NUL would end the statement.
    static void put_text(std::string_view text, OutputFile &file) {
        size_t nul;
        while ((nul = text.find('\0')) != std::string_view::npos) {
            put_sql_string(text.substr(0, nul), file);
            file.append("||char(0)||");
            text.remove_prefix(nul + 1);
        }
        put_sql_string(text, file);
    }
};

} // namespace

std::unique_ptr<SqlDialect> make_sqlite_dialect() {
    return std::make_unique<SqliteDialect>();
}

} // namespace vexlo
