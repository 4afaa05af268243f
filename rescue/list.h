// What is in the database and what can be had of it.
#pragma once

#include "output/console.h"
#include "rescue/options.h"

namespace vexlo {

// Prints the tables that the options select to standard output, as a table or as JSON: owner, name,
// partitions, columns, blocks, estimated rows and bytes, rows as last analysed, and what stands in the way of
// having all of it. Rows are estimated from a sample of the blocks; of a table of few blocks they are
// counted. Returns the exit status; throws UsageError and InputError.
int run_list(const RescueOptions &options, Console &console);

} // namespace vexlo
