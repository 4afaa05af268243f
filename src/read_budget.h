// How much a walk may take from the datafiles: no sound segment has more than all of them hold together.
#pragma once

#include "vexlo.h"

// What was taken, and what is known to be there. The sizes are those of the walk's own time: a file may
// still be growing while it is restored. Most walks stay within one file, so the others are asked for
// theirs once, when more was taken than the first one holds.
struct READ_BUDGET {
    uint64_t taken;
    uint64_t granted;
    bool all_asked;
};

// The budget of a walk that begins in `df`, which may be null. A device without a size of its own sets no
// limit.
READ_BUDGET begin_budget(const DATAFILE *df);

// Takes `bytes` more; false when that is more than the open datafiles hold.
bool spend(READ_BUDGET *budget, uint64_t bytes);
