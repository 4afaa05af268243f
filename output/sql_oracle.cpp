// The dialect of Oracle, as a script for SQL*Plus. That program reads line by line: a line has at most 2499
// characters and a text literal must not run over lines that look like commands. So literals are short,
// joined by ||, and control characters are written as CHR(n).
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

// Binary values that no expression can hold: PL/SQL variables that are put together before the INSERT.
class LongBinaries {
public:
    // The name of a variable that holds `data`.
    std::string add(std::string_view data) {
        const std::string name = "b" + std::to_string(++count_);
        declarations_.append(name + " BLOB;\n");
        fills_.append("DBMS_LOB.CREATETEMPORARY(" + name + ", TRUE);\n");
        while (!data.empty()) {
            const std::string_view part = data.substr(0, LITERAL_SIZE);
            fills_.append("DBMS_LOB.WRITEAPPEND(" + name + ", " + std::to_string(part.size()) + ", ");
            put_hextoraw(part, fills_);
            fills_.append(");\n");
            data.remove_prefix(part.size());
        }
        return name;
    }

    bool empty() const { return count_ == 0; }

    // The head of a block that gives the variables their values.
    void put_block(ByteBuffer &bytes) const {
        bytes.append("DECLARE\n");
        bytes.append(declarations_.view());
        bytes.append("BEGIN\n");
        bytes.append(fills_.view());
    }

    void clear() {
        declarations_.clear();
        fills_.clear();
        count_ = 0;
    }

private:
    ByteBuffer declarations_, fills_;
    size_t count_ = 0;
};

// Takes the cells that Oracle can load.
struct OracleValues {
    const Column &column;
    bool with_zone;
    LongBinaries &binaries;
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

    void binary(std::string_view data) {
        if (data.size() > RAW_BYTES)
            plain(binaries.add(data));
        else
            put_hextoraw(data, bytes);
    }

    void text(std::string_view utf8) {
        const bool national = column.kind == ColumnKind::national_text;
        const bool as_clob = utf8.size() > VARCHAR_BYTES;
        if (as_clob)
            bytes.append(national ? "TO_NCLOB(" : "TO_CLOB(");
        for (bool first = true; first || !utf8.empty(); first = false) {
            if (!first)
                bytes.append("||\n");
            put_part(utf8, national);
            if (as_clob && first)
                bytes.put(')');
        }
    }

private:
    void plain(std::string_view words) { bytes.append(words); }

    // Takes one literal, or one control character, from the front of `utf8`.
    void put_part(std::string_view &utf8, bool national) {
        const size_t size = literal_part(utf8);
        if (size == 0 && !utf8.empty()) {
            bytes.append("CHR(" + std::to_string(utf8[0]) + ")");
            utf8.remove_prefix(1);
            return;
        }
        if (national)
            bytes.put('N');
        put_sql_string(utf8.substr(0, size), bytes);
        utf8.remove_prefix(size);
    }
};

class OracleFormatter : public RowFormatter {
public:
    explicit OracleFormatter(CellDecoder &decoder)
        : decoder_(decoder), insert_(insert_into(decoder.table().name)) {}

    void format(const Row &row, RowBatch &batch) override {
        values_.clear();
        binaries_.clear();
        put_values(row, batch.losses);
        if (batch.rows > 0 && batch.rows % ROWS_PER_BLOCK == 0) {
            batch.bytes.append(BLOCK_TAIL);
            batch.bytes.append(BLOCK_HEAD);
        }
        if (!binaries_.empty())
            binaries_.put_block(batch.bytes);
        batch.bytes.append(insert_);
        batch.bytes.append(values_.view());
        batch.bytes.append(binaries_.empty() ? ");\n" : ");\nEND;\n");
        ++batch.rows;
    }

private:
    void put_values(const Row &row, RowLosses &losses) {
        const Table &table = decoder_.table();
        for (size_t i = 0; i < table.columns.size(); ++i) {
            if (i > 0)
                values_.append(",\n");
            const Column &column = table.columns[i];
            Cell cell = decoder_.decode(row, i, scratch_, losses);
            if (is_unwritable_in_oracle(column, cell)) {
                losses.add(row.number, row.offset, unwritable_in_oracle(column));
                cell = {CellKind::null, nullptr, 0};
            }
            visit(cell, OracleValues{column, table.local_zone.has_value(), binaries_, values_});
        }
    }

    CellDecoder &decoder_;
    std::string insert_;
    ByteBuffer values_;
    LongBinaries binaries_;
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
