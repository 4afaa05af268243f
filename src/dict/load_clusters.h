#pragma once

#include "dict/column_runs.h"

// Reads the cluster file and marks the tables of each cluster and their cluster key columns. Returns 0, or
// -1 after its message.
int load_clusters(const COL_RUNS &runs);
