// A run of `unload`: all selected tables, one after the other, with a record of it.
#pragma once

#include "output/console.h"
#include "rescue/options.h"

namespace vexlo {

// Carries the run out and returns the exit status. Throws UsageError, InputError and OutputError before
// anything has been written.
int run_unload(const RescueOptions &options, Console &console);

} // namespace vexlo
