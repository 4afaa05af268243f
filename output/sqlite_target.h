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

// An expression that SQLite evaluates to the double that is nearest to the number `text`. Its own reading of
// literals is exact for short ones only; the others are written as a whole number and powers of two.
std::string sqlite_real_expression(std::string_view text);

constexpr uint64_t SQLITE_LENGTH_MAX = 1000000000; // bytes of a value, a row or a statement

// Whether `size`, the bytes of a value, are at most `most`; adds a loss when they are not.
bool fits_sqlite(uint64_t size, uint64_t most, const Row &row, const Column &column, RowLosses &losses);

} // namespace vexlo
