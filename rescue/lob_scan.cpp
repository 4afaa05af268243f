#include "rescue/lob_scan.h"

#include <algorithm>
#include <tuple>

#include "format/lob_block.h"
#include "rescue/block_health.h"
#include "rescue/stop.h"

namespace vexlo {

namespace {

// Cuts a range of blocks into runs that fit a buffer.
template <class TAKE>
void for_each_run(const ScanRange &range, TAKE &&take) {
    const uint32_t most = SegmentRuns::RUN_BYTES / range.file->block_size();
    for (uint32_t done = 0; done < range.blocks;) {
        const uint32_t count = std::min(most, range.blocks - done);
        take(BlockRun{range.file, range.first + done, count, true});
        done += count;
    }
}

// Leaves of several versions of a page the blocks of the newest.
void drop_old_versions(std::vector<ScannedPage> &pages) {
    std::sort(pages.begin(), pages.end(), [](const ScannedPage &a, const ScannedPage &b) {
        return std::tie(a.page, b.version, a.rdba) < std::tie(b.page, a.version, b.rdba);
    });
    size_t kept = 0;
    for (const ScannedPage &page : pages) {
        const bool old =
            kept != 0 && pages[kept - 1].page == page.page && pages[kept - 1].version != page.version;
        if (!old)
            pages[kept++] = page;
    }
    pages.resize(kept);
}

} // namespace

LobScan::LobScan(const ScanIndex &scan, uint32_t tablespace, uint32_t data_object, ReadOptions options)
    : tablespace_(tablespace), data_object_(data_object) {
    static_assert(sizeof(Run) == 16);
    std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
    for (const ScanRange &range : scan.lob_object(data_object))
        for_each_run(range, [&](const BlockRun &run) { add_run(run, buffer, options); });
    runs_.shrink_to_fit();
    std::sort(runs_.begin(), runs_.end(),
              [](const Run &a, const Run &b) { return std::tie(a.id, a.rdba) < std::tie(b.id, b.rdba); });
}

void LobScan::add_run(const BlockRun &run, std::vector<uint8_t> &buffer, ReadOptions options) {
    check_stop();
    const LoadedRun loaded = load_run(run, buffer.data());
    const uint32_t bsz = run.file->block_size();
    for (uint32_t i = 0; i < run.count; ++i) {
        const BLOCK blk{loaded.data + size_t{i} * bsz, bsz, run.file->rdba(run.first + i)};
        LOB_PAGE page;
        if (block_health(blk.data, bsz, blk.rdba, options.trust_blocks) != Health::sound ||
            !locate_lob_page(blk, &page) || page.object != data_object_)
            continue;
        LobId id;
        std::copy_n(page.id, id.size(), id.begin());
        add_block(id, blk.rdba);
    }
}

void LobScan::add_block(const LobId &id, uint32_t rdba) {
    if (!runs_.empty()) {
        Run &last = runs_.back();
        if (last.id == id && last.rdba + last.blocks == rdba && last.blocks != UINT16_MAX) {
            ++last.blocks;
            return;
        }
    }
    runs_.push_back({id, 1, rdba});
}

uint64_t LobScan::find(const LobId &id, BlockReader &blocks, std::vector<ScannedPage> &pages) const {
    uint64_t read = 0;
    const auto first = std::lower_bound(runs_.begin(), runs_.end(), id,
                                        [](const Run &run, const LobId &wanted) { return run.id < wanted; });
    for (auto run = first; run != runs_.end() && run->id == id; ++run)
        for (uint32_t i = 0; i < run->blocks; ++i, ++read) {
            const FetchedBlock block = blocks.fetch(tablespace_, run->rdba + i);
            LOB_PAGE page;
            if (block.is_sound() && locate_lob_page(block.blk, &page) && page.object == data_object_ &&
                std::equal(id.begin(), id.end(), page.id))
                pages.push_back({page.page, run->rdba + i, page.version});
        }
    drop_old_versions(pages);
    return read;
}

} // namespace vexlo
