// The dialect of Oracle, as a script for SQL*Plus. That program reads line by line: a line has at most 2499
// characters and a text literal must not run over lines that look like commands. So literals are short,
// joined by ||, and control characters are written as CHR(n).
#include <algorithm>

#include "output/create_table.h"
#include "output/oracle_target.h"
#include "output/sql_dialect.h"

namespace vexlo {

namespace {

constexpr size_t LITERAL_SIZE = 1000;  // bytes of one literal, before quotes are doubled
constexpr size_t VARCHAR_BYTES = 4000; // a text expression longer than this must be a CLOB
constexpr size_t RAW_BYTES = 2000;     // a RAW expression cannot be longer
constexpr uint32_t TYPE_CHAR = 96, TYPE_BLOB = 113;

std::string sized(const char *type, uint32_t clen, uint32_t limit, const char *unit) {
    return std::string(type) + "(" + std::to_string(std::clamp(clen, 1U, limit)) + unit + ")";
}

// Text may need more bytes in the character set of the target, so declared bytes become characters.
std::string text_column_type(const Column &column) {
    if (column.kind == ColumnKind::national_text)
        return column.ctyp == TYPE_CHAR ? sized("NCHAR", column.clen, 1000, "")
                                        : sized("NVARCHAR2", column.clen, 2000, "");
    return column.ctyp == TYPE_CHAR ? sized("CHAR", column.clen, 2000, " CHAR")
                                    : sized("VARCHAR2", column.clen, 4000, " CHAR");
}

std::string column_type(const Column &column) {
    switch (column.kind) {
    case ColumnKind::text:
    case ColumnKind::national_text:
        return text_column_type(column);
    case ColumnKind::raw:
        return column.clen > RAW_BYTES ? "BLOB" : sized("RAW", column.clen, RAW_BYTES, "");
    case ColumnKind::timestamp:
        return "TIMESTAMP(9)";
    case ColumnKind::timestamp_tz:
        return "TIMESTAMP(9) WITH TIME ZONE";
    case ColumnKind::timestamp_ltz:
        return "TIMESTAMP(9) WITH LOCAL TIME ZONE";
    case ColumnKind::interval_ym:
        return "INTERVAL YEAR(9) TO MONTH";
    case ColumnKind::interval_ds:
        return "INTERVAL DAY(9) TO SECOND(9)";
    case ColumnKind::long_raw:
        return "BLOB";
    case ColumnKind::long_text:
    case ColumnKind::unknown:
        return "CLOB";
    case ColumnKind::lob:
        return column.ctyp == TYPE_BLOB ? "BLOB" : column.national ? "NCLOB" : "CLOB";
    case ColumnKind::ready_text:
        return text_column_type(column);
    case ColumnKind::ready_integer:
        return "NUMBER";
    default:
        return type_text(column.ctyp, column.national, column.clen);
    }
}

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

struct OracleValues {
    const Column &column;
    bool with_zone;
    LongBinaries &binaries;
    ByteBuffer &bytes;

    bool null() { return plain("NULL"); }

    bool number(std::string_view digits) {
        bytes.append(digits);
        return plain(column.kind == ColumnKind::binary_float    ? "f"
                     : column.kind == ColumnKind::binary_double ? "d"
                                                                : "");
    }

    bool special(std::string_view name) {
        if (column.kind == ColumnKind::number) {
            plain("NULL");
            return false;
        }
        if (name[0] == '-')
            bytes.put('-');
        bytes.append(column.kind == ColumnKind::binary_float ? "BINARY_FLOAT_" : "BINARY_DOUBLE_");
        return plain(name == "NaN" ? "NAN" : "INFINITY");
    }

    bool moment(std::string_view form) {
        const OracleConversion conversion = oracle_conversion(column.kind, with_zone);
        bytes.append(conversion.before);
        put_sql_string(form, bytes);
        return plain(conversion.after);
    }

    bool hex(std::string_view digits) { return text(digits); }

    bool binary(std::string_view data) {
        if (data.size() > RAW_BYTES)
            return plain(binaries.add(data));
        put_hextoraw(data, bytes);
        return true;
    }

    bool text(std::string_view utf8) {
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
        return true;
    }

private:
    bool plain(std::string_view words) {
        bytes.append(words);
        return true;
    }

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
        if (!binaries_.empty())
            binaries_.put_block(batch.bytes);
        batch.bytes.append(insert_);
        batch.bytes.append(values_.view());
        batch.bytes.append(binaries_.empty() ? ");\n" : ");\nEND;\n/\n");
        ++batch.rows;
    }

private:
    void put_values(const Row &row, RowLosses &losses) {
        const Table &table = decoder_.table();
        for (size_t i = 0; i < table.columns.size(); ++i) {
            if (i > 0)
                values_.append(",\n");
            const Column &column = table.columns[i];
            const Cell cell = decoder_.decode(row, i, scratch_, losses);
            if (!visit(cell, OracleValues{column, table.local_zone.has_value(), binaries_, values_}))
                add_unwritable(row, column, losses);
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
    std::string prologue() const override { return "SET DEFINE OFF\nSET SQLBLANKLINES ON\n"; }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return create_table_statement(table, table.name, column_type);
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style(ORACLE_STYLE);
        return std::make_unique<OracleFormatter>(decoder);
    }
};

} // namespace

std::unique_ptr<SqlDialect> make_oracle_dialect() {
    return std::make_unique<OracleDialect>();
}

} // namespace vexlo
