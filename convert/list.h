// The listing of dumps.
#pragma once

#include "convert/options.h"
#include "output/report.h"

namespace vexlo {

// Prints header, tables and columns of every file of the options to standard output, as text or as one JSON
// document. Unless the options say that the counts are to be trusted, every table is read to its end to see
// whether it is complete; what is wrong is reported. Throws UsageError, and OutputError when standard output
// cannot be written.
void list_files(const Options &options, Report &report);

} // namespace vexlo
