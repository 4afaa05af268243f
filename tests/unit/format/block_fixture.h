// Blocks made byte by byte, for the walk over them.
#pragma once

#include <vector>

#include "format/block.h"

namespace vexlo_test {

constexpr uint32_t SMALL_BLOCK = 512;
constexpr uint32_t SMALL_BLOCK_RDBA = 0x00400010;

// A data block of SMALL_BLOCK bytes without ITL entries, so that its data header is at 44: only what a test
// sets is in it.
class bare_block {
public:
    bare_block() : data_(SMALL_BLOCK) { data_[0] = BLOCK_TABLE_DATA; }

    bare_block &byte(uint32_t at, uint8_t value) {
        data_[at] = value;
        return *this;
    }

    bare_block &le16(uint32_t at, uint16_t value) {
        return byte(at, static_cast<uint8_t>(value)).byte(at + 1, static_cast<uint8_t>(value >> 8));
    }

    bare_block &le32(uint32_t at, uint32_t value) {
        return le16(at, static_cast<uint16_t>(value)).le16(at + 2, static_cast<uint16_t>(value >> 16));
    }

    // Number of tables, in the data header at 44.
    bare_block &tables(uint8_t ntab) { return byte(DATA_HEADER + 1, ntab); }

    // First free row directory entry.
    bare_block &first_free(int slot) { return le16(DATA_HEADER + 4, static_cast<uint16_t>(slot)); }

    // Table directory entry `t`.
    bare_block &table(uint32_t t, int first, int count) {
        const uint32_t at = DATA_HEADER + 14 + 4 * t;
        return le16(at, static_cast<uint16_t>(first)).le16(at + 2, static_cast<uint16_t>(count));
    }

    // Row directory entry `slot` of a block that says it has `ntab` tables.
    bare_block &slot(uint32_t ntab, uint32_t slot, int value) {
        return le16(DATA_HEADER + 14 + 4 * ntab + 2 * slot, static_cast<uint16_t>(value));
    }

    BLOCK view() const { return {data_.data(), SMALL_BLOCK, SMALL_BLOCK_RDBA}; }
    const uint8_t *at(uint32_t offset) const { return data_.data() + offset; }

    static constexpr uint32_t DATA_HEADER = 44;

private:
    std::vector<uint8_t> data_; // exactly as long as the block, so that a step beyond it is noticed
};

} // namespace vexlo_test
