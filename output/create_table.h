// Statements that all targets with tables have, and the names in them.
#pragma once

#include <string>

#include "output/column_types.h"

namespace vexlo {

// CREATE TABLE, without the final ";", of `table` under `name`.
std::string create_table_statement(const Table &table, const std::string &name, Dialect dialect);

} // namespace vexlo
