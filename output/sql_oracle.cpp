// The dialect of Oracle, as a script for SQL*Plus. That program reads line by line: a line has at most 2499
// characters and a text literal must not run over lines that look like commands. So literals are short,
// joined by ||, and control characters are written as CHR(n).
#include <algorithm>
#include <utility>

#include "output/create_table.h"
#include "output/oracle_target.h"
#include "output/sql_dialect.h"

namespace vexlo {

namespace {

constexpr size_t LITERAL_SIZE = 1000;  // bytes of one literal, before quotes are doubled
constexpr size_t VARCHAR_BYTES = 4000; // a text expression longer than this must be a CLOB
constexpr size_t RAW_BYTES = 2000;     // a RAW expression cannot be longer
// Rows go to the server by the block of PL/SQL: one round trip for as many.
constexpr uint64_t ROWS_PER_BLOCK = 100;
constexpr std::string_view BLOCK_HEAD = "BEGIN\n", BLOCK_TAIL = "END;\n/\n";

bool is_control(char c) {
    return static_cast<unsigned char>(c) < 0x20;
}

bool is_continuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// The part of `text` that one literal takes: no control character, no character cut in two.
size_t literal_part(std::string_view text) {
    size_t size = 0;
    while (size < text.size() && !is_control(text[size]) &&
           (size < LITERAL_SIZE || is_continuation(text[size])))
        ++size;
    return size;
}

void put_hextoraw(std::string_view data, ByteBuffer &bytes) {
    bytes.append("HEXTORAW('");
    while (data.size() > LITERAL_SIZE) {
        bytes.append_hex(data.substr(0, LITERAL_SIZE));
        bytes.append("'||\n'");
        data.remove_prefix(LITERAL_SIZE);
    }
    bytes.append_hex(data);
    bytes.append("')");
}

// A run of parts of a text as an expression: literals and control characters, joined by ||.
void put_text_expression(std::string_view utf8, bool national, ByteBuffer &bytes) {
    for (bool first = true; first || !utf8.empty(); first = false) {
        if (!first)
            bytes.append("||\n");
        const size_t size = literal_part(utf8);
        if (size == 0 && !utf8.empty()) {
            bytes.append("CHR(" + std::to_string(utf8[0]) + ")");
            utf8.remove_prefix(1);
            continue;
        }
        if (national)
            bytes.put('N');
        put_sql_string(utf8.substr(0, size), bytes);
        utf8.remove_prefix(size);
    }
}

// Values that no expression can hold go into variables of a PL/SQL block, piece by piece, before the INSERT:
// b3 is the variable of the third column for bytes, c3 that for text.
class LongValues {
public:
    explicit LongValues(const Table &table) : table_(table), names_(table.columns.size()) {
        for (size_t i = 0; i < names_.size(); ++i)
            declare(i);
    }

    // Forgets the values of the row before.
    void begin_row() {
        for (std::string &name : names_)
            name.clear();
        is_open_ = false;
    }

    // Writes the statements that give the column's variable its value, unless an expression can hold the
    // cell; the first ones open the block.
    void put(size_t index, const Cell &cell, RowBatch &batch) {
        const bool is_binary = cell.kind == CellKind::binary || cell.kind == CellKind::binary_stream;
        if (cell.stream == nullptr && !(is_binary && cell.size > RAW_BYTES))
            return;
        if (!std::exchange(is_open_, true))
            batch.bytes.append("DECLARE\n" + declarations_ + "BEGIN\n");
        names_[index] = variable(is_binary, index);
        batch.bytes.append("DBMS_LOB.CREATETEMPORARY(" + names_[index] + ", TRUE);\n");
        const auto fill = [&](std::string_view part) {
            is_binary ? put_bytes(index, part, batch.bytes) : put_text(index, part, batch.bytes);
        };
        if (cell.stream != nullptr)
            for_each_part(*cell.stream, batch, fill);
        else
            fill(cell.view());
    }

