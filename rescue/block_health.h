// Whether a block is what belongs at its place.
#pragma once

#include <cstdint>
#include <string_view>

namespace vexlo {

enum class Health : uint8_t {
    sound,
    unformatted, // never written by the database: all zero, or of no type
    check_value, // the block carries one and it is wrong
    tail,        // written in part: header and tail do not belong together
    address,     // a block of another place
    unreadable,  // the file did not deliver it
};

// Whether rows of such a block can be trusted.
constexpr bool is_bad(Health health) {
    return health > Health::unformatted;
}

// "sound", "check value", "tail", "address", ...
std::string_view health_text(Health health);

// The verdict on the block of `bsz` bytes that was read at address `rdba`. With `trust_blocks` neither its
// check value nor its tail is looked at.
Health block_health(const uint8_t *blk, uint32_t bsz, uint32_t rdba, bool trust_blocks = false);

} // namespace vexlo
