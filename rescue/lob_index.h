// The index of a BasicFile LOB segment: which chunks belong to a LOB. Of its leaf blocks only the range of
// LOB ids in each is kept; what a LOB needs of them is read again.
//
// Leaves that are gone leave no trace in the segment, where blocks that were never written are no loss. But
// each leaf names those beside it: the index is complete when its leaves make one chain from end to end.
#pragma once

#include <cstdint>
#include <vector>

#include "rescue/block_reader.h"
#include "rescue/loss.h"
#include "rescue/segment.h"
#include "values/lob_locator.h"

namespace vexlo {

// A row of the index, decoded.
struct LobIndexEntry {
    uint32_t page = 0;   // of the first address
    uint32_t blocks = 0; // of the LOB: whole blocks in use, and bytes in the one behind; page 0 alone
    uint32_t bytes = 0;
    std::vector<uint32_t> addresses; // 0: a hole
};

class LobIndex {
public:
    // Goes through the index's segment. Without any leaf the index is not complete.
    LobIndex(const FileSet &files, const ScanIndexes &scans, const SegmentRef &segment, ReadOptions options);

    // Whether every leaf could be read: what has no entry has none in the database either.
    bool is_complete() const { return complete_; }
    // Blocks of it that could not be read.
    const std::vector<Loss> &losses() const { return lost_.losses; }
    // The entries of a LOB by page. False when a leaf that may hold some could not be read again. `leaves` is
    // how many were read.
    bool find(const LobId &id, BlockReader &blocks, std::vector<LobIndexEntry> &entries,
              uint64_t &leaves) const;

private:
    struct Leaf {
        LobId low, high;
        uint32_t rdba;
    };
    // The place of a leaf in the chain.
    struct Link {
        uint32_t rdba, next, previous;
        bool has_rows;
    };

    void add_run(const BlockRun &run, uint32_t data_object, std::vector<uint8_t> &buffer,
                 ReadOptions options);
    void add_leaf(const BLOCK &blk);
    void sort();
    bool is_chain_whole() const;
    size_t count_chain(const Link &first) const;
    const Link *link_at(uint32_t rdba) const;

    uint32_t tablespace_;
    bool complete_ = false;
    SegmentTally lost_;
    std::vector<Leaf> leaves_;   // by low
    std::vector<LobId> highest_; // of all leaves up to this one
    std::vector<Link> links_;    // by address; of leaves whose rows can all be read; while the index is read
};

} // namespace vexlo
