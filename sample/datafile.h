// Datafiles: block 0, the header block, and blocks written at their addresses as they come.
#pragma once

#include "block.h"

#include <filesystem>
#include <string>

namespace sample {

// Identity of a datafile, as its header block states it.
struct DatafileInfo {
    std::filesystem::path path;
    uint32_t fno = 1; // absolute file number
    uint32_t rfn = 1; // relative file number; 1024 for a bigfile
    uint32_t tsn = 0;
    std::string tablespace;
    size_t block_size = 8192;
    uint32_t blocks = 0;  // size without block 0
    uint32_t rootdba = 0; // bootstrap$ segment header; only in file 1
    bool marked = true;   // platform marker in block 0
};

// Block 0: the operating system's view of the file.
Bytes encode_block0(const DatafileInfo &info);

// Block 1: the file header.
Bytes encode_file_header(const DatafileInfo &info);

constexpr uint32_t FIRST_DATA_BLOCK = 9; // blocks 2 to 8 are the file's own space management

// A datafile being written. Blocks that were never written read as zeros, like never formatted ones.
class Datafile {
public:
    // Creates or truncates info.path. Throws std::system_error on failure, as all members do.
    explicit Datafile(DatafileInfo info);
    ~Datafile();
    Datafile(const Datafile &) = delete;
    Datafile &operator=(const Datafile &) = delete;

    const DatafileInfo &info() const { return info_; }
    uint32_t rdba(uint32_t block) const;

    // Takes the next `blocks` blocks of the file and returns the number of the first.
    uint32_t allocate(uint32_t blocks);

    void write_block(uint32_t block, ByteView bytes);

    // Writes block 0, the header and the space management blocks, gives the file its final size and closes
    // it.
    void close(uint32_t rootdba);

private:
    void write_at(uint64_t offset, ByteView bytes);

    DatafileInfo info_;
    uint32_t next_ = FIRST_DATA_BLOCK;
    int fd_ = -1;
};

// Overwrites bytes of one block of a closed file, whose block 0 has the size of the others, then seals the
// block again if `reseal`. For tests that damage a file on purpose. Throws std::runtime_error on failure.
void patch_file(const std::filesystem::path &path, size_t block_size, uint32_t block, size_t offset,
                ByteView bytes, bool reseal = true);

} // namespace sample
