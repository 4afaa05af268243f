// Datafiles: block 0, the header block, and blocks written at their addresses as they come.
#pragma once

#include <filesystem>
#include <string>

#include "block.h"

namespace sample {

constexpr uint32_t FIRST_DATA_BLOCK = 9; // blocks 2 to 8 are the file's own space management
constexpr uint32_t SAMPLE_DATABASE_ID = 0x56E71A0C;

// Places in the file header block
constexpr size_t HEADER_COMPATIBILITY = 24;
constexpr size_t HEADER_DATABASE_ID = 28;
constexpr size_t HEADER_FILE_NUMBER = 52;
constexpr size_t HEADER_FILE_TYPE = 54;
constexpr size_t HEADER_CHECKPOINT_SCN = 484; // base in 4 bytes, wrap in 2

// Identity of a datafile, as its header block states it.
struct DatafileInfo {
    std::filesystem::path path;
    uint32_t fno = 1; // absolute file number
    uint32_t rfn = 1; // relative file number; 1024 for a bigfile
    uint32_t tsn = 0;
    std::string tablespace;
    size_t block_size = 8192;
    uint32_t blocks = 0;                     // size without block 0
    uint32_t rootdba = 0;                    // bootstrap$ segment header; only in file 1
    bool marked = true;                      // platform marker in block 0
    uint32_t first_block = FIRST_DATA_BLOCK; // that allocate hands out; the file is sparse before it
    uint32_t compatibility = 0;
    uint64_t checkpoint_scn = 0;
    uint32_t database_id = SAMPLE_DATABASE_ID;
};

// Block 0: the operating system's view of the file.
Bytes encode_block0(const DatafileInfo &info);

// Block 1: the file header.
Bytes encode_file_header(const DatafileInfo &info);

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

    // Blocks up to the last one taken.
    uint32_t allocated() const { return next_ - 1; }

    void write_block(uint32_t block, ByteView bytes);

    // Writes block 0, the header and the space management blocks, gives the file its final size and closes
    // it.
    void close(uint32_t rootdba);

private:
    void write_at(uint64_t offset, ByteView bytes);

    DatafileInfo info_;
    uint32_t next_;
    int fd_ = -1;
};

// Writes the whole block of a closed file.
void replace_block(const std::filesystem::path &path, size_t block_size, uint32_t block, ByteView bytes);

// The whole block of a closed file.
Bytes fetch_block(const std::filesystem::path &path, size_t block_size, uint32_t block);

// Overwrites bytes of one block of a closed file, whose block 0 has the size of the others, then seals the
// block again if `reseal`. For tests that damage a file on purpose. Throws std::runtime_error on failure.
void patch_file(const std::filesystem::path &path, size_t block_size, uint32_t block, size_t offset,
                ByteView bytes, bool reseal = true);

} // namespace sample
