// What the two formats for loading into Oracle have in common.
#pragma once

#include <string>

#include "output/cell.h"

namespace vexlo {

constexpr CellStyle ORACLE_STYLE{MomentStyle::oracle, IntervalStyle::oracle};

// A conversion function around a value: `before` value `after`; both empty where none is needed.
struct OracleConversion {
    const char *before;
    const char *after;
};

// The function that reads the text of a date, timestamp or interval of `kind`. `with_zone` tells whether WITH
// LOCAL TIME ZONE values carry an offset.
OracleConversion oracle_conversion(ColumnKind kind, bool with_zone);

// The infinities of NUMBER and the year 0 exist in storage but no statement can write them.
bool is_unwritable_in_oracle(const Column &column, const Cell &cell);
// What is told of such a value of `column`.
std::string unwritable_in_oracle(const Column &column);

} // namespace vexlo
