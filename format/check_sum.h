// Check values of blocks.
#pragma once

#include <cstdint>

/// 0 when the block's check value is right. Leaves the check value field (bytes 16 and 17) zero. `bsz` is at
/// least 18.
int check_sum(uint8_t *blk, int bsz);
