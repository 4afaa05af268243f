// What stands in a row piece before its values.
#include <gtest/gtest.h>

#include "format/row_piece.h"

namespace {

// Big-endian, unlike all else in a block.
TEST(RowAddress, BlockAndSlotAreBigEndian) {
    const uint8_t bytes[]{0x01, 0x40, 0x00, 0x10, 0x01, 0x02, 0xFF};
    const uint8_t *p = bytes;
    uint32_t rdba = 0;
    uint16_t slot = 0;
    ASSERT_TRUE(next_address(p, bytes + ROWID_SIZE, &rdba, &slot));
    EXPECT_EQ(rdba, 0x01400010U);
    EXPECT_EQ(slot, 0x0102);
    EXPECT_EQ(p, bytes + ROWID_SIZE);
}

TEST(RowAddress, ThatLeavesTheBlockIsNotRead) {
    const uint8_t bytes[ROWID_SIZE]{};
    const uint8_t *p = bytes;
    uint32_t rdba = 7;
    uint16_t slot = 7;
    EXPECT_FALSE(next_address(p, bytes + ROWID_SIZE - 1, &rdba, &slot));
    EXPECT_EQ(p, bytes);
    EXPECT_EQ(rdba, 7U);
}

TEST(KeyRow, IsWholeWithHFAndLWhateverElse) {
    for (int flags = 0; flags < 256; flags++) {
        const uint8_t row[PIECE_HEADER]{static_cast<uint8_t>(flags)};
        EXPECT_EQ(is_whole_key_row(row), (flags & 0x2C) == 0x2C) << flags;
    }
}

} // namespace
