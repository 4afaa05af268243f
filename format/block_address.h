// Addresses of blocks. An rdba holds the relative file number in its upper 10 bits and the block number in
// the lower 22; in a bigfile tablespace all 32 bits are the block number.
#pragma once

#include <cstdint>

constexpr uint32_t RDBA_BLOCK_MASK = 0x3FFFFF;
constexpr uint32_t BIGFILE_RFN = 1024; // relative file number of every bigfile

// Relative file number of a smallfile address.
inline uint32_t rdba_file(uint32_t rdba) {
    return rdba >> 22;
}

// Address of block `blk` of relative file `rfn`. A bigfile's number leaves no trace in it.
inline uint32_t make_rdba(uint32_t rfn, uint32_t blk) {
    return (rfn << 22) | blk;
}
