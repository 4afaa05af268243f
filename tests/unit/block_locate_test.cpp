// Where the row structures of a data block are found.
#include "block_fixture.h"

#include <gtest/gtest.h>

using namespace vexlo_test;

namespace {

constexpr uint32_t ITL_COUNT = 36;
constexpr uint32_t TRANSACTION_FLAGS = 38;

TEST(BlockLocate, DataHeaderFollowsTheItlEntries) {
    bare_block block;
    for (const uint8_t entries : std::vector<uint8_t>{0, 1, 2, 5}) {
        ROW_AREA area{};
        ASSERT_TRUE(locate_rows(block.byte(ITL_COUNT, entries).view(), &area));
        EXPECT_EQ(area.kdbh, 44U + 24U * entries);
    }
}

TEST(BlockLocate, OnlyTheLowByteOfTheItlCountCounts) {
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(bare_block().le16(ITL_COUNT, 0x0102).view(), &area));
    EXPECT_EQ(area.kdbh, 44U + 24U * 2);
}

TEST(BlockLocate, ItlCountIsUnsigned) {
    // 255 entries take 6120 bytes: beyond this block, never before its start.
    ROW_AREA area{};
    EXPECT_FALSE(locate_rows(bare_block().byte(ITL_COUNT, 0xFF).view(), &area));
}

TEST(BlockLocate, ExtraAreaMovesTheDataHeaderByItsLowHalfAlone) {
    for (uint32_t exflg : {0x00000010U, 0xABCD0010U}) {
        bare_block block;
        block.byte(ITL_COUNT, 2).byte(TRANSACTION_FLAGS, 0x20).le32(44 + 48 + 4, exflg);
        ROW_AREA area{};
        ASSERT_TRUE(locate_rows(block.view(), &area));
        EXPECT_EQ(area.kdbh, 44U + 48 + 8 + 16);
    }
}

TEST(BlockLocate, ExtraAreaOfNoBytesTakesEight) {
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(bare_block().byte(ITL_COUNT, 1).byte(TRANSACTION_FLAGS, 0x20).view(), &area));
    EXPECT_EQ(area.kdbh, 44U + 24 + 8);
}

TEST(BlockLocate, OtherTransactionFlagsMeanNoExtraArea) {
    bare_block block;
    block.byte(TRANSACTION_FLAGS, 0xDF).le32(44 + 4, 16);
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(block.view(), &area));
    EXPECT_EQ(area.kdbh, 44U);
}

TEST(BlockLocate, RowDirectoryFollowsTheTableDirectory) {
    for (const uint8_t ntab : std::vector<uint8_t>{0, 1, 6}) {
        ROW_AREA area{};
        ASSERT_TRUE(locate_rows(bare_block().tables(ntab).view(), &area));
        EXPECT_EQ(area.ntab, ntab);
        EXPECT_EQ(area.dir, 44U + 14 + 4U * ntab);
    }
}

TEST(BlockLocate, NegativeTableCountLeavesNoTable) {
    ROW_AREA area{};
    TABLE_ROWS rows;
    ASSERT_TRUE(locate_rows(bare_block().tables(0x80).view(), &area));
    EXPECT_EQ(area.ntab, -128);
    EXPECT_FALSE(find_table(area, 0, &rows));
}

TEST(BlockLocate, FirstFreeEntryIsSigned) {
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(bare_block().tables(1).first_free(-1).view(), &area));
    EXPECT_EQ(area.frre, -1);
    ASSERT_TRUE(locate_rows(bare_block().tables(1).first_free(7).view(), &area));
    EXPECT_EQ(area.frre, 7);
}

TEST(BlockLocate, HeadersBeyondTheBlockAreRefused) {
    struct {
        const char *what;
        bare_block block;
    } cases[] = {
        {"ITL entries", bare_block().byte(ITL_COUNT, 20)},
        {"data header", bare_block().byte(ITL_COUNT, 19)},
        {"extra area", bare_block().byte(ITL_COUNT, 19).byte(TRANSACTION_FLAGS, 0x20)},
        {"tail of the extra area", bare_block().byte(TRANSACTION_FLAGS, 0x20).le32(48, 0xFFFF)},
        {"table directory", bare_block().tables(127)},
    };
    for (const auto &c : cases) {
        ROW_AREA area{};
        EXPECT_FALSE(locate_rows(c.block.view(), &area)) << c.what;
    }
}

TEST(BlockLocate, BlockShorterThanItsFixedHeadersIsRefused) {
    const std::vector<uint8_t> tiny(43);
    ROW_AREA area{};
    EXPECT_FALSE(locate_rows(BLOCK{tiny.data(), 43, 0}, &area));
}

TEST(BlockTable, TableNumberAtOrAboveTheCountHasNoRows) {
    const bare_block block = bare_block().tables(2).table(0, 0, 3).table(1, 3, 4);
    ROW_AREA area{};
    TABLE_ROWS rows;
    ASSERT_TRUE(locate_rows(block.view(), &area));
    ASSERT_TRUE(find_table(area, 1, &rows));
    EXPECT_EQ(rows.first, 3);
    EXPECT_EQ(rows.count, 4);
    EXPECT_FALSE(find_table(area, 2, &rows));
    EXPECT_FALSE(find_table(area, 0xFFFFFFFF, &rows));
}

