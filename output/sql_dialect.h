// What differs between the dialects of SQL scripts.
#pragma once

#include <memory>
#include <string>

#include "output/cell.h"
#include "output/output_file.h"

namespace vexlo {

class SqlDialect {
public:
    virtual ~SqlDialect() = default;

    virtual CellStyle style() const = 0;
    // Statements before and after all others of a table.
    virtual std::string prologue() const = 0;
    virtual std::string epilogue() const = 0;
    virtual std::string create_table(const Table &table) const = 0;
    // The name in the INSERT statements, quoted.
    virtual std::string table_name(const Table &table) const { return quoted_identifier(table.name); }
    // What stands before and after the INSERT statement of a row.
    virtual void begin_row(const Row &, OutputFile &) {}
    virtual void end_row(OutputFile &file) { file.append("\n"); }
    // What stands between two values.
    virtual std::string_view separator() const { return ","; }
    // A cell other than NULL as an expression. False when the dialect cannot write it as it is: then NULL or
    // its nearest form has been written.
    virtual bool put_cell(const Column &column, const Cell &cell, OutputFile &file) = 0;
};

std::unique_ptr<SqlDialect> make_oracle_dialect(const CellDecoder &decoder);
std::unique_ptr<SqlDialect> make_postgresql_dialect();
std::unique_ptr<SqlDialect> make_sqlite_dialect();

// `text` in single quotes, those inside it doubled.
void put_sql_string(std::string_view text, OutputFile &file);

} // namespace vexlo
