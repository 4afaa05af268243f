// What differs between the dialects of SQL scripts.
#pragma once

#include <memory>
#include <string>

#include "output/format.h"

namespace vexlo {

class SqlDialect {
public:
    virtual ~SqlDialect() = default;

    // Throws OutputError when the target can have no such table.
    virtual void check(const Table &) const {}
    // Statements before and after all others of a table.
    virtual std::string prologue() const = 0;
    virtual std::string epilogue() const = 0;
    virtual std::string create_table(const Table &table) const = 0;
    // What stands before and after all rows.
    virtual std::string data_head(const Table &) const { return ""; }
    virtual std::string data_tail() const { return ""; }
    // What stands before and after the rows of one batch.
    virtual std::string_view batch_head() const { return ""; }
    virtual std::string_view batch_tail() const { return ""; }
    // A formatter of rows, as TableWriter::formatter() gives it.
    virtual std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const = 0;
};

// A script for Oracle is in the character set `charset`, by Oracle's name.
std::unique_ptr<SqlDialect> make_oracle_dialect(const std::string &charset);
std::unique_ptr<SqlDialect> make_postgresql_dialect();
std::unique_ptr<SqlDialect> make_sqlite_dialect();

// The beginning of an INSERT statement for the table `name`, up to its first value.
std::string insert_into(const std::string &name);

// `text` in single quotes, those inside it doubled.
void put_sql_string(std::string_view text, ByteBuffer &bytes);

} // namespace vexlo
