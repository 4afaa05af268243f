// The runs of equal object numbers in the loaded columns, so that the columns of a table or a cluster are
// found without a scan.
#pragma once

#include <span>

#include "vexlo.h"

// Columns of one object that stand side by side.
struct COL_RUN {
    uint32_t start; // index of the first one
    uint32_t count;
    uint32_t flag; // TAB_HAS_LONG and TAB_HAS_ENCRYPTED where a column of the run asks for them
};

// The runs of `columns`, ordered by object number, then by start.
struct COL_RUNS {
    std::span<const COL> columns;
    COL_RUN *runs; // heap block owned by this record; null when memory was short
    uint32_t count;
};

// Indexes `columns`, which must stay in place. `runs` is null when memory was short, after its message.
COL_RUNS index_column_runs(std::span<const COL> columns);

// Frees the index and leaves it empty.
void free_column_runs(COL_RUNS *runs);

// The first run of the object `objn` that starts at index `from` or behind; null when there is none.
const COL_RUN *find_run(const COL_RUNS &runs, uint32_t objn, uint32_t from);
