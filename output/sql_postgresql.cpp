// The dialect of PostgreSQL: the rows go by COPY, which loads many times faster than INSERT.
#include "output/create_table.h"
#include "output/postgresql_target.h"
#include "output/rejected_rows.h"
#include "output/sql_dialect.h"

namespace vexlo {

namespace {

// Takes the cells of a row in the text form of COPY.
struct CopyValues {
    RowBatch &batch;
    ByteBuffer &bytes = batch.bytes;

    void null() { bytes.append("\\N"); }
    void number(std::string_view digits) { bytes.append(digits); }
    void special(std::string_view name) { bytes.append(name); }
    void moment(std::string_view form) { bytes.append(form); }
    void hex(std::string_view digits) { bytes.append(digits); }
    void binary(std::string_view data) {
        bytes.append("\\\\x");
        bytes.append_hex(data);
    }
    void text_stream(ValueStream &stream) {
        for_each_part(stream, batch, [&](std::string_view part) { text(part); });
    }
    void binary_stream(ValueStream &stream) {
        bytes.append("\\\\x");
        for_each_part(stream, batch, [&](std::string_view part) { bytes.append_hex(part); });
    }
    void text(std::string_view utf8) {
        char *out = bytes.reserve(2 * utf8.size());
        for (const char c : utf8) {
            const char letter = escape_of(c);
            if (letter != '\0')
                *out++ = '\\';
            *out++ = letter != '\0' ? letter : c;
        }
        bytes.commit_to(out);
    }

private:
    // The letter behind "\" that stands for the character; 0 when it stands for itself.
    static char escape_of(char c) {
        switch (c) {
        case '\\':
            return '\\';
        case '\t':
            return 't';
        case '\n':
            return 'n';
        case '\r':
            return 'r';
        default:
            return '\0';
        }
    }
};

class CopyFormatter : public RowFormatter {
public:
    explicit CopyFormatter(CellDecoder &decoder) : decoder_(decoder), check_(decoder), rejecter_(decoder) {}

    void format(const Row &row, RowBatch &batch) override {
        const std::vector<Column> &columns = decoder_.table().columns;
        const bool large = is_large_row(row, columns.size());
        std::string refusal = large ? check_.refusal(row) : "";
        const size_t start = batch.bytes.size();
        for (size_t i = 0; i < columns.size() && refusal.empty(); ++i) {
            const Cell cell = decoder_.decode(row, i, scratch_, batch.losses);
            if (!large)
                refusal = check_.cell_refusal(columns[i], cell);
            visit(cell, CopyValues{batch});
            batch.bytes.put(i + 1 < columns.size() ? '\t' : '\n');
            if (large)
                batch.relieve();
        }
        if (!large && refusal.empty())
            refusal = check_.row_refusal();
        if (refusal.empty()) {
            ++batch.rows;
        } else {
            batch.bytes.truncate(start);
            rejecter_.reject(row, refusal, batch);
        }
    }

private:
    CellDecoder &decoder_;
    PostgresqlCheck check_;
    RowRejecter rejecter_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

class PostgresqlDialect : public SqlDialect {
public:
    void check(const Table &table) const override { check_postgresql_columns(table); }

    std::string prologue() const override {
        return "\\set ON_ERROR_STOP on\nSET client_encoding = 'UTF8';\nSET standard_conforming_strings = "
               "on;\nBEGIN;\n";
    }

    std::string epilogue() const override { return "COMMIT;\n"; }

    std::string create_table(const Table &table) const override {
        return create_table_statement(table, table.name, Dialect::postgresql);
    }

    std::string data_head(const Table &table) const override {
        std::string head = "COPY " + quoted_identifier(table.name) + " (";
        for (size_t i = 0; i < table.columns.size(); ++i)
            head += (i > 0 ? ", " : "") + quoted_identifier(table.columns[i].name);
        return head + ") FROM stdin;\n";
    }

    std::string data_tail() const override { return "\\.\n"; }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style(POSTGRESQL_STYLE);
        return std::make_unique<CopyFormatter>(decoder);
    }
};

} // namespace

std::unique_ptr<SqlDialect> make_postgresql_dialect() {
    return std::make_unique<PostgresqlDialect>();
}

} // namespace vexlo