TEST(BlockTable, FirstEntryAndCountAreSigned) {
    const bare_block block = bare_block().tables(1).table(0, -2, -3);
    ROW_AREA area{};
    TABLE_ROWS rows;
    ASSERT_TRUE(locate_rows(block.view(), &area));
    ASSERT_TRUE(find_table(area, 0, &rows));
    EXPECT_EQ(rows.first, -2);
    EXPECT_EQ(rows.count, -3);
}

TEST(BlockSlot, EntriesAreSignedAndEndWithTheBlock) {
    const bare_block block = bare_block().tables(1).slot(1, 0, -1).slot(1, 224, 0x1234);
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(block.view(), &area));
    EXPECT_EQ(slot_value(area, 0), -1);
    // The directory begins at 62: entry 224 is the last one inside 512 bytes.
    EXPECT_TRUE(has_slot(area, 224));
    EXPECT_EQ(slot_value(area, 224), 0x1234);
    EXPECT_FALSE(has_slot(area, 225));
    EXPECT_FALSE(has_slot(area, -1));
    EXPECT_FALSE(has_slot(area, 65534));
}

TEST(BlockSlot, PieceIsMeasuredFromTheDataHeader) {
    const bare_block block = bare_block().tables(1).table(0, 0, 1).slot(1, 0, 300);
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(block.view(), &area));
    EXPECT_EQ(find_piece(area, 0), block.at(44 + 300));
}

TEST(BlockSlot, PieceOutsideTheRowsIsNotHandedOut) {
    // 64 is the end of a directory of one entry; 510 leaves no room for flag, lock and column count.
    struct {
        int offset;
        bool inside;
    } cases[] = {{64 - 44, true}, {64 - 45, false}, {0, false},       {-1, false},
                 {-32768, false}, {465, true},      {466, false},     {468, false},
                 {32767, false},  {509 - 44, true}, {510 - 44, false}};
    for (const auto &c : cases) {
        const bare_block block = bare_block().tables(1).table(0, 0, 1).slot(1, 0, c.offset);
        ROW_AREA area{};
        ASSERT_TRUE(locate_rows(block.view(), &area));
        EXPECT_EQ(find_piece(area, 0) != nullptr, c.inside) << c.offset;
    }
}

// Whether the table itself has that many entries is not asked: only the directory has to have them.
TEST(BlockSlot, RowAddressCountsFromTheTablesFirstEntry) {
    const bare_block block = bare_block().tables(2).table(0, 0, 2).table(1, 2, 3);
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(block.view(), &area));
    EXPECT_EQ(table_slot(area, 0, 1), 1);
    EXPECT_EQ(table_slot(area, 0, 4), 4);
    EXPECT_EQ(table_slot(area, 0, 5), -1);
    EXPECT_EQ(table_slot(area, 1, 0), 2);
    EXPECT_EQ(table_slot(area, 1, 2), 4);
    EXPECT_EQ(table_slot(area, 1, 3), -1);
    EXPECT_EQ(table_slot(area, 2, 0), -1);
}

TEST(BlockSlot, RowAddressInATableThatBeginsBeforeTheDirectoryNamesNothing) {
    const bare_block block = bare_block().tables(2).table(0, -1, 3).table(1, 2, 3);
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(block.view(), &area));
    EXPECT_EQ(table_slot(area, 0, 2), -1);
}

TEST(BlockSlot, DirectoryEndsWithTheLastEntryThatATableNames) {
    struct {
        int first[2], count[2], entries;
    } cases[] = {{{0, 2}, {2, 3}, 5},       {{2, 0}, {3, 2}, 5},          {{0, 0}, {0, 0}, 0},
                 {{0, 0}, {-5, -1}, 0},     {{-3, 1}, {2, 1}, 2},         {{0, 4}, {3, 0}, 4},
                 {{0, 3}, {3, 30000}, 223}, {{30000, 0}, {30000, 1}, 223}};
    for (const auto &c : cases) {
        const bare_block block =
            bare_block().tables(2).table(0, c.first[0], c.count[0]).table(1, c.first[1], c.count[1]);
        ROW_AREA area{};
        ASSERT_TRUE(locate_rows(block.view(), &area));
        EXPECT_EQ(directory_entries(area), c.entries);
    }
}

// In a block with free entries a number below that of the entries is a link.
TEST(BlockSlot, EntryThatHoldsALinkOrPointsBeforeItselfLooksFree) {
    for (const int first_free : {-1, 0, 9}) {
        for (const int value : {-1, 0, 22, 23, 24, 39, 40, 300}) {
            const bare_block block =
                bare_block().tables(1).table(0, 0, 40).first_free(first_free).slot(1, 2, value);
            ROW_AREA area{};
            ASSERT_TRUE(locate_rows(block.view(), &area));
            EXPECT_EQ(looks_free(area, 2), value < (first_free >= 0 ? 40 : 14 + 4 + 3 * 2))
                << first_free << " " << value;
        }
    }
}

// Kept out of line: with a block whose bytes it knows the optimizer warns of the branch without a table 0.
[[gnu::noinline]] const uint8_t *key_row(const ROW_AREA &area, uint8_t index) {
    return find_key_row(area, index);
}

TEST(BlockKeyRow, IndexIsRelativeToTheFirstEntryOfTableZero) {
    const bare_block block =
        bare_block().tables(2).table(0, 1, 2).table(1, 3, 1).slot(2, 0, 100).slot(2, 1, 200).slot(2, 2, 300);
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(block.view(), &area));
    EXPECT_EQ(key_row(area, 0), block.at(44 + 200));
    EXPECT_EQ(key_row(area, 1), block.at(44 + 300));
    EXPECT_EQ(key_row(area, 255), nullptr);
}

} // namespace
