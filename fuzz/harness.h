// What the fuzz targets share: taking an input apart, files in memory, and a context that is the same before
// every run.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "format/block.h"
#include "vexlo.h"

namespace fuzz {

using Bytes = std::span<const uint8_t>;

// The bytes of one input, taken from the front. Behind its end numbers are 0.
class Input {
public:
    Input(const uint8_t *data, size_t size) : left_(data, size) {}

    uint8_t u8();
    uint16_t u16();
    uint32_t u32();

    // The next `n` bytes, fewer when the input ends.
    Bytes bytes(size_t n);

    // All bytes that are left.
    Bytes rest() { return bytes(left_.size()); }

    bool empty() const { return left_.empty(); }

private:
    Bytes left_;
};

// A heap block of exactly the bytes of one database block, zero behind the end of `bytes`, so that a step
// beyond it is noticed.
class HeapBlock {
public:
    HeapBlock(Bytes bytes, uint32_t bsz);

    uint8_t *data() { return data_.get(); }
    BLOCK view(uint32_t rdba) const { return {data_.get(), bsz_, rdba}; }

private:
    std::unique_ptr<uint8_t[]> data_;
    uint32_t bsz_;
};

// A file without a name, that lives as long as the process.
class MemoryFile {
public:
    MemoryFile();

    int fd() const { return fd_; }

    // A path under which the file can be opened.
    std::string path() const;

    // Makes `before` zero bytes and `bytes` the whole content.
    void assign(Bytes bytes, size_t before = 0) const;

private:
    int fd_;
};

// Directories of this process, below $TMPDIR or in memory, which are removed at its end.
const std::string &dict_directory();
const std::string &data_directory();

// Takes the place of a dump file; empty at the start of a run.
const MemoryFile &dump_file();

// Writes the file `name` of the dictionary directory.
void write_dict_file(const char *name, Bytes bytes);

// One run: while it lives, the context is as main leaves it before the first command, with the directories
// above and no datafile. Afterwards everything is freed and the data directory is empty again; a descriptor
// that stayed open is a finding.
class Run {
public:
    Run();
    ~Run();
    Run(const Run &) = delete;
    Run &operator=(const Run &) = delete;
};

// Adds an open datafile to the context. Its block 0 has the size of the others. `file` stays open.
void add_datafile(const MemoryFile &file, uint32_t tsn, uint32_t rfn, uint32_t bsz, uint32_t flag = 0);

// Calls the handler of the command in `line` as the prompt loop does.
void run_command(const std::string &line);

// Ends the process with a finding when `holds` is false.
void require(bool holds, const char *what);

} // namespace fuzz
