// A look at some of the blocks of a table.
#pragma once

#include <cstdint>

#include "rescue/open_database.h"
#include "rescue/plan.h"
#include "rescue/table_layout.h"

namespace vexlo {

// What a sample of the blocks says of a table. Rows and bytes are those of the whole table, estimated, or
// counted when the sample is the whole table.
struct TableSample {
    uint64_t blocks = 0; // of its segments, with those that hold no rows
    uint64_t sampled = 0;
    uint64_t rows = 0;
    uint64_t bytes = 0; // of the stored values
    SegmentTally tally; // of the sample; missing files are complete
    uint64_t suspect = 0;

    bool is_whole() const { return sampled == blocks; }
};

constexpr uint64_t SAMPLED_BLOCKS = 64; // of each segment

// `layout` is that of the table; what its segments lead to comes out of `budgets`.
TableSample sample_table(const OpenDatabase &database, const PlannedTable &table, const TableLayout &layout,
                         const ReadOptions &reading, BlockBudgets &budgets);

} // namespace vexlo
