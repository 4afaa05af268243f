// The unloading of one table: its segments, run by run, through row readers and formatters on several threads
// into its outputs.
#pragma once

#include <memory>
#include <string>

#include "output/cell.h"
#include "output/console.h"
#include "rescue/plan.h"
#include "rescue/record.h"
#include "rescue/rescue_progress.h"
#include "rescue/table_output.h"

namespace vexlo {

// What all tables of a run share.
struct UnloadContext {
    const RescueOptions &options;
    const FileSet &files;
    const ScanIndexes &scans;
    BlockBudgets &budgets;
    const Dictionary &dictionary;
    const TextCharsets &charsets;
    OutputFactory &outputs;
    Console &console;
    RescueProgress &progress;
};

// Writes the outputs of a planned table and says in the result what came of it. An input that fails is a loss
// there; throws OutputError when an output does, and Stopped when the run is to end.
TableEntry unload_table(const UnloadContext &context, const PlannedTable &table);

// Throws UsageError when the values of a table cannot be written as the options ask.
void check_values(const RescueOptions &options, const Dictionary &dictionary, const PlannedTable &table);

// The entry of a table of which nothing is known yet but its name.
TableEntry empty_entry(const PlannedTable &table);

} // namespace vexlo
