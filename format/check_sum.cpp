#include "format/check_sum.h"

#include "format/byte_order.h"

namespace {

// Two words of 64 bits that the processor takes at once.
using PAIR = uint64_t __attribute__((vector_size(16)));
constexpr int PAIRS = 4; // as many as can be under way together

inline PAIR load_pair(const uint8_t *p) {
    PAIR pair;
    memcpy(&pair, p, sizeof pair);
    return pair;
}

} // namespace

// XOR does not care which lane a word sits in: the fold runs over many at a time, as it is most of what
// testing a block costs.
uint16_t fold_words(const uint8_t *blk, int bsz) {
    constexpr int STEP = PAIRS * static_cast<int>(sizeof(PAIR));
    PAIR a{}, b{}, c{}, d{};
    int at = 0;
    for (; at + STEP <= bsz; at += STEP) {
        a ^= load_pair(blk + at);
        b ^= load_pair(blk + at + 16);
        c ^= load_pair(blk + at + 32);
        d ^= load_pair(blk + at + 48);
    }
    a ^= b ^ c ^ d;
    const uint64_t lanes = a[0] ^ a[1];
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
