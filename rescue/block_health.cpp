#include "rescue/block_health.h"

#include <cstring>

#include "format/cache_header.h"
#include "format/check_sum.h"

namespace vexlo {

namespace {

// Whether the block holds nothing but zeros: it is equal to itself one byte on, and begins with one.
bool is_zero(const uint8_t *blk, uint32_t bsz) {
    return blk[0] == 0 && std::memcmp(blk, blk + 1, bsz - 1) == 0;
}

} // namespace

std::string_view health_text(Health health) {
    constexpr std::string_view TEXTS[] = {"sound", "unformatted", "check value",
                                          "tail",  "address",     "unreadable"};
    return TEXTS[static_cast<size_t>(health)];
}

Health block_health(const uint8_t *blk, uint32_t bsz, uint32_t rdba, bool trust_blocks) {
    const bool typeless = block_type(blk) == 0;
    if (typeless && block_rdba(blk) == 0)
        return is_zero(blk, bsz) ? Health::unformatted : Health::address;
    if (!trust_blocks) {
        if ((block_flags(blk) & CACHE_FLAG_CHECKED) != 0 && fold_words(blk, static_cast<int>(bsz)) != 0)
            return Health::check_value;
        if (stored_tail(blk, bsz) != expected_tail(blk))
            return Health::tail;
    }
    if (block_rdba(blk) != rdba)
        return Health::address;
    return typeless ? Health::unformatted : Health::sound;
}

} // namespace vexlo
