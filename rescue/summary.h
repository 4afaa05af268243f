// The table that ends a run on standard error.
#pragma once

#include <string>
#include <vector>

#include "rescue/record.h"

namespace vexlo {

// A line for each table, with status, rows, suspect rows, lost blocks and reason, and one with the sums.
std::string summary_text(const std::vector<TableEntry> &tables);

} // namespace vexlo
