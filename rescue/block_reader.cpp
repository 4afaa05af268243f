#include "rescue/block_reader.h"

#include <algorithm>

#include "rescue/stop.h"

namespace vexlo {

namespace {

constexpr size_t BLOCK_SLACK = 64; // readable bytes behind a block

} // namespace

BlockReader::BlockReader(const FileSet &files, bool trust_blocks)
    : files_(files), trust_blocks_(trust_blocks), entries_(CACHED_BLOCKS) {}

FetchedBlock BlockReader::fetch(uint32_t tablespace, uint32_t rdba) {
    const BlockPlace place = files_.find(tablespace, rdba);
    if (place.file == nullptr)
        return {{nullptr, 0, rdba}, Health::unreadable, LossKind::missing_file, nullptr};
    const Entry &entry = load(place);
    const BLOCK blk{entry.bytes.data(), place.file->block_size(), rdba};
    if (entry.health == Health::unreadable)
        return {{nullptr, 0, rdba}, entry.health, LossKind::unreadable, place.file};
    return {blk, entry.health, loss_of(entry.health), place.file};
}

// The entry of the block, read into the place of the one that was not used for longest when it is not there.
const BlockReader::Entry &BlockReader::load(const BlockPlace &place) {
    check_stop();
    ++clock_;
    for (Entry &entry : entries_)
        if (entry.file == place.file && entry.block == place.block) {
            entry.used = clock_;
            return entry;
        }
    Entry &entry = *std::min_element(entries_.begin(), entries_.end(),
                                     [](const Entry &a, const Entry &b) { return a.used < b.used; });
    const uint32_t bsz = place.file->block_size();
    entry.bytes.resize(std::max<size_t>(entry.bytes.size(), bsz + BLOCK_SLACK));
    entry.file = place.file;
    entry.block = place.block;
    entry.used = clock_;
    entry.health = place.file->read(place.block, 1, entry.bytes.data()).blocks == 1
                       ? block_health(entry.bytes.data(), bsz, place.file->rdba(place.block), trust_blocks_)
                       : Health::unreadable;
    return entry;
}

uint32_t BlockReader::read(uint32_t tablespace, uint32_t rdba, uint32_t count, uint8_t *to) const {
    check_stop();
    const BlockPlace place = files_.find(tablespace, rdba);
    return place.file == nullptr ? 0 : place.file->read(place.block, count, to).blocks;
}

} // namespace vexlo
