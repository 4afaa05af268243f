// SQL scripts: CREATE TABLE and one INSERT a row, in the dialect of the target.
#include "values/errors.h"
#include "output/format.h"
#include "output/sql_dialect.h"

namespace vexlo {

void put_sql_string(std::string_view text, OutputFile &file) {
    char *out = file.reserve(2 * text.size() + 2);
    *out++ = '\'';
    for (const char c : text) {
        if (c == '\'')
            *out++ = '\'';
        *out++ = c;
    }
    *out++ = '\'';
    file.commit_to(out);
}

namespace {

class SqlWriter : public TableWriter {
public:
    SqlWriter(CellDecoder &decoder, std::unique_ptr<SqlDialect> dialect, std::unique_ptr<OutputFile> file)
        : decoder_(decoder), dialect_(std::move(dialect)), file_(std::move(file)),
          insert_("INSERT INTO " + dialect_->table_name(decoder.table()) + " VALUES (") {
        file_->append(dialect_->prologue());
        file_->append(dialect_->create_table(decoder.table()));
        file_->append(";\n");
    }

    void write_row(const Row &row) override {
        dialect_->begin_row(row, *file_);
        file_->append(insert_);
        const std::vector<Column> &columns = decoder_.table().columns;
        for (size_t i = 0; i < columns.size(); ++i) {
            if (i > 0)
                file_->append(dialect_->separator());
            const Cell cell = decoder_.decode(row, i, scratch_);
            if (cell.kind == CellKind::null)
                file_->append("NULL");
            else if (!dialect_->put_cell(columns[i], cell, *file_))
                decoder_.report().row_loss(row.number, row.offset,
                                           "column \"" + printable(columns[i].name) +
                                               "\": the value cannot be written in this dialect as it is");
        }
        file_->append(");");
        dialect_->end_row(*file_);
    }

    void finish() override {
        file_->append(dialect_->epilogue());
        file_->finish();
    }

private:
    CellDecoder &decoder_;
    std::unique_ptr<SqlDialect> dialect_;
    std::unique_ptr<OutputFile> file_;
    std::string insert_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

class SqlFormat : public Format {
public:
    SqlFormat(Destination &destination, const std::string &dialect)
        : destination_(destination), dialect_(dialect) {}

    std::unique_ptr<TableWriter> open_table(CellDecoder &decoder) override {
        std::unique_ptr<SqlDialect> dialect = make_dialect(decoder);
        decoder.set_style(dialect->style());
        return std::make_unique<SqlWriter>(decoder, std::move(dialect),
                                           destination_.open(output_name(decoder.table()), ".sql"));
    }

private:
    std::unique_ptr<SqlDialect> make_dialect(const CellDecoder &decoder) const {
        if (dialect_ == "oracle")
            return make_oracle_dialect(decoder);
        if (dialect_ == "postgresql")
            return make_postgresql_dialect();
        if (dialect_ == "sqlite")
            return make_sqlite_dialect();
        throw UsageError("SQL dialect \"" + dialect_ + "\" is not known");
    }

    Destination &destination_;
    std::string dialect_;
};

} // namespace

std::unique_ptr<Format> make_sql_format(Destination &destination, const std::string &dialect) {
    return std::make_unique<SqlFormat>(destination, dialect);
}

} // namespace vexlo
