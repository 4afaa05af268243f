#include "format/check_sum.h"

#include "format/byte_order.h"

// The fold runs eight bytes at a time: XOR does not care which lane a word sits in.
uint16_t fold_words(const uint8_t *blk, int bsz) {
    uint64_t lanes = 0;
    int at = 0;
    for (; at + 8 <= bsz; at += 8) {
        uint64_t words;
        memcpy(&words, blk + at, sizeof words);
        lanes ^= words;
    }
    uint16_t fold = static_cast<uint16_t>(lanes ^ lanes >> 16 ^ lanes >> 32 ^ lanes >> 48);
    for (; at + 2 <= bsz; at += 2)
        fold = static_cast<uint16_t>(fold ^ load_le16(blk + at));
    return fold;
}

// All 16-bit words of a block, the check value included, XOR to zero.
int check_sum(uint8_t *blk, int bsz) {
    if (bsz < CHKVAL_END)
        return -1;
    const uint16_t saved = load_le16(blk + CHKVAL_KCBH);
    store_be16(blk + CHKVAL_KCBH, 0);
    return saved - fold_words(blk, bsz);
}
