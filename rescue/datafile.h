// One input file: what it is, and the reading of whole blocks from it. Files are opened read-only, and blocks
// are read at 64-bit offsets with positions given, so that any number of threads may read at once.
#pragma once

#include <sys/types.h>

#include <compare>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>

#include "output/file_handle.h"

namespace vexlo {

enum class FileStatus : uint8_t {
    used,
    duplicate,      // another copy of the same file has a newer checkpoint
    damaged_header, // used, its identity found in its blocks
    missing,        // cannot be opened or read
    not_a_datafile, // something else, or a datafile that cannot be used: see remark()
    other_database, // a datafile of another database than the chosen one
};

// "used", "damaged header", ... as the record has it; a file of another database is "not a datafile" there.
const char *status_text(FileStatus status);

// The system change number of the last checkpoint. Copies of a file are compared by it.
struct Checkpoint {
    uint16_t wrap = 0;
    uint32_t base = 0;

    auto operator<=>(const Checkpoint &) const = default;
    uint64_t scn() const { return static_cast<uint64_t>(wrap) << 32 | base; }
};

enum class FileByteOrder : uint8_t { little, big };

// What the header of a datafile says of it, or what could be found out without one. Names are bytes as
// stored. Of a damaged header relative number and block size agree with the blocks, checkpoint and size are
// not taken, and all else are hints.
struct FileIdentity {
    uint32_t file = 0;                  // absolute number; 0 when not known
    uint32_t relative_file = 0;         // BIGFILE_RFN in a bigfile tablespace
    std::optional<uint32_t> tablespace; // number; none when the header is lost and FILE$ has not told it
    std::string tablespace_name;
    uint32_t block_size = 0;
    uint64_t header_blocks = 0; // size as the header states it, block 0 not counted
    uint32_t dbid = 0;
    std::string database;
    uint32_t compatibility = 0; // 0x0B200400 is 11.2.0.4
    Checkpoint checkpoint;
    uint32_t root_rdba = 0; // segment header of bootstrap$; 0 in all files but the first of SYSTEM
    bool bigfile = false;
    FileByteOrder byte_order = FileByteOrder::little;
};

// What one read delivered: whole blocks, and the error that kept the next one from coming, 0 at the end of
// file.
struct BlockRead {
    uint32_t blocks;
    int error;
};

class Datafile {
public:
    // Opens `path` and finds out what it is; never writes to it. Throws InputError when it cannot be opened
    // or its first bytes cannot be read. What its content says, however strange, is no exception: see
    // status().
    static std::unique_ptr<Datafile> open(const std::string &path);
    // The same for a file that is open already.
    static std::unique_ptr<Datafile> adopt(FileHandle file, std::string path);
    // A file that could not be opened.
    static std::unique_ptr<Datafile> absent(std::string path, std::string why);

    const std::string &path() const { return path_; }
    const FileIdentity &identity() const { return identity_; }
    FileStatus status() const { return status_; }
    bool is_used() const { return status_ == FileStatus::used || status_ == FileStatus::damaged_header; }
    // What is to be said of the file beside its status, such as "temporary file"; empty when nothing is.
    const std::string &remark() const { return remark_; }
    // The same file under two paths has the same two numbers.
    dev_t device() const { return device_; }
    ino_t inode() const { return inode_; }

    uint64_t size() const { return size_; } // bytes
    // When the content was changed last, as the file system has it; none of a file that could not be opened.
    const std::optional<timespec> &modified() const { return modified_; }
    uint32_t block_size() const { return identity_.block_size; }
    // The blocks that the file holds whole, block 0 among them: block numbers lie below this.
    uint64_t blocks() const { return blocks_; }
    // The address of block `block`, as the block itself should state it.
    uint32_t rdba(uint64_t block) const;
    // The number of the block at `rdba`, whose file number is not looked at.
    uint64_t block_number(uint32_t rdba) const;
    // Where block `block` begins, in bytes. Block 0 can be of another size than the others.
    uint64_t offset(uint64_t block) const;

    // Reads `count` blocks from block `first` (at least 1) on into `to`, which holds as many. Fewer come at
    // the end of the file, and where a block cannot be read: ask again for each of the following ones.
    // Thread-safe.
    BlockRead read(uint64_t first, uint32_t count, uint8_t *to) const;
    // Block numbers from `block` on that the file system stores nothing for begin at `block` itself: returns
    // the first block at or behind it that may hold data, blocks() when there is none.
    uint64_t skip_hole(uint64_t block) const;

    // Whether the file is one of the inputs for more than that it lay among them, as outputs of an earlier
    // run may: the user named it, or it is a datafile.
    bool is_input() const { return named_ || identity_.block_size != 0; }
    bool is_named() const { return named_; }

    // Called by the set of files alone.
    void set_named() { named_ = true; }
    void set_status(FileStatus status, std::string remark);
    void add_remark(const std::string &remark) { remark_ += (remark_.empty() ? "" : ", ") + remark; }
    // The place in the database that FILE$ states for a file whose header is lost.
    void set_place(uint32_t file, uint32_t tablespace);
    // Whether the tablespace is known for sure, and no mere hint of a damaged header.
    bool is_placed() const { return status_ == FileStatus::used || placed_; }

private:
    Datafile(FileHandle file, std::string path);
    void identify();

    FileHandle file_;
    std::string path_;
    FileIdentity identity_;
    FileStatus status_ = FileStatus::not_a_datafile;
    std::string remark_;
    uint64_t size_ = 0;
    std::optional<timespec> modified_;
    uint64_t blocks_ = 0;
    uint64_t block0_size_ = 0;
    dev_t device_ = 0;
    ino_t inode_ = 0;
    bool placed_ = false;
    bool named_ = false;
};

} // namespace vexlo
