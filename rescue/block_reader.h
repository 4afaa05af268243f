// Single blocks by address, for what leads from one block to another: row chains, LOB chunks, LOB indexes.
// One reader a thread; a small cache keeps what was read last.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "format/block.h"
#include "rescue/block_health.h"
#include "rescue/file_set.h"
#include "rescue/loss.h"

namespace vexlo {

// A block in memory. `blk.data` is null when there is no such block; `loss` says why when it is bad.
struct FetchedBlock {
    BLOCK blk;
    Health health;
    LossKind loss; // of a bad block
    const Datafile *file;

    bool is_sound() const { return health == Health::sound; }
};

class BlockReader {
public:
    static constexpr size_t CACHED_BLOCKS = 32;

    // `files` must outlive the reader.
    BlockReader(const FileSet &files, bool trust_blocks);

    // The block at `rdba` of a tablespace. The bytes hold until CACHED_BLOCKS - 1 other blocks were fetched.
    // Throws Stopped when the run is to end, as read() does: chains and LOBs can be long.
    FetchedBlock fetch(uint32_t tablespace, uint32_t rdba);
    // Reads up to `count` blocks from `rdba` on into `to`, which has room for as many of the tablespace's
    // block size, without the cache. Returns how many were delivered whole; their health is not tested.
    uint32_t read(uint32_t tablespace, uint32_t rdba, uint32_t count, uint8_t *to) const;

    const FileSet &files() const { return files_; }
    bool trusts_blocks() const { return trust_blocks_; }

private:
    struct Entry {
        const Datafile *file = nullptr;
        uint64_t block = 0;
        uint64_t used = 0; // when it was asked for last
        Health health = Health::unreadable;
        std::vector<uint8_t> bytes;
    };

    const Entry &load(const BlockPlace &place);

    const FileSet &files_;
    bool trust_blocks_;
    uint64_t clock_ = 0;
    std::vector<Entry> entries_;
};

} // namespace vexlo
