#include "rescue/block_census.h"

#include <algorithm>
#include <memory>

#include "format/block.h"
#include "format/cache_header.h"
#include "format/file_header.h"
#include "output/pipeline.h"
#include "rescue/segment.h"
#include "rescue/stop.h"

namespace vexlo {

namespace {

constexpr uint32_t READ_BYTES = 256 << 10; // stays in the cache of a core between reading and testing
constexpr uint64_t HOLE_BLOCKS = 1 << 20;  // told of at once

constexpr std::array<std::string_view, BLOCK_KINDS> KIND_TEXTS = {
    "table", "index",     "LOB",   "segment header", "extent map", "space",
    "undo",  "encrypted", "other", "unformatted",    "bad"};

// KTBBH.ktbbhtyp at 20 tells what a block with a transaction header is for.
BlockKind transaction_kind(const uint8_t *blk) {
    constexpr uint8_t INDEX = 2, SECURE_LOB = 5;
    switch (blk[CACHE_HEADER_SIZE]) {
    case INDEX:
        return BlockKind::index;
    case SECURE_LOB:
        return BlockKind::lob;
    default:
        return BlockKind::table;
    }
}

BlockKind kind_of(const uint8_t *blk) {
    constexpr uint8_t UNDO = 0x02, FREELIST = 0x16, LOB = 0x1B, FILE_SPACE = 0x1D, FILE_BITMAP = 0x1E,
                      BITMAP_1 = 0x20, BITMAP_3 = 0x22, UNDO_HEADER = 0x26, LOB_ASSM = 0x28;
    if ((block_flags(blk) & CACHE_FLAG_ENCRYPTED) != 0)
        return BlockKind::encrypted;
    switch (block_type(blk)) {
    case BLOCK_TABLE_DATA:
        return transaction_kind(blk);
    case LOB:
    case LOB_ASSM:
        return BlockKind::lob;
    case BLOCK_SEGMENT_HEADER:
    case BLOCK_SEGMENT_HEADER_ASSM:
        return BlockKind::segment_header;
    case BLOCK_EXTENT_MAP:
    case BLOCK_EXTENT_MAP_ASSM:
        return BlockKind::extent_map;
    case UNDO:
    case UNDO_HEADER:
        return BlockKind::undo;
    case BLOCK_FILE_HEADER:
    case FREELIST:
    case FILE_SPACE:
    case FILE_BITMAP:
        return BlockKind::space;
    default:
        return block_type(blk) >= BITMAP_1 && block_type(blk) <= BITMAP_3 ? BlockKind::space
                                                                          : BlockKind::other;
    }
}

// Some blocks on their way through the threads; of a hole in the file without a buffer.
struct CensusItem {
    std::unique_ptr<uint8_t[]> buffer;
    LoadedRun run;
    uint64_t hole = 0; // blocks
    BlockCensus census;
};

// Hands out a file piece by piece.
class CensusSource {
public:
    explicit CensusSource(const Datafile &file) : file_(file) {}

    bool next(CensusItem &item) {
        check_stop();
        if (at_ >= file_.blocks())
            return false;
        item.census = {};
        const uint64_t data = at_ < hole_checked_ ? at_ : find_data();
        item.hole = std::min(data - at_, HOLE_BLOCKS);
        item.run.run = {&file_, at_, 0, false};
        if (item.hole == 0)
            load(item);
        at_ += item.hole + item.run.run.count;
        return true;
    }

private:
    // Asks the file system for a hole once a megabyte or so.
    uint64_t find_data() {
        hole_checked_ = at_ + (1 << 20) / file_.block_size();
        return std::min(file_.skip_hole(at_), file_.blocks());
    }

    void load(CensusItem &item) {
        const uint64_t most = std::max<uint64_t>(1, READ_BYTES / file_.block_size());
        item.run.run.count = static_cast<uint32_t>(std::min(most, file_.blocks() - at_));
        if (item.buffer == nullptr)
            item.buffer.reset(new uint8_t[std::max(READ_BYTES, LARGEST_BLOCK_SIZE) + RUN_SLACK]);
        item.run = load_run(item.run.run, item.buffer.get());
    }

    const Datafile &file_;
    uint64_t at_ = 1;
    uint64_t hole_checked_ = 0; // no hole begins before this block
};

void judge(const Datafile &file, bool trust_blocks, CensusItem &item) {
    const uint64_t first = item.run.run.first;
    if (item.hole > 0) {
        item.census.add_range(first, item.hole, Health::unformatted);
        return;
    }
    const uint32_t bsz = file.block_size();
    auto unreadable = item.run.unreadable.begin();
    for (uint32_t i = 0; i < item.run.run.count; ++i) {
        const uint8_t *blk = item.run.data + size_t{i} * bsz;
        if (unreadable != item.run.unreadable.end() && *unreadable == i) {
            ++unreadable;
            item.census.add_range(first + i, 1, Health::unreadable);
        } else {
            item.census.add(first + i, blk, block_health(blk, bsz, file.rdba(first + i), trust_blocks));
        }
    }
}

} // namespace

std::string_view kind_text(BlockKind kind) {
    return KIND_TEXTS[static_cast<size_t>(kind)];
}

void BlockCensus::add(uint64_t block, const uint8_t *blk, Health health) {
    if (health == Health::sound)
        ++kinds[static_cast<size_t>(kind_of(blk))];
    else
        add_range(block, 1, health);
}

void BlockCensus::add_range(uint64_t first, uint64_t blocks, Health health) {
    kinds[static_cast<size_t>(is_bad(health) ? BlockKind::bad : BlockKind::unformatted)] += blocks;
    if (!ranges.empty() && ranges.back().health == health &&
        ranges.back().first + ranges.back().blocks == first)
        ranges.back().blocks += blocks;
    else
        ranges.push_back({first, blocks, health});
}

void BlockCensus::append(const BlockCensus &next) {
    const auto counted = kinds;
    for (const HealthRange &range : next.ranges)
        add_range(range.first, range.blocks, range.health);
    for (size_t i = 0; i < BLOCK_KINDS; ++i)
        kinds[i] = counted[i] + next.kinds[i];
}

BlockCensus take_census(const Datafile &file, size_t threads, bool trust_blocks,
                        const std::function<void(uint64_t)> &seen) {
    BlockCensus census;
    CensusSource source(file);
    run_pipeline<CensusItem>(
        threads, [&](CensusItem &item) { return source.next(item); },
        [&](size_t, CensusItem &item, auto &&) { judge(file, trust_blocks, item); },
        [&](CensusItem &item) {
            census.append(item.census);
            seen(item.hole + item.run.run.count);
        });
    return census;
}

} // namespace vexlo
