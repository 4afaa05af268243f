// What the two formats for SQLite have in common.
#pragma once

#include <string>
#include <string_view>

#include "output/cell.h"

namespace vexlo {

enum class SqliteStorage : uint8_t { integer, real, text };

// How SQLite can hold the number `text` without changing it: whole numbers of 64 bits as INTEGER, up to 15
// significant digits as REAL, everything else as TEXT.
SqliteStorage sqlite_storage(std::string_view text);

// The type of a column in CREATE TABLE. NUMBER columns get none: the type's affinity would turn a TEXT number
// that REAL cannot hold into REAL.
const char *sqlite_column_type(const Column &column);

// CREATE TABLE for `table` under `name`.
std::string sqlite_create_table(const Table &table, const std::string &name);

// `name`, or "_name" for the names that SQLite keeps for itself.
std::string sqlite_table_name(const std::string &name);

} // namespace vexlo
