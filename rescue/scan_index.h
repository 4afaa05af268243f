// Which blocks of a tablespace belong to which data object, found by going through its files once. It stands
// in for extent maps that are lost.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "rescue/file_set.h"

namespace vexlo {

// Consecutive blocks of one file and one data object.
struct ScanRange {
    const Datafile *file;
    uint32_t object; // data object number
    uint32_t blocks;
    uint64_t first; // block number
};

// The index of one tablespace.
class ScanIndex {
public:
    // Reads all blocks of the tablespace's files. Memory grows with the number of ranges alone. With
    // `trust_blocks` neither check values nor tails are tested. Throws Stopped when the run is to end.
    ScanIndex(const FileSet &files, uint32_t tablespace, bool trust_blocks);

    // The ranges of blocks with a transaction header (type 6) of a data object, by file and block.
    std::span<const ScanRange> object(uint32_t object) const;
    // The same for blocks of BasicFile LOBs, whose object number stands at another place.
    std::span<const ScanRange> lob_object(uint32_t object) const;
    // Ranges of blocks that say nothing of their owner, or nothing that can be believed, because they are
    // damaged, not what belongs at their place, encrypted, or cannot be read, and that lie beside blocks of
    // the data object, its segment header and extent maps among them.
    std::span<const ScanRange> beside(uint32_t object) const;
    // All ranges of such blocks, by file and block; `object` is 0.
    std::span<const ScanRange> ownerless() const { return ownerless_; }

private:
    class Builder;

    std::vector<ScanRange> rows_; // by object, file, block
    std::vector<ScanRange> lobs_;
    std::vector<ScanRange> beside_;
    std::vector<ScanRange> ownerless_;
};

// The indexes of all tablespaces, each made when it is first asked for. Thread-safe.
class ScanIndexes {
public:
    explicit ScanIndexes(const FileSet &files, bool trust_blocks = false)
        : files_(files), trust_blocks_(trust_blocks) {}

    const ScanIndex &of(uint32_t tablespace) const;

private:
    struct Slot {
        std::once_flag made;
        std::unique_ptr<ScanIndex> index;
    };

    const FileSet &files_;
    const bool trust_blocks_;
    mutable std::mutex lock_;
    mutable std::map<uint32_t, std::unique_ptr<Slot>> slots_;
};

} // namespace vexlo
