// Check values of blocks.
#pragma once

#include <cstdint>

constexpr int CHKVAL_KCBH = 16;             // offset of the check value in every block
constexpr int CHKVAL_END = CHKVAL_KCBH + 2; // a shorter block holds none

// The XOR of all 16-bit words of a block; the last byte of an odd number of bytes does not count.
uint16_t fold_words(const uint8_t *blk, int bsz);

// 0 when the block's check value is right. Leaves the check value field (bytes 16 and 17) zero. A block too
// short to hold one is never right and stays as it is.
int check_sum(uint8_t *blk, int bsz);
