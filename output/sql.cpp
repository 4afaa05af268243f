// SQL scripts: CREATE TABLE and the rows, in the dialect of the target.
#include "output/sql_dialect.h"
#include "values/errors.h"

namespace vexlo {

std::string insert_into(const std::string &name) {
    return "INSERT INTO " + quoted_identifier(name) + " VALUES (";
}

void add_unwritable(const Row &row, const Column &column, RowLosses &losses) {
    losses.add(row.number, row.offset,
               "column \"" + printable(column.name) +
                   "\": the value cannot be written in this dialect as it is");
}

void put_sql_string(std::string_view text, ByteBuffer &bytes) {
    char *out = bytes.reserve(2 * text.size() + 2);
    *out++ = '\'';
    for (const char c : text) {
        if (c == '\'')
            *out++ = '\'';
        *out++ = c;
    }
    *out++ = '\'';
    bytes.commit_to(out);
}

namespace {

class SqlWriter : public TableWriter {
public:
    SqlWriter(const Table &table, const SqlDialect &dialect, std::unique_ptr<OutputFile> file)
        : dialect_(dialect), file_(std::move(file)) {
        file_->append(dialect_.prologue());
        file_->append(dialect_.create_table(table));
        file_->append(";\n");
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        return dialect_.formatter(decoder);
    }

    void write(RowBatch &batch) override {
        file_->take(batch.bytes);
        batch.clear();
    }

    void finish() override {
        file_->append(dialect_.epilogue());
        file_->finish();
    }

private:
    const SqlDialect &dialect_;
    std::unique_ptr<OutputFile> file_;
};

class SqlFormat : public Format {
public:
    SqlFormat(Destination &destination, std::unique_ptr<SqlDialect> dialect)
        : destination_(destination), dialect_(std::move(dialect)) {}

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        return std::make_unique<SqlWriter>(table, *dialect_, destination_.open(output_name(table), ".sql"));
    }

private:
    Destination &destination_;
    std::unique_ptr<SqlDialect> dialect_;
};

std::unique_ptr<SqlDialect> make_dialect(const std::string &name) {
    if (name == "oracle")
        return make_oracle_dialect();
    if (name == "postgresql")
        return make_postgresql_dialect();
    if (name == "sqlite")
        return make_sqlite_dialect();
    throw UsageError("SQL dialect \"" + name + "\" is not known");
}

} // namespace

std::unique_ptr<Format> make_sql_format(Destination &destination, const std::string &dialect) {
    return std::make_unique<SqlFormat>(destination, make_dialect(dialect));
}

} // namespace vexlo
