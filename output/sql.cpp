// SQL scripts: CREATE TABLE and the rows, in the dialect of the target.
#include "output/column_types.h"
#include "output/rejected_rows.h"
#include "output/sql_dialect.h"

namespace vexlo {

std::string insert_into(const std::string &name) {
    return "INSERT INTO " + quoted_identifier(name) + " VALUES (";
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
    SqlWriter(const Table &table, const SqlDialect &dialect, SqlPart part, std::unique_ptr<OutputFile> file,
              RejectedFile rejected)
        : dialect_(dialect), part_(part), file_(std::move(file)), rejected_(std::move(rejected)) {
        file_->append(dialect_.prologue());
        if (part_ != SqlPart::data)
            file_->append(dialect_.create_table(table) + ";\n");
        if (takes_rows())
            file_->append(dialect_.data_head(table));
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        return dialect_.formatter(decoder);
    }

    void write(RowBatch &batch) override {
        if (takes_rows() && (!batch.bytes.empty() || in_batch_)) {
            if (!in_batch_)
                file_->append(dialect_.batch_head());
            file_->take(batch.bytes);
            if (!batch.ends_in_row)
                file_->append(dialect_.batch_tail());
            in_batch_ = batch.ends_in_row;
        }
        if (takes_rows())
            rejected_.take(batch);
        batch.clear();
    }

    void finish() override {
        if (takes_rows())
            file_->append(dialect_.data_tail());
        file_->append(dialect_.epilogue());
        file_->finish();
        if (takes_rows())
            rejected_.finish();
    }

    std::string path() const override { return file_->path(); }

    bool takes_rows() const override { return part_ != SqlPart::ddl; }

    void tell(TableReport &report) const override { rejected_.tell(report); }

private:
    const SqlDialect &dialect_;
    SqlPart part_;
    std::unique_ptr<OutputFile> file_;
    RejectedFile rejected_;
    bool in_batch_ = false; // a row goes on with the next bytes
};

class SqlFormat : public Format {
public:
    SqlFormat(Destination &destination, std::unique_ptr<SqlDialect> dialect, SqlPart part)
        : destination_(destination), dialect_(std::move(dialect)), part_(part) {}

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        dialect_->check(table);
        const std::string path =
            destination_.stream_path_for(output_name(table), part_suffix(part_) + ".sql");
        return std::make_unique<SqlWriter>(table, *dialect_, part_, destination_.open_stream(path),
                                           RejectedFile(destination_, path));
    }

    void give_up(const Table &table) override { destination_.release(output_name(table)); }

private:
    Destination &destination_;
    std::unique_ptr<SqlDialect> dialect_;
    SqlPart part_;
};

std::unique_ptr<SqlDialect> make_dialect(Dialect dialect, const std::string &charset) {
    if (dialect == Dialect::postgresql)
        return make_postgresql_dialect();
    if (dialect == Dialect::sqlite)
        return make_sqlite_dialect();
    return make_oracle_dialect(charset);
}

} // namespace

std::unique_ptr<Format> make_sql_format(Destination &destination, const FormatOptions &options,
                                        const std::string &charset) {
    return std::make_unique<SqlFormat>(destination, make_dialect(dialect_of(options.dialect), charset),
                                       options.part);
}

} // namespace vexlo
