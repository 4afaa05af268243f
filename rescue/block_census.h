// What the blocks of a datafile are, and which of them are not what belongs at their place.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "rescue/block_health.h"
#include "rescue/datafile.h"

namespace vexlo {

enum class BlockKind : uint8_t {
    table,
    index,
    lob,
    segment_header,
    extent_map,
    space, // bitmaps and other administration of segments and files
    undo,
    encrypted,
    other,
    unformatted,
    bad,
};
constexpr size_t BLOCK_KINDS = static_cast<size_t>(BlockKind::bad) + 1;

// "table", "index", "LOB", ...
std::string_view kind_text(BlockKind kind);

// Consecutive blocks of a file with the same fault, or never formatted.
struct HealthRange {
    uint64_t first;
    uint64_t blocks;
    Health health;

    bool operator==(const HealthRange &) const = default;
};

struct BlockCensus {
    std::array<uint64_t, BLOCK_KINDS> kinds{};
    std::vector<HealthRange> ranges; // of blocks that are not sound, rising

    // Counts a block of `bsz` bytes.
    void add(uint64_t block, const uint8_t *blk, Health health);
    // Counts blocks without content: never formatted, or not delivered by the file.
    void add_range(uint64_t first, uint64_t blocks, Health health);
    // Adds the census of the blocks behind these.
    void append(const BlockCensus &next);
};

// Reads every block of the file from the header on, with `threads` threads. With `trust_blocks` neither check
// values nor tails are tested. `seen`, called by one thread at a time, is told how many blocks more are done.
// Throws Stopped.
BlockCensus take_census(const Datafile &file, size_t threads, bool trust_blocks,
                        const std::function<void(uint64_t)> &seen);

} // namespace vexlo
