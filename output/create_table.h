// The CREATE TABLE statement, for every target that has one.
#pragma once

#include <string>

#include "output/cell.h"
#include "output/names.h"

namespace vexlo {

// CREATE TABLE, without the final ";", of `table` under `name`, with the type that `column_type(column)`
// gives each column.
template <class ColumnType>
std::string create_table_statement(const Table &table, const std::string &name, ColumnType column_type) {
    std::string sql = "CREATE TABLE " + quoted_identifier(name) + " (";
    const char *separator = "\n  ";
    for (const Column &column : table.columns) {
        sql += separator + quoted_identifier(column.name) + " " + column_type(column);
        separator = ",\n  ";
    }
    return sql + "\n)";
}

} // namespace vexlo
