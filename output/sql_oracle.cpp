// The dialect of Oracle, as a script for SQL*Plus.
#include <algorithm>
#include <utility>

#include "output/create_table.h"
#include "output/oracle_appended.h"
#include "output/oracle_literals.h"
#include "output/oracle_target.h"
#include "output/sql_dialect.h"

namespace vexlo {

namespace {

constexpr size_t VARCHAR_BYTES = 4000; // a text expression longer than this must be a CLOB
constexpr uint64_t ROWS_PER_BLOCK = 100;

// Bytes that no expression can hold go into variables of a PL/SQL block, piece by piece, before the INSERT:
// b3 is the variable of the third column.
class LongBytes {
public:
    explicit LongBytes(const Table &table) : names_(table.columns.size()) {
        for (size_t i = 0; i < names_.size(); ++i)
            if (can_have_bytes(table.columns[i].kind))
                declarations_ += variable(i) + " BLOB;\n";
    }

    // Forgets the values of the row before.
    void begin_row() {
        for (std::string &name : names_)
            name.clear();
        is_open_ = false;
    }

    // Writes the statements that give the column's variable its value, unless an expression can hold the
    // cell; the first ones open the block.
    void put(size_t index, const Cell &cell, ByteBuffer &bytes) {
        if (cell.kind != CellKind::binary || cell.size <= ORACLE_RAW_MAX)
            return;
        if (!std::exchange(is_open_, true))
            bytes.append("DECLARE\n" + declarations_ + "BEGIN\n");
        const std::string &name = names_[index] = variable(index);
        bytes.append("DBMS_LOB.CREATETEMPORARY(" + name + ", TRUE);\n");
        for (std::string_view data = cell.view(); !data.empty();) {
            const std::string_view part = data.substr(0, ORACLE_LITERAL_SIZE);
            bytes.append("DBMS_LOB.WRITEAPPEND(" + name + ", " + std::to_string(part.size()) + ", ");
            put_hextoraw(part, bytes);
            bytes.append(");\n");
            data.remove_prefix(part.size());
        }
    }

    // A block is open, which must be ended behind the INSERT.
    bool is_open() const { return is_open_; }
    // The variable that holds the column's value; empty when none does.
    const std::string &name(size_t index) const { return names_[index]; }

private:
    static bool can_have_bytes(ColumnKind kind) {
        return kind == ColumnKind::raw || kind == ColumnKind::long_raw || kind == ColumnKind::lob;
    }
    static std::string variable(size_t index) { return "b" + std::to_string(index + 1); }

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
        const size_t first = std::max<size_t>(oracle_literal_part(utf8), 1);
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
        : decoder_(decoder), insert_(insert_into(decoder.table().name)), long_bytes_(decoder.table()) {}

    void format(const Row &row, RowBatch &batch) override {
        const bool large = is_large_row(row, decoder_.table().columns.size());
        if (batch.rows > 0 && batch.rows % ROWS_PER_BLOCK == 0) {
            batch.bytes.append(ORACLE_BLOCK_TAIL);
            batch.bytes.append(ORACLE_BLOCK_HEAD);
        }
        put_long_bytes(row, large, batch);
        batch.bytes.append(insert_);
        const bool goes_on = put_values(row, large, batch);
        batch.bytes.append(")");
        batch.bytes.append(goes_on ? ORACLE_ROW_RETURNED : "");
        batch.bytes.append(long_bytes_.is_open() ? ";\nEND;\n" : ";\n");
        if (goes_on)
            append_values(row, batch);
        ++batch.rows;
    }

private:
    // Only values of which nothing is counted are decoded twice.
    static bool can_be_long(const Column &column, const Field &field) {
        const bool is_bytes = field.kind == FieldKind::binary ||
                              (field.kind == FieldKind::value &&
                               (column.kind == ColumnKind::raw || column.kind == ColumnKind::long_raw));
        return is_bytes && field.size > ORACLE_RAW_MAX && !is_appended(column, field);
    }

    void put_long_bytes(const Row &row, bool large, RowBatch &batch) {
        const Table &table = decoder_.table();
        long_bytes_.begin_row();
        for (size_t i = 0; i < table.columns.size(); ++i) {
            if (!can_be_long(table.columns[i], row.fields[i]))
                continue;
            long_bytes_.put(i, decoder_.decode(row, i, scratch_, batch.losses), batch.bytes);
            if (large)
                batch.relieve();
        }
    }

    // Returns whether a value is left to be appended.
    bool put_values(const Row &row, bool large, RowBatch &batch) {
        const Table &table = decoder_.table();
        bool goes_on = false;
        for (size_t i = 0; i < table.columns.size(); ++i) {
            if (i > 0)
                batch.bytes.append(",\n");
            if (is_appended(table.columns[i], row.fields[i])) {
                goes_on = true;
                batch.bytes.append(is_binary(table.columns[i], row.fields[i]) ? "EMPTY_BLOB()"
                                                                              : "EMPTY_CLOB()");
            } else if (long_bytes_.name(i).empty()) {
                put_value(row, i, batch);
            } else {
                batch.bytes.append(long_bytes_.name(i));
            }
            if (large)
                batch.relieve();
        }
        return goes_on;
    }

    void append_values(const Row &row, RowBatch &batch) {
        const Table &table = decoder_.table();
        for (size_t i = 0; i < table.columns.size(); ++i)
            if (is_appended(table.columns[i], row.fields[i]))
                AppendedValue(table, i, batch).put(decoder_.decode(row, i, scratch_, batch.losses));
    }

    static bool is_binary(const Column &column, const Field &field) {
        if (field.kind == FieldKind::stream && field.stream->form() != StreamForm::stored)
            return field.stream->form() == StreamForm::binary;
        return field.kind == FieldKind::binary || column.kind == ColumnKind::long_raw;
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
    LongBytes long_bytes_;
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

    std::string data_head(const Table &table) const override {
        const bool any = std::any_of(table.columns.begin(), table.columns.end(), has_appended_values);
        return std::string(any ? ORACLE_ROW_VARIABLE : "");
    }
    std::string_view batch_head() const override { return ORACLE_BLOCK_HEAD; }
    std::string_view batch_tail() const override { return ORACLE_BLOCK_TAIL; }

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
