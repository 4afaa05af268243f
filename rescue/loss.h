// What of a segment could not be read, and what its blocks were.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

#include "rescue/block_health.h"

namespace vexlo {

enum class LossKind : uint8_t { check_value, tail, address, unreadable, missing_file };

// "check value", "tail", "address", "unreadable", "missing file".
std::string_view loss_text(LossKind kind);

// The loss that a bad block is.
LossKind loss_of(Health bad);

// A range of blocks that is lost.
struct Loss {
    LossKind kind;
    uint32_t tablespace;
    uint32_t file; // absolute number; 0 when not known
    uint32_t relative_file;
    uint64_t block;
    uint64_t blocks;

    bool operator==(const Loss &) const = default;
};

struct BlockCounts {
    uint64_t data = 0;        // sound blocks of the segment's rows
    uint64_t unformatted = 0; // never written
    uint64_t foreign = 0;     // of another data object
    uint64_t older = 0;       // of an earlier incarnation of the segment
    uint64_t space = 0;       // segment headers, extent maps, bitmaps: sound, without rows
    uint64_t compressed = 0;  // of the segment, their rows not decoded
    uint64_t encrypted = 0;   // of the segment's extents, not decoded

    BlockCounts &operator+=(const BlockCounts &other);
};

// What became of the blocks of a segment, or of some of them. Tallies of parts add up in any order.
struct SegmentTally {
    BlockCounts counts;
    std::vector<Loss> losses;

    void add_loss(const Loss &loss);
    void add(const SegmentTally &other);
    // Sorts the losses by file and block and joins ranges that touch.
    void coalesce();
};

} // namespace vexlo
