#include "rescue/scan_index.h"

#include <algorithm>

#include "format/block.h"
#include "format/cache_header.h"
#include "format/extent_map.h"
#include "format/lob_block.h"
#include "rescue/block_health.h"
#include "rescue/segment.h"
#include "rescue/stop.h"

namespace vexlo {

namespace {

constexpr uint32_t NO_OBJECT = 0;
constexpr uint64_t FIRST_SCANNED_BLOCK = 2; // behind the file header

// Adds a block to ranges that come in rising order.
void extend(std::vector<ScanRange> &ranges, uint32_t object, const Datafile *file, uint64_t block) {
    if (!ranges.empty()) {
        ScanRange &last = ranges.back();
        if (last.object == object && last.file == file && last.first + last.blocks == block &&
            last.blocks != UINT32_MAX) {
            ++last.blocks;
            return;
        }
    }
    ranges.push_back({file, object, 1, block});
}

void sort_by_object(std::vector<ScanRange> &ranges) {
    std::stable_sort(ranges.begin(), ranges.end(),
                     [](const ScanRange &a, const ScanRange &b) { return a.object < b.object; });
}

std::span<const ScanRange> ranges_of(const std::vector<ScanRange> &ranges, uint32_t object) {
    const auto first = std::partition_point(ranges.begin(), ranges.end(),
                                            [&](const ScanRange &r) { return r.object < object; });
    const auto last =
        std::partition_point(first, ranges.end(), [&](const ScanRange &r) { return r.object == object; });
    return {first, last};
}

} // namespace

// Goes through the blocks of a file in order.
class ScanIndex::Builder {
public:
    Builder(ScanIndex &index, bool trust_blocks) : index_(index), trust_blocks_(trust_blocks) {}

    void begin_file(const Datafile &file) {
        file_ = &file;
        before_ = NO_OBJECT;
        pending_ = index_.ownerless_.size();
    }

    void take(uint64_t block, const uint8_t *blk) {
        const uint32_t bsz = file_->block_size();
        const Health health = block_health(blk, bsz, file_->rdba(block), trust_blocks_);
        if (is_bad(health)) {
            // What the block states of its owner may be right, and then its rows can be had as suspects.
            if (health != Health::address && block_type(blk) == BLOCK_TABLE_DATA)
                extend(index_.rows_, block_object(blk), file_, block);
            take_ownerless(block);
        } else if (health == Health::unformatted) {
            return;
        } else if (block_type(blk) == BLOCK_TABLE_DATA) {
            // The object number of an encrypted block is ciphertext like all behind its header.
            if ((block_flags(blk) & CACHE_FLAG_ENCRYPTED) != 0)
                take_ownerless(block);
            else
                take_owned(index_.rows_, block_object(blk), block);
        } else if (EXTENT_MAP map; locate_extent_map({blk, bsz, file_->rdba(block)}, &map)) {
            meet(extent_map_object(map));
        } else if (LOB_PAGE page; locate_lob_page({blk, bsz, file_->rdba(block)}, &page)) {
            take_owned(index_.lobs_, page.object, block);
        }
    }

    void take_ownerless(uint64_t block) { extend(index_.ownerless_, NO_OBJECT, file_, block); }

    void end_file() { settle(NO_OBJECT); }

private:
    void take_owned(std::vector<ScanRange> &ranges, uint32_t object, uint64_t block) {
        extend(ranges, object, file_, block);
        meet(object);
    }

    // A block of this object, be it of its rows or of its maps, says whose those beside it may be.
    void meet(uint32_t object) {
        if (pending_ != index_.ownerless_.size())
            settle(object);
        before_ = object;
    }

    // Notes the ownerless ranges since the last owned block as beside that block's object and the next one's.
    void settle(uint32_t after) {
        for (; pending_ < index_.ownerless_.size(); ++pending_) {
            ScanRange range = index_.ownerless_[pending_];
            for (const uint32_t object : {before_, after}) {
                if (object == NO_OBJECT || (object == before_ && range.object == object))
                    continue;
                range.object = object;
                index_.beside_.push_back(range);
            }
        }
    }

    ScanIndex &index_;
    const bool trust_blocks_;
    const Datafile *file_ = nullptr;
    uint32_t before_ = NO_OBJECT; // data object of the last block that had one
    size_t pending_ = 0;          // first ownerless range not settled
};

ScanIndex::ScanIndex(const FileSet &files, uint32_t tablespace, bool trust_blocks) {
    Builder builder(*this, trust_blocks);
    std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
    for (const Datafile *file : files.scanned(tablespace)) {
        builder.begin_file(*file);
        const uint32_t bsz = file->block_size();
        const uint64_t most = SegmentRuns::RUN_BYTES / bsz;
        for (uint64_t block = file->skip_hole(FIRST_SCANNED_BLOCK); block < file->blocks();) {
            check_stop();
            const BlockRun run{file, block, static_cast<uint32_t>(std::min(most, file->blocks() - block)),
                               true};
            const LoadedRun loaded = load_run(run, buffer.data());
            auto lost = loaded.unreadable.begin();
            for (uint32_t i = 0; i < run.count; ++i) {
                if (lost != loaded.unreadable.end() && *lost == i) {
                    builder.take_ownerless(block + i);
                    ++lost;
                } else {
                    builder.take(block + i, loaded.data + size_t{i} * bsz);
                }
            }
            block = file->skip_hole(block + run.count);
        }
        builder.end_file();
    }
    for (std::vector<ScanRange> *ranges : {&rows_, &lobs_, &beside_})
        sort_by_object(*ranges);
}

std::span<const ScanRange> ScanIndex::object(uint32_t object) const {
    return ranges_of(rows_, object);
}

std::span<const ScanRange> ScanIndex::lob_object(uint32_t object) const {
    return ranges_of(lobs_, object);
}

std::span<const ScanRange> ScanIndex::beside(uint32_t object) const {
    return ranges_of(beside_, object);
}

const ScanIndex &ScanIndexes::of(uint32_t tablespace) const {
    Slot *slot;
    {
        const std::lock_guard<std::mutex> guard(lock_);
        std::unique_ptr<Slot> &place = slots_[tablespace];
        if (!place)
            place = std::make_unique<Slot>();
        slot = place.get();
    }
    std::call_once(slot->made,
                   [&] { slot->index = std::make_unique<ScanIndex>(files_, tablespace, trust_blocks_); });
    return *slot->index;
}

} // namespace vexlo