    // A block is open, which must be ended behind the INSERT.
    bool is_open() const { return is_open_; }
    // The variable that holds the column's value; empty when none does.
    const std::string &name(size_t index) const { return names_[index]; }

private:
    static std::string variable(bool is_binary, size_t index) {
        return (is_binary ? "b" : "c") + std::to_string(index + 1);
    }

    bool is_national(size_t index) const { return table_.columns[index].national; }

    void declare(size_t index) {
        const ColumnKind kind = table_.columns[index].kind;
        if (kind == ColumnKind::raw || kind == ColumnKind::long_raw || kind == ColumnKind::lob)
            declarations_ += variable(true, index) + " BLOB;\n";
        if (kind == ColumnKind::long_text || kind == ColumnKind::lob)
            declarations_ += variable(false, index) + (is_national(index) ? " NCLOB;\n" : " CLOB;\n");
    }

    void put_bytes(size_t index, std::string_view data, ByteBuffer &bytes) const {
        while (!data.empty()) {
            const std::string_view part = data.substr(0, LITERAL_SIZE);
            bytes.append("DBMS_LOB.WRITEAPPEND(" + names_[index] + ", " + std::to_string(part.size()) + ", ");
            put_hextoraw(part, bytes);
            bytes.append(");\n");
            data.remove_prefix(part.size());
        }
    }

    void put_text(size_t index, std::string_view utf8, ByteBuffer &bytes) const {
        while (!utf8.empty()) {
            size_t size = std::min(utf8.size(), LITERAL_SIZE);
            while (size < utf8.size() && is_continuation(utf8[size]))
                ++size;
            bytes.append("DBMS_LOB.APPEND(" + names_[index] + ", ");
            put_text_expression(utf8.substr(0, size), is_national(index), bytes);
            bytes.append(");\n");
            utf8.remove_prefix(size);
        }
    }

    const Table &table_;
    std::string declarations_;
    std::vector<std::string> names_;
    bool is_open_ = false;
};

// Takes the cells that Oracle can load and that an expression can hold.
struct OracleValues {
    const Column &column;
    bool with_zone;
    ByteBuffer &bytes;

    void null() { plain("NULL"); }

    void number(std::string_view digits) {
        bytes.append(digits);
        plain(column.kind == ColumnKind::binary_float    ? "f"
              : column.kind == ColumnKind::binary_double ? "d"
                                                         : "");
    }

    void special(std::string_view name) {
        if (name[0] == '-')
            bytes.put('-');
        bytes.append(column.kind == ColumnKind::binary_float ? "BINARY_FLOAT_" : "BINARY_DOUBLE_");
        plain(name == "NaN" ? "NAN" : "INFINITY");
    }

    void moment(std::string_view form) {
        const OracleConversion conversion = oracle_conversion(column.kind, with_zone);
        bytes.append(conversion.before);
        put_sql_string(form, bytes);
        plain(conversion.after);
    }

    void hex(std::string_view digits) { text(digits); }

    // An empty literal is NULL.
    void binary(std::string_view data) {
        if (data.empty() && column.kind == ColumnKind::lob)
            return plain("EMPTY_BLOB()");
        put_hextoraw(data, bytes);
    }

    void text(std::string_view utf8) {
        const bool national =
            column.kind == ColumnKind::national_text || (column.kind == ColumnKind::lob && column.national);
        if (utf8.empty() && column.kind == ColumnKind::lob)
            return plain("EMPTY_CLOB()");
        if (utf8.size() <= VARCHAR_BYTES)
            return put_text_expression(utf8, national, bytes);
        // The first part as a CLOB makes the whole expression one.
        const size_t first = std::max<size_t>(literal_part(utf8), 1);
        bytes.append(national ? "TO_NCLOB(" : "TO_CLOB(");
        put_text_expression(utf8.substr(0, first), national, bytes);
        bytes.append(")||\n");
        put_text_expression(utf8.substr(first), national, bytes);
    }

private:
    void plain(std::string_view words) { bytes.append(words); }
};

class OracleFormatter : public RowFormatter {
public:
    explicit OracleFormatter(CellDecoder &decoder)
        : decoder_(decoder), insert_(insert_into(decoder.table().name)), long_values_(decoder.table()) {}

