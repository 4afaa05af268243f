// The health of the files.
#pragma once

#include "output/console.h"
#include "rescue/options.h"

namespace vexlo {

// Tests every block of every datafile and prints what was found to standard output, as text or as JSON: the
// identity of each file, its blocks by kind, each range of bad blocks with its owner, and of the set of files
// those that are missing, doubled or of another checkpoint. Returns the exit status: EXIT_LOSSES when a block
// is bad or a file is missing. Throws UsageError, InputError and OutputError.
int run_check(const RescueOptions &options, Console &console);

} // namespace vexlo
