// The types of columns in the CREATE TABLE statements of the targets.
#pragma once

#include <string>

#include "output/cell.h"

namespace vexlo {

// The longest RAW, as a column and as an expression.
constexpr uint32_t ORACLE_RAW_MAX = 2000;

// Whose forms of values, types and names an output has.
enum class Dialect : uint8_t { none, oracle, postgresql, sqlite };

// The dialect of a name; none for an empty one. Throws UsageError for any other.
Dialect dialect_of(const std::string &name);

// The declared length of a text in characters; 0 when it is not known.
uint32_t declared_characters(const Column &column);

// The longest text in characters that the column of PostgreSQL takes; 0 for no limit.
uint32_t postgresql_text_limit(const Column &column);

// The type of a column of `table` in a dialect other than none.
std::string column_type(const Table &table, const Column &column, Dialect dialect);

} // namespace vexlo
