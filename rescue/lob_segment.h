// Where the LOBs of a column lie, and what leads to them: the LOB segment, its index, and, where that is
// lost, the blocks themselves.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "rescue/dictionary.h"
#include "rescue/limit_reached.h"
#include "rescue/lob_index.h"
#include "rescue/lob_scan.h"
#include "rescue/segment.h"

namespace vexlo {

// The segments of one LOB column, of a partitioned table of one of its partitions.
struct LobPlaces {
    SegmentRef data;
    SegmentRef index;
    uint32_t chunk_blocks = 1;
    bool known = false; // the dictionary tells them
    // Options of the column. They tell why a SecureFile cannot be read, not that it cannot: LOBs may be older
    // than the option.
    bool compress_low = false;
    bool deduplicated = false;
    bool encrypted = false; // every LOB is ciphertext
};

// Finds the segments of the LOB column `internal_column` of `table` for rows in the segment of object
// `table_fragment`: the table itself, or one of its partitions or subpartitions.
LobPlaces find_lob_places(const Dictionary &dictionary, uint32_t table, uint32_t internal_column,
                          uint32_t table_fragment);

// How much the LOBs of a column may still lead to, for all its readers together: sound ones have blocks of
// their own, so that each block is read for one of them alone, and once more where the index is lost. Where
// rows are damaged or made so, many can lead to the same blocks. Thread-safe.
class LobBudget {
public:
    // Of a column whose tablespace has so many bytes: with room for copies of rows, and for holes.
    LobBudget(uint64_t tablespace_bytes, RowOrder order)
        : left_(static_cast<int64_t>(SHARE * tablespace_bytes)), order_(order) {}

    // Whether another LOB may be read; the last one may take more than is left. Throws LimitReached in place
    // of false where rows come in any order.
    bool allows() const {
        const bool is_left = left_.load(std::memory_order_relaxed) >= 0;
        if (!is_left && order_ == RowOrder::any)
            throw LimitReached();
        return is_left;
    }
    // A LOB has led to so many bytes. Throws in the same way when they are more than were left.
    void take(uint64_t bytes) {
        left_.fetch_sub(static_cast<int64_t>(bytes), std::memory_order_relaxed);
        allows();
    }

private:
    static constexpr uint64_t SHARE = 8; // of a tablespace's bytes

    std::atomic<int64_t> left_;
    const RowOrder order_;
};

// The segments of one LOB column, with what is read of them only when a LOB asks for it. Shared by all
// threads.
class LobSegment {
public:
    // `files` and `scans` must outlive the segment. `order` is that of the rows whose LOBs are read.
    LobSegment(const FileSet &files, const ScanIndexes &scans, const LobPlaces &places, ReadOptions options,
               RowOrder order = RowOrder::kept);

    const LobPlaces &places() const { return places_; }
    // Block size of the tablespace; 0 when none of its files is there. And the bytes of its files.
    uint32_t block_size() const { return block_size_; }
    uint64_t tablespace_bytes() const { return tablespace_bytes_; }
    // Whether a LOB of the column may be read: what is in the row costs nothing. Who reads one takes what it
    // led to from the budget. Both thread-safe.
    bool allows(const LobLocator &lob) const {
        return lob.place == LobPlace::in_row || lob.place == LobPlace::empty || budget_->allows();
    }
    LobBudget &budget() const { return *budget_; }
    // The LOB index, read when first asked for. Thread-safe.
    const LobIndex &index() const;
    // The same when it has been asked for, else null. Not while other threads use the segment.
    const LobIndex *index_if_read() const { return index_.get(); }
    // The blocks of the segment by LOB and page, found by going through them. Thread-safe.
    const LobScan &scan() const;

private:
    const FileSet &files_;
    const ScanIndexes &scans_;
    LobPlaces places_;
    ReadOptions options_;
    uint32_t block_size_ = 0;
    uint64_t tablespace_bytes_ = 0;
    std::unique_ptr<LobBudget> budget_;
    mutable std::once_flag index_made_, scan_made_;
    mutable std::unique_ptr<LobIndex> index_;
    mutable std::unique_ptr<LobScan> scan_;
};

} // namespace vexlo
