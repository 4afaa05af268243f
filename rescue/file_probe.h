// What a file is, from its first bytes and from samples of its blocks.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "rescue/datafile.h"

namespace vexlo {

// What a file begins with: block 0 and the header block of any block size.
constexpr size_t PROBE_START = 2 * 32768;

struct FileFinding {
    FileIdentity identity;
    FileStatus status = FileStatus::not_a_datafile;
    std::string remark;       // what the file is, or what is wrong with it
    uint64_t block0_size = 0; // bytes in front of block 1
};

// Finds out what an open file of `size` bytes is. `start` is what it begins with: PROBE_START bytes, or all
// of a shorter file. A header that is not sound is compared with the addresses that blocks all over the file
// state; they decide.
FileFinding probe_file(int fd, std::span<const uint8_t> start, uint64_t size);

} // namespace vexlo
