#include "rescue/lob_scan.h"

#include <algorithm>
#include <tuple>

#include "format/lob_block.h"
#include "rescue/block_health.h"

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

} // namespace

LobScan::LobScan(const ScanIndex &scan, uint32_t data_object, ReadOptions options) {
    std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
    for (const ScanRange &range : scan.lob_object(data_object))
        for_each_run(range, [&](const BlockRun &run) {
            const LoadedRun loaded = load_run(run, buffer.data());
            const uint32_t bsz = run.file->block_size();
            for (uint32_t i = 0; i < run.count; ++i) {
                const BLOCK blk{loaded.data + size_t{i} * bsz, bsz, run.file->rdba(run.first + i)};
                LOB_PAGE page;
                if (block_health(blk.data, bsz, blk.rdba, options.trust_blocks) != Health::sound ||
                    !locate_lob_page(blk, &page) || page.object != data_object)
                    continue;
                ScannedPage scanned{{}, page.page, blk.rdba, page.version};
                std::copy_n(page.id, scanned.id.size(), scanned.id.begin());
                pages_.push_back(scanned);
            }
        });
    drop_old_versions();
}

void LobScan::drop_old_versions() {
    std::sort(pages_.begin(), pages_.end(), [](const ScannedPage &a, const ScannedPage &b) {
        return std::tie(a.id, a.page, b.version, a.rdba) < std::tie(b.id, b.page, a.version, b.rdba);
    });
    size_t kept = 0;
    for (const ScannedPage &page : pages_) {
        const bool old = kept != 0 && pages_[kept - 1].id == page.id && pages_[kept - 1].page == page.page &&
                         pages_[kept - 1].version != page.version;
        if (!old)
            pages_[kept++] = page;
    }
    pages_.resize(kept);
}

std::span<const ScannedPage> LobScan::find(const LobId &id) const {
    const auto before = [](const ScannedPage &page, const LobId &wanted) { return page.id < wanted; };
    const auto behind = [](const LobId &wanted, const ScannedPage &page) { return wanted < page.id; };
    const auto first = std::lower_bound(pages_.begin(), pages_.end(), id, before);
    return {first, std::upper_bound(first, pages_.end(), id, behind)};
}

} // namespace vexlo
