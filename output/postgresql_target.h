// What the two formats for PostgreSQL have in common.
#pragma once

#include <string>

#include "output/column_types.h"

namespace vexlo {

constexpr CellStyle POSTGRESQL_STYLE{MomentStyle::postgresql, IntervalStyle::iso};

// Why the server would refuse the cell, with the name of the column; empty when it takes it.
std::string postgresql_refusal(const Column &column, const Cell &cell);

} // namespace vexlo
