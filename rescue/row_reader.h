// The rows of blocks in memory. One reader a thread.
//
// A row comes out where its head piece lies; the pieces that continue it are fetched from wherever they are.
// Values are views of the blocks where they lie in one piece, and of the reader's own memory where they were
// cut.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "format/block.h"
#include "rescue/block_reader.h"
#include "rescue/limit_reached.h"
#include "rescue/loss.h"
#include "rescue/segment.h"
#include "rescue/table_layout.h"
#include "values/row.h"

namespace vexlo {

// Why a row cannot be trusted; the first reason found.
enum class RowFault : uint8_t {
    none,
    check_value, // of its block or of one that continues it
    tail,
    address,
    unreadable,   // a block that continues it
    missing_file, // a block that continues it
    piece_leaves_block,
    value_leaves_block,
    value_too_long,
    broken_chain, // the next piece is not there, or is none of this row
    looping_chain,
    cluster_key, // its key is lost
    lost_head,   // a migrated row: the block that leads to it is lost
    surplus,     // it has more values than the table has columns
};

// "check value of the block", "chain of pieces broken", ...; empty for none.
std::string_view fault_text(RowFault fault);

struct RescuedRow {
    Row row; // number: rows of this reader so far; offset: of the head's block in its file
    RowFault fault = RowFault::none;
    uint32_t relative_file = 0;
    uint64_t block = 0;
    uint32_t slot = 0;    // within the table's entries of the block
    uint32_t columns = 0; // what was found: values from the first stored column on; the others are NULL

    bool is_suspect() const { return fault != RowFault::none; }
};

// What is counted while rows are read, beside the rows.
struct RowCounts {
    uint64_t rows = 0;
    uint64_t suspect = 0;
    uint64_t lost_defaults = 0;    // values that are NULL because the default of their column is lost
    uint64_t encrypted_values = 0; // values that are NULL because they are ciphertext
    uint64_t pieces = 0;           // that continue rows, in sound blocks
    uint64_t followed_pieces = 0;  // those that a row led to
    uint64_t deleted_chains = 0;   // heads of deleted rows that go on elsewhere

    // Pieces whose rows were not found: their heads are lost. Where deleted rows may have led to them,
    // nothing is known.
    uint64_t stray_pieces() const {
        return pieces > followed_pieces && deleted_chains == 0 ? pieces - followed_pieces : 0;
    }

    RowCounts &operator+=(const RowCounts &other);
};

// How many pieces the rows of a segment may still be followed to, for all its readers together: a sound one
// has no more of them than its tablespace has room for. Thread-safe.
class PieceBudget {
public:
    PieceBudget(const FileSet &files, uint32_t tablespace, RowOrder order = RowOrder::kept);

    // False when nothing is left. Throws LimitReached in place of that where rows come in any order.
    bool take() {
        const bool is_left = left_.fetch_sub(1, std::memory_order_relaxed) > 0;
        if (!is_left && order_ == RowOrder::any)
            throw LimitReached();
        return is_left;
    }

private:
    std::atomic<int64_t> left_;
    const RowOrder order_;
};

// What all readers of one segment share.
struct RowSource {
    const FileSet &files;
    const TableLayout &layout;
    uint32_t tablespace;
    uint32_t object;              // object number, see SegmentRef
    uint32_t data_object;         // SegmentRuns::data_object
    const Dictionary *dictionary; // tells objects that exist from older incarnations; may be null
    ReadOptions options;
    std::string temporary_directory; // for values of more than LongValue::IN_MEMORY bytes; empty: see there
    std::shared_ptr<PieceBudget> pieces = nullptr; // null: the reader makes one of its own
};

class RowReader {
public:
    // What `source` refers to must outlive the reader.
    explicit RowReader(const RowSource &source);
    ~RowReader();
    RowReader(const RowReader &) = delete;
    RowReader &operator=(const RowReader &) = delete;

    // Hands each row that has its head in the run to take(const RescuedRow &), in block order; what the row
    // refers to holds until take returns. Counts every block and loss of the run in `tally`. The run has
    // RUN_SLACK bytes behind it.
    template <class TAKE>
    void read(const LoadedRun &run, SegmentTally &tally, TAKE &&take) {
        ROW_AREA area;
        TABLE_ROWS rows;
        for (uint32_t i = 0; i < run.run.count; ++i)
            if (open_block(run, i, tally, &area, &rows))
                walk_rows(area, rows, false, [&](int slot, const uint8_t *piece) {
                    if (const RescuedRow *row = decode(area, slot, piece))
                        take(*row);
                    return 0;
                });
    }

    const RowCounts &counts() const;
    // Single blocks, for LOBs too.
    BlockReader &blocks();

private:
    class State;

    // Judges block `i` of a run and counts it. True when it has rows of the table.
    bool open_block(const LoadedRun &run, uint32_t i, SegmentTally &tally, ROW_AREA *area, TABLE_ROWS *rows);
    // The row that has its head in `piece`, entry `slot` of the block opened last; null when there is none.
    const RescuedRow *decode(const ROW_AREA &area, int slot, const uint8_t *piece);

    std::unique_ptr<State> state_;
};

} // namespace vexlo
