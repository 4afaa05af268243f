#include "output/create_table.h"

#include "output/names.h"

namespace vexlo {

std::string create_table_statement(const Table &table, const std::string &name, Dialect dialect) {
    std::string sql = "CREATE TABLE " + quoted_identifier(name) + " (";
    const char *separator = "\n  ";
    for (const Column &column : table.columns) {
        sql += separator + quoted_identifier(column.name) + " " + column_type(table, column, dialect);
        separator = ",\n  ";
    }
    return sql + "\n)";
}

} // namespace vexlo