    void format(const Row &row, RowBatch &batch) override {
        const bool large = is_large_row(row, decoder_.table().columns.size());
        if (batch.rows > 0 && batch.rows % ROWS_PER_BLOCK == 0) {
            batch.bytes.append(BLOCK_TAIL);
            batch.bytes.append(BLOCK_HEAD);
        }
        put_long_values(row, large, batch);
        batch.bytes.append(insert_);
        put_values(row, large, batch);
        batch.bytes.append(long_values_.is_open() ? ");\nEND;\n" : ");\n");
        ++batch.rows;
    }

private:
    // Only values of which nothing is counted are decoded twice.
    static bool can_be_long(const Column &column, const Field &field) {
        const bool is_bytes = field.kind == FieldKind::binary ||
                              (field.kind == FieldKind::value &&
                               (column.kind == ColumnKind::raw || column.kind == ColumnKind::long_raw));
        return field.kind == FieldKind::stream || (is_bytes && field.size > RAW_BYTES);
    }

    void put_long_values(const Row &row, bool large, RowBatch &batch) {
        const Table &table = decoder_.table();
        long_values_.begin_row();
        for (size_t i = 0; i < table.columns.size(); ++i) {
            if (!can_be_long(table.columns[i], row.fields[i]))
                continue;
            long_values_.put(i, decoder_.decode(row, i, scratch_, batch.losses), batch);
            if (large)
                batch.relieve();
        }
    }

    void put_values(const Row &row, bool large, RowBatch &batch) {
        const Table &table = decoder_.table();
        for (size_t i = 0; i < table.columns.size(); ++i) {
            if (i > 0)
                batch.bytes.append(",\n");
            if (long_values_.name(i).empty())
                put_value(row, i, batch);
            else
                batch.bytes.append(long_values_.name(i));
            if (large)
                batch.relieve();
        }
    }

    void put_value(const Row &row, size_t index, RowBatch &batch) {
        const Table &table = decoder_.table();
        const Column &column = table.columns[index];
        Cell cell = decoder_.decode(row, index, scratch_, batch.losses);
        if (is_unwritable_in_oracle(column, cell)) {
            batch.losses.add_null(row.number, row.offset, unwritable_in_oracle(column));
            cell = {CellKind::null, nullptr, 0};
        }
        visit(cell, OracleValues{column, table.local_zone.has_value(), batch.bytes});
    }

    CellDecoder &decoder_;
    std::string insert_;
    LongValues long_values_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

class OracleDialect : public SqlDialect {
public:
    explicit OracleDialect(const std::string &charset) : charset_(charset) {}

    std::string prologue() const override {
        return "-- This script is in the character set " + charset_ +
               ": run it with NLS_LANG=AMERICAN_AMERICA." + charset_ +
               "\nWHENEVER SQLERROR EXIT FAILURE ROLLBACK\nWHENEVER OSERROR EXIT FAILURE ROLLBACK\nSET "
               "FEEDBACK OFF\n"
               "SET DEFINE OFF\nSET SQLBLANKLINES ON\n";
    }

    std::string_view batch_head() const override { return BLOCK_HEAD; }
    std::string_view batch_tail() const override { return BLOCK_TAIL; }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return create_table_statement(table, table.name, Dialect::oracle);
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style(ORACLE_STYLE);
        return std::make_unique<OracleFormatter>(decoder);
    }

private:
    std::string charset_;
};

} // namespace

std::unique_ptr<SqlDialect> make_oracle_dialect(const std::string &charset) {
    return std::make_unique<OracleDialect>(charset);
}

} // namespace vexlo
