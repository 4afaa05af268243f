// The dialect of SQLite.
#include "output/sql_dialect.h"
#include "output/sqlite_target.h"

namespace vexlo {

namespace {

struct SqliteValues {
    const Column &column;
    ByteBuffer &bytes;

    bool null() { return plain("NULL"); }
    bool number(std::string_view digits) {
        const bool kept_as_text =
            column.kind == ColumnKind::number && sqlite_storage(digits) == SqliteStorage::text;
        return kept_as_text ? quoted(digits) : plain(digits);
    }
    // A literal beyond the range of a double is an infinity; NaN exists as text only.
    bool special(std::string_view name) {
        if (column.kind == ColumnKind::number || name == "NaN")
            return quoted(name);
        return plain(name[0] == '-' ? "-9e999" : "9e999");
    }
    bool moment(std::string_view form) { return quoted(form); }
    bool hex(std::string_view digits) { return quoted(digits); }
    bool binary(std::string_view data) {
        bytes.append("X'");
        bytes.append_hex(data);
        return plain("'");
    }
    // A NUL would end the statement.
    bool text(std::string_view utf8) {
        size_t nul;
        while ((nul = utf8.find('\0')) != std::string_view::npos) {
            put_sql_string(utf8.substr(0, nul), bytes);
            bytes.append("||char(0)||");
            utf8.remove_prefix(nul + 1);
        }
        return quoted(utf8);
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

class SqliteDialect : public SqlDialect {
public:
    std::string prologue() const override { return "BEGIN;\n"; }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return sqlite_create_table(table, sqlite_table_name(table.name));
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style({});
        return std::make_unique<InsertFormatter<SqliteValues>>(decoder,
                                                               sqlite_table_name(decoder.table().name));
    }
};

} // namespace

std::unique_ptr<SqlDialect> make_sqlite_dialect() {
    return std::make_unique<SqliteDialect>();
}

} // namespace vexlo
