// The dialect of SQLite.
#include "output/create_table.h"
#include "output/sql_dialect.h"
#include "output/sqlite_target.h"

namespace vexlo {

namespace {

constexpr uint64_t SCRIPT_VALUE_MAX =
    SQLITE_LENGTH_MAX / 2 - 1000; // in digits, with the rest of its statement
constexpr std::string_view CAST_HEAD = "CAST(", CAST_TAIL = " AS TEXT)"; // around bytes that are a text
constexpr size_t PIECES_MAX = 100; // of one text expression; SQLite bounds the depth of expressions

// Whether a character is written by the function char().
bool needs_char(char c) {
    return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

// Runs of control characters and of others.
size_t count_pieces(std::string_view text) {
    size_t pieces = 1;
    for (size_t i = 1; i < text.size(); ++i)
        pieces += needs_char(text[i]) != needs_char(text[i - 1]);
    return pieces;
}

// Takes the cells of a row as expressions.
struct SqliteValues {
    const Column &column;
    RowBatch &batch;
    ByteBuffer &bytes = batch.bytes;

    void null() { bytes.append("NULL"); }
    void number(std::string_view digits) {
        const SqliteStorage storage =
            column.kind == ColumnKind::number || column.kind == ColumnKind::ready_integer
                ? sqlite_storage(digits)
                : SqliteStorage::real;
        if (storage == SqliteStorage::text)
            put_sql_string(digits, bytes);
        else if (storage == SqliteStorage::real)
            bytes.append(sqlite_real_expression(digits));
        else
            bytes.append(digits);
    }
    // A literal beyond the range of a double is an infinity; NaN exists as text only.
    void special(std::string_view name) {
        if (column.kind == ColumnKind::number || name == "NaN")
            put_sql_string(name, bytes);
        else
            bytes.append(name[0] == '-' ? "-9e999" : "9e999");
    }
    void moment(std::string_view form) { put_sql_string(form, bytes); }
    void hex(std::string_view digits) { put_sql_string(digits, bytes); }
    void binary(std::string_view data) {
        bytes.append("X'");
        bytes.append_hex(data);
        bytes.put('\'');
    }
    void binary_stream(ValueStream &stream) {
        bytes.append("X'");
        for_each_part(stream, batch, [&](std::string_view part) { bytes.append_hex(part); });
        bytes.put('\'');
    }
    void text_stream(ValueStream &stream) {
        bytes.append(CAST_HEAD);
        binary_stream(stream);
        bytes.append(CAST_TAIL);
    }
    // The shell reads line by line: CR LF becomes LF there and NUL ends the statement.
    void text(std::string_view utf8) {
        const size_t pieces = count_pieces(utf8);
        if (pieces > PIECES_MAX) {
            bytes.append(CAST_HEAD);
            binary(utf8);
            bytes.append(CAST_TAIL);
            return;
        }
        for (bool first = true; first || !utf8.empty(); first = false) {
            if (!first)
                bytes.append("||");
            put_piece(utf8);
        }
    }

private:
    // Takes one run of control characters, or of others, from the front of `utf8`.
    void put_piece(std::string_view &utf8) {
        size_t size = 0;
        if (utf8.empty() || !needs_char(utf8[0])) {
            while (size < utf8.size() && !needs_char(utf8[size]))
                ++size;
            put_sql_string(utf8.substr(0, size), bytes);
        } else {
            constexpr size_t ARGUMENTS_MAX = 100; // of a function
            for (; size < utf8.size() && size < ARGUMENTS_MAX && needs_char(utf8[size]); ++size)
                bytes.append((size == 0 ? "char(" : ",") + std::to_string(utf8[size]));
            bytes.put(')');
        }
        utf8.remove_prefix(size);
    }
};

class SqliteInserts : public RowFormatter {
public:
    explicit SqliteInserts(CellDecoder &decoder)
        : decoder_(decoder), insert_(insert_into(decoder.table().name)) {}

    void format(const Row &row, RowBatch &batch) override {
        const std::vector<Column> &columns = decoder_.table().columns;
        const bool large = is_large_row(row, columns.size());
        batch.bytes.append(insert_);
        for (size_t i = 0; i < columns.size(); ++i) {
            if (i > 0)
                batch.bytes.put(',');
            Cell cell = decoder_.decode(row, i, scratch_, batch.losses);
            if (cell.stream != nullptr &&
                !fits_sqlite(stream_size(*cell.stream), SCRIPT_VALUE_MAX, row, columns[i], batch.losses))
                cell = {CellKind::null, nullptr, 0};
            visit(cell, SqliteValues{columns[i], batch});
            if (large)
                batch.relieve();
        }
        batch.bytes.append(");\n");
        ++batch.rows;
    }

private:
    CellDecoder &decoder_;
    std::string insert_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

class SqliteDialect : public SqlDialect {
public:
    std::string prologue() const override { return "BEGIN;\n"; }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return create_table_statement(table, table.name, Dialect::sqlite);
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style({});
        return std::make_unique<SqliteInserts>(decoder);
    }
};

} // namespace

std::unique_ptr<SqlDialect> make_sqlite_dialect() {
    return std::make_unique<SqliteDialect>();
}

} // namespace vexlo
