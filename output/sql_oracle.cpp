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

class OracleDialect : public SqlDialect {
public:
    explicit OracleDialect(const CellDecoder &decoder)
        : columns_(decoder.table().columns), with_zone_(decoder.local_zone_known()) {}

    CellStyle style() const override { return ORACLE_STYLE; }

    std::string prologue() const override { return "SET DEFINE OFF\nSET SQLBLANKLINES ON\n"; }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return create_table_statement(table, table.name, column_type);
    }

    std::string_view separator() const override { return ",\n"; }

    // Long binary values are put together in PL/SQL variables first.
    void begin_row(const Row &row, OutputFile &file) override {
        in_block_ = false;
        for (size_t i = 0; i < columns_.size(); ++i)
            if (needs_variable(columns_[i], row.fields[i].size))
                declare_variable(i, file);
        if (!in_block_)
            return;
        file.append("BEGIN\n");
        for (size_t i = 0; i < columns_.size(); ++i)
            if (needs_variable(columns_[i], row.fields[i].size))
                fill_variable(i, row.fields[i], file);
    }

    void end_row(OutputFile &file) override { file.append(in_block_ ? "\nEND;\n/\n" : "\n"); }

    bool put_cell(const Column &column, const Cell &cell, OutputFile &file) override {
        if (is_unwritable_in_oracle(column, cell)) {
            file.append("NULL");
            return false;
        }
        switch (cell.kind) {
        case CellKind::number:
            put_number(column, cell.view(), file);
            break;
        case CellKind::special:
            put_special(column, cell.view(), file);
            break;
        case CellKind::binary:
            put_binary(column, cell.view(), file);
            break;
        case CellKind::moment:
            put_moment(column, cell.view(), file);
            break;
        default:
            put_text(column, cell.view(), file);
            break;
        }
        return true;
    }

private:
    static bool needs_variable(const Column &column, size_t size) {
        return size > RAW_BYTES && (column.kind == ColumnKind::raw || column.kind == ColumnKind::long_raw);
    }

    static std::string variable(size_t column) { return "b" + std::to_string(column); }

    void declare_variable(size_t column, OutputFile &file) {
        if (!in_block_)
            file.append("DECLARE\n");
        in_block_ = true;
        file.append(variable(column) + " BLOB;\n");
    }

    static void fill_variable(size_t column, const Field &field, OutputFile &file) {
        std::string_view bytes(reinterpret_cast<const char *>(field.data), field.size);
        file.append("DBMS_LOB.CREATETEMPORARY(" + variable(column) + ", TRUE);\n");
        while (!bytes.empty()) {
            const std::string_view part = bytes.substr(0, LITERAL_SIZE);
            file.append("DBMS_LOB.WRITEAPPEND(" + variable(column) + ", " + std::to_string(part.size()) +
                        ", ");
            put_hextoraw(part, file);
            file.append(");\n");
            bytes.remove_prefix(part.size());
        }
    }

    static void put_hextoraw(std::string_view bytes, OutputFile &file) {
        file.append("HEXTORAW('");
        while (bytes.size() > LITERAL_SIZE) {
            file.append_hex(bytes.substr(0, LITERAL_SIZE));
            file.append("'||\n'");
            bytes.remove_prefix(LITERAL_SIZE);
        }
        file.append_hex(bytes);
        file.append("')");
    }

    void put_binary(const Column &column, std::string_view bytes, OutputFile &file) const {
        if (needs_variable(column, bytes.size()))
            file.append(variable(static_cast<size_t>(&column - columns_.data())));
        else
            put_hextoraw(bytes, file);
    }

    static void put_number(const Column &column, std::string_view text, OutputFile &file) {
        file.append(text);
        if (column.kind == ColumnKind::binary_float)
            file.put('f');
        else if (column.kind == ColumnKind::binary_double)
            file.put('d');
    }

    static void put_special(const Column &column, std::string_view text, OutputFile &file) {
        if (text[0] == '-')
            file.put('-');
        file.append(column.kind == ColumnKind::binary_float ? "BINARY_FLOAT_" : "BINARY_DOUBLE_");
        file.append(text == "NaN" ? "NAN" : "INFINITY");
    }

    void put_moment(const Column &column, std::string_view text, OutputFile &file) const {
        const OracleConversion conversion = oracle_conversion(column.kind, with_zone_);
        file.append(conversion.before);
        put_sql_string(text, file);
        file.append(conversion.after);
    }

    static void put_text(const Column &column, std::string_view text, OutputFile &file) {
        const bool national = column.kind == ColumnKind::national_text;
        const bool as_clob = text.size() > VARCHAR_BYTES;
        if (as_clob)
            file.append(national ? "TO_NCLOB(" : "TO_CLOB(");
        for (bool first = true; first || !text.empty(); first = false) {
            if (!first)
                file.append("||\n");
            const size_t size = literal_part(text);
            if (size == 0 && !text.empty()) {
                file.append("CHR(" + std::to_string(text[0]) + ")");
                text.remove_prefix(1);
            } else {
                if (national)
                    file.put('N');
                put_sql_string(text.substr(0, size), file);
                text.remove_prefix(size);
            }
            if (as_clob && first)
                file.put(')');
        }
    }

    const std::vector<Column> &columns_;
    bool with_zone_;
    bool in_block_ = false;
};

} // namespace

std::unique_ptr<SqlDialect> make_oracle_dialect(const CellDecoder &decoder) {
    return std::make_unique<OracleDialect>(decoder);
}

} // namespace vexlo
