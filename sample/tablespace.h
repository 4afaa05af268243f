// Tablespaces: extents handed out from their datafiles, and blocks written at their addresses.
#pragma once

#include <memory>

#include "datafile.h"

namespace sample {

// A tablespace being written: its datafiles, and extents handed out from them in turn.
class Tablespace {
public:
    // One file for each info, all with the same block size and tablespace number.
    explicit Tablespace(std::vector<DatafileInfo> files);

    // Takes `blocks` contiguous blocks of the next file and returns the rdba of the first.
    uint32_t allocate_extent(uint32_t blocks);

    // Writes a block at the address that allocate_extent covered.
    void write_block(uint32_t rdba, ByteView bytes);

    // Closes the files; rootdba goes into the header of file number 1.
    void close(uint32_t rootdba);

    size_t block_size() const;
    uint32_t tsn() const;
    // Whether an rdba is all block number.
    bool bigfile() const;
    const std::vector<std::unique_ptr<Datafile>> &files() const { return files_; }

private:
    std::vector<std::unique_ptr<Datafile>> files_;
    size_t turn_ = 0;
};

} // namespace sample
