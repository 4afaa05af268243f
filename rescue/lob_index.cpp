#include "rescue/lob_index.h"

#include <algorithm>

#include "format/lob_block.h"
#include "rescue/block_health.h"
#include "rescue/stop.h"

namespace vexlo {

namespace {

LobId id_at(const uint8_t *p) {
    LobId id;
    std::copy_n(p, id.size(), id.begin());
    return id;
}

LobIndexEntry decode_entry(const LOB_INDEX_ROW &row) {
    constexpr uint32_t BLOCKS = 4, BYTES = 8, ADDRESS_SIZE = 4;
    constexpr uint32_t HEAD_SIZE = LOB_INDEX_DATA - LOB_INDEX_HEAD_ADDRESSES * ADDRESS_SIZE;
    LobIndexEntry entry;
    entry.page = row.page;
    uint32_t at = 0;
    if (row.page == 0) {
        entry.blocks = load_be32(row.data + BLOCKS);
        entry.bytes = load_be16(row.data + BYTES);
        at = HEAD_SIZE;
    }
    for (; at < LOB_INDEX_DATA; at += ADDRESS_SIZE)
        entry.addresses.push_back(load_be32(row.data + at));
    return entry;
}

} // namespace

LobIndex::LobIndex(const FileSet &files, const ScanIndexes &scans, const SegmentRef &segment,
                   ReadOptions options)
    : tablespace_(segment.tablespace) {
    if (!segment.has_storage() && !segment.unplaced)
        return;
    SegmentRuns runs(files, scans, segment, options);
    std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
    for (BlockRun run; runs.next(run); check_stop())
        add_run(run, runs.data_object(), buffer, options);
    lost_.add(runs.tally());
    sort();
    complete_ = is_chain_whole();
    std::vector<Link>().swap(links_);
}

void LobIndex::add_run(const BlockRun &run, uint32_t data_object, std::vector<uint8_t> &buffer,
                       ReadOptions options) {
    const LoadedRun loaded = load_run(run, buffer.data());
    const auto add_loss = [&](LossKind kind, uint32_t place) {
        lost_.add_loss({kind, tablespace_, run.file->identity().file, run.file->identity().relative_file,
                        uint64_t{run.first} + place, 1});
    };
    for (const uint32_t place : loaded.unreadable)
        add_loss(LossKind::unreadable, place);
    const uint32_t bsz = run.file->block_size();
    for (uint32_t i = 0; i < run.count; ++i) {
        const BLOCK blk{loaded.data + size_t{i} * bsz, bsz, run.file->rdba(run.first + i)};
        const Health health = block_health(blk.data, bsz, blk.rdba, options.trust_blocks);
        if (is_bad(health) && !std::binary_search(loaded.unreadable.begin(), loaded.unreadable.end(), i))
            add_loss(loss_of(health), i);
        uint32_t at;
        if (health == Health::sound && find_transactions_end(blk, &at) &&
            block_object(blk.data) == data_object)
            add_leaf(blk);
    }
}

void LobIndex::add_leaf(const BLOCK &blk) {
    LOB_INDEX_LEAF leaf;
    if (!locate_lob_leaf(blk, &leaf))
        return;
    Leaf range{{}, {}, blk.rdba};
    bool found = false, whole = true;
    LOB_INDEX_ROW row;
    for (uint32_t i = 0; i < leaf.rows; ++i) {
        if (!lob_index_row(leaf, i, &row)) {
            whole = false;
            continue;
        }
        if (row.deleted)
            continue;
        const LobId id = id_at(row.id);
        range.low = found ? std::min(range.low, id) : id;
        range.high = found ? std::max(range.high, id) : id;
        found = true;
    }
    if (found)
        leaves_.push_back(range);
    if (whole)
        links_.push_back({blk.rdba, leaf.next, leaf.previous, found});
}

void LobIndex::sort() {
    std::sort(links_.begin(), links_.end(), [](const Link &a, const Link &b) { return a.rdba < b.rdba; });
    std::sort(leaves_.begin(), leaves_.end(), [](const Leaf &a, const Leaf &b) { return a.low < b.low; });
    highest_.reserve(leaves_.size());
    for (const Leaf &leaf : leaves_)
        highest_.push_back(highest_.empty() ? leaf.high : std::max(highest_.back(), leaf.high));
}

const LobIndex::Link *LobIndex::link_at(uint32_t rdba) const {
    const auto it = std::partition_point(links_.begin(), links_.end(),
                                         [&](const Link &link) { return link.rdba < rdba; });
    return it != links_.end() && it->rdba == rdba ? &*it : nullptr;
}

// How many leaves with rows a chain has that goes from `first` to an end, each leaf naming the one it came
// from; SIZE_MAX when it breaks off. Such chains have no leaf in common.
size_t LobIndex::count_chain(const Link &first) const {
    size_t count = 0;
    for (const Link *link = &first;;) {
        count += link->has_rows;
        if (link->next == 0)
            return count;
        const Link *next = link_at(link->next);
        if (next == nullptr || next->previous != link->rdba)
            return SIZE_MAX;
        link = next;
    }
}

// Leaves without rows that no chain leads to are no longer in the index.
bool LobIndex::is_chain_whole() const {
    return std::any_of(links_.begin(), links_.end(), [&](const Link &link) {
        return link.previous == 0 && count_chain(link) == leaves_.size();
    });
}

bool LobIndex::find(const LobId &id, BlockReader &blocks, std::vector<LobIndexEntry> &entries,
                    uint64_t &leaves) const {
    const auto behind =
        std::upper_bound(leaves_.begin(), leaves_.end(), id,
                         [](const LobId &wanted, const Leaf &leaf) { return wanted < leaf.low; });
    bool whole = true;
    leaves = 0;
    for (size_t i = static_cast<size_t>(behind - leaves_.begin()); i-- > 0 && highest_[i] >= id;) {
        if (leaves_[i].high < id)
            continue;
        ++leaves;
        const FetchedBlock block = blocks.fetch(tablespace_, leaves_[i].rdba);
        LOB_INDEX_LEAF leaf;
        if (block.blk.data == nullptr || !locate_lob_leaf(block.blk, &leaf)) {
            whole = false;
            continue;
        }
        LOB_INDEX_ROW row;
        for (uint32_t k = 0; k < leaf.rows; ++k)
            if (lob_index_row(leaf, k, &row) && !row.deleted && id_at(row.id) == id)
                entries.push_back(decode_entry(row));
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const LobIndexEntry &a, const LobIndexEntry &b) { return a.page < b.page; });
    return whole;
}

} // namespace vexlo
