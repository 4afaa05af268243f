// The cache header, the first 20 bytes of every block, and the tail, its last 4:
//
//   0   1  type                 8   4  SCN base        15  1  flags
//   1   1  format              12   2  SCN wrap        16  2  check value
//   4   4  address (rdba)      14   1  sequence        18  2  spare
//
// A block is written whole when its tail repeats what its header says: the low half of the SCN base, the type
// and the sequence. Nothing here checks bounds: a block is at least SMALLEST_BLOCK_SIZE bytes.
#pragma once

#include "format/byte_order.h"

constexpr uint32_t SMALLEST_BLOCK_SIZE = 512;
constexpr uint32_t LARGEST_BLOCK_SIZE = 32768;
constexpr uint32_t CACHE_HEADER_SIZE = 20;
constexpr uint32_t TAIL_SIZE = 4;

// KCBH.flg_kcbh
constexpr uint8_t CACHE_FLAG_CHECKED = 0x04;   // the check value was computed
constexpr uint8_t CACHE_FLAG_TEMPORARY = 0x08; // of a temporary segment
constexpr uint8_t CACHE_FLAG_ENCRYPTED = 0x10; // what follows the cache header is ciphertext

inline uint8_t block_type(const uint8_t *blk) {
    return blk[0];
}

inline uint32_t block_rdba(const uint8_t *blk) {
    return load_le32(blk + 4);
}

inline uint8_t block_flags(const uint8_t *blk) {
    return blk[15];
}

// The tail that belongs to the header of the block.
inline uint32_t expected_tail(const uint8_t *blk) {
    return static_cast<uint32_t>(load_le16(blk + 8)) << 16 | static_cast<uint32_t>(blk[0]) << 8 | blk[14];
}

// The tail that the block of `bsz` bytes has.
inline uint32_t stored_tail(const uint8_t *blk, uint32_t bsz) {
    return load_le32(blk + bsz - TAIL_SIZE);
}

// The data object number of a block with a transaction header, as table blocks have.
inline uint32_t block_object(const uint8_t *blk) {
    return load_le32(blk + 24);
}

// What the transaction header of a block says of its kind: 1 rows, 2 an index, 5 LOB data.
inline uint8_t transaction_type(const uint8_t *blk) {
    return blk[20];
}
