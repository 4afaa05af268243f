// What differs between the dialects of SQL scripts.
#pragma once

#include <memory>
#include <string>

#include "output/format.h"

namespace vexlo {

class SqlDialect {
public:
    virtual ~SqlDialect() = default;

    // Statements before and after all others of a table.
    virtual std::string prologue() const = 0;
    virtual std::string epilogue() const = 0;
    virtual std::string create_table(const Table &table) const = 0;
    // A formatter of rows, as TableWriter::formatter() gives it.
    virtual std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const = 0;
};

std::unique_ptr<SqlDialect> make_oracle_dialect();
std::unique_ptr<SqlDialect> make_postgresql_dialect();
std::unique_ptr<SqlDialect> make_sqlite_dialect();

// The beginning of an INSERT statement for the table `name`, up to its first value.
std::string insert_into(const std::string &name);

// Adds to `losses` that a value of `column` could not be written as it is.
void add_unwritable(const Row &row, const Column &column, RowLosses &losses);

// `text` in single quotes, those inside it doubled.
void put_sql_string(std::string_view text, ByteBuffer &bytes);

// One INSERT statement a row. `Values` is made for each cell with its column and the buffer, takes the cell
// by visit() and gives false when it wrote something else than the value.
template <class Values>
class InsertFormatter : public RowFormatter {
public:
    InsertFormatter(CellDecoder &decoder, const std::string &name)
        : decoder_(decoder), insert_(insert_into(name)) {}

    void format(const Row &row, RowBatch &batch) override {
        batch.bytes.append(insert_);
        const std::vector<Column> &columns = decoder_.table().columns;
        for (size_t i = 0; i < columns.size(); ++i) {
            if (i > 0)
                batch.bytes.put(',');
            const Cell cell = decoder_.decode(row, i, scratch_, batch.losses);
            if (!visit(cell, Values{columns[i], batch.bytes}))
                add_unwritable(row, columns[i], batch.losses);
        }
        batch.bytes.append(");\n");
        ++batch.rows;
    }

private:
    CellDecoder &decoder_;
    std::string insert_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

} // namespace vexlo
