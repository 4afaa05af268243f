// The index of a BasicFile LOB segment: which chunks belong to a LOB. Of its leaf blocks only the range of
// LOB ids in each is kept; what a LOB needs of them is read again.
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
    // Goes through the index's segment. Without storage the index is not complete.
    LobIndex(const FileSet &files, const ScanIndexes &scans, const SegmentRef &segment, ReadOptions options);

    // Whether every block of the segment could be read: what has no entry has none in the database either.
    bool is_complete() const { return complete_; }
    // Blocks of it that could not be read.
    const std::vector<Loss> &losses() const { return lost_.losses; }
    // The entries of a LOB by page. False when a leaf that may hold some could not be read again.
    bool find(const LobId &id, BlockReader &blocks, std::vector<LobIndexEntry> &entries) const;

private:
    struct Leaf {
        LobId low, high;
        uint32_t rdba;
    };

    void add_run(const BlockRun &run, uint32_t data_object, std::vector<uint8_t> &buffer,
                 ReadOptions options);
    void add_leaf(const BLOCK &blk);
    void sort();

    uint32_t tablespace_;
    bool complete_ = false;
    SegmentTally lost_;
    std::vector<Leaf> leaves_;   // by low
    std::vector<LobId> highest_; // of all leaves up to this one
};

} // namespace vexlo
