// The listing of dumps.
#pragma once

#include "convert/options.h"
#include "output/report.h"

namespace vexlo {

// Prints header, tables and columns of every file of the options to standard output. Every table is read to
// its end to see whether it is complete; what is wrong is reported.
void list_files(const Options &options, Report &report);

} // namespace vexlo
