// Where the row structures of a data block are found, and the walk over a table's row directory entries.
#include <algorithm>
#include <utility>

#include <gtest/gtest.h>

#include "block_fixture.h"

using namespace vexlo_test;

namespace {

TEST(BlockLocate, DataHeaderFollowsTheItlEntries) {
    bare_block block;
    for (const uint8_t entries : std::vector<uint8_t>{0, 1, 2, 5}) {
        ROW_AREA area{};
        ASSERT_TRUE(locate_rows(block.byte(KTBBHICT, entries).view(), &area));
        EXPECT_EQ(area.kdbh, 44U + 24U * entries);
    }
}

TEST(BlockLocate, OnlyTheLowByteOfTheItlCountCounts) {
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(bare_block().le16(KTBBHICT, 0x0102).view(), &area));
    EXPECT_EQ(area.kdbh, 44U + 24U * 2);
}

TEST(BlockLocate, ItlCountIsUnsigned) {
    // 255 entries take 6120 bytes: beyond this block, never before its start.
    ROW_AREA area{};
    EXPECT_FALSE(locate_rows(bare_block().byte(KTBBHICT, 0xFF).view(), &area));
}

TEST(BlockLocate, ExtraAreaMovesTheDataHeaderByItsLowHalfAlone) {
    for (uint32_t exflg : {0x00000010U, 0xABCD0010U}) {
        bare_block block;
        block.byte(KTBBHICT, 2).byte(KTBBHFLG, 0x20).le32(44 + 48 + 4, exflg);
        ROW_AREA area{};
        ASSERT_TRUE(locate_rows(block.view(), &area));
        EXPECT_EQ(area.kdbh, 44U + 48 + 8 + 16);
    }
}

TEST(BlockLocate, ExtraAreaOfNoBytesTakesEight) {
    ROW_AREA area{};
    ASSERT_TRUE(locate_rows(bare_block().byte(KTBBHICT, 1).byte(KTBBHFLG, 0x20).view(), &area));
    EXPECT_EQ(area.kdbh, 44U + 24 + 8);
}

TEST(BlockLocate, OtherTransactionFlagsMeanNoExtraArea) {
    bare_block block;
    block.byte(KTBBHFLG, 0xDF).le32(44 + 4, 16);
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
        {"ITL entries", bare_block().byte(KTBBHICT, 20)},
        {"data header", bare_block().byte(KTBBHICT, 19)},
        {"extra area", bare_block().byte(KTBBHICT, 19).byte(KTBBHFLG, 0x20)},
        {"tail of the extra area", bare_block().byte(KTBBHFLG, 0x20).le32(48, 0xFFFF)},
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

// ---- The walk

using row_list = std::vector<std::pair<int, int>>; // entry number within the table, offset from the header

constexpr int OUTSIDE = -1; // offset of a piece that is not in the block

// The rows of table `tabn` that the walk hands out.
row_list walk(const bare_block &block, uint32_t tabn, bool free_chain = true) {
    ROW_AREA area{};
    TABLE_ROWS rows;
    row_list found;
    if (!locate_rows(block.view(), &area) || !find_table(area, tabn, &rows))
        return found;
    walk_rows(area, rows, free_chain && has_free_slots(area, rows), [&](int row, const uint8_t *piece) {
        const uint8_t *header = block.at(bare_block::DATA_HEADER);
        found.emplace_back(row, piece == nullptr ? OUTSIDE : static_cast<int>(piece - header));
        return 0;
    });
    return found;
}

// Table 0 with entries 0 to 2, table 1 with entries 3 to 6, all pointing at pieces.
bare_block two_tables() {
    bare_block block;
    block.tables(2).table(0, 0, 3).table(1, 3, 4).first_free(-1);
    for (int i = 0; i < 7; i++)
        block.slot(2, static_cast<uint32_t>(i), 100 + 10 * i);
    return block;
}

TEST(BlockWalk, HandsOutTheEntriesOfTheTable) {
    EXPECT_EQ(walk(two_tables(), 0), (row_list{{0, 100}, {1, 110}, {2, 120}}));
    EXPECT_EQ(walk(two_tables(), 1), (row_list{{0, 130}, {1, 140}, {2, 150}, {3, 160}}));
}

TEST(BlockWalk, SkipsTheEntriesOfTheFreeChain) {
    const bare_block block = two_tables().first_free(3).slot(2, 3, 5).slot(2, 5, -1);
    EXPECT_EQ(walk(block, 1), (row_list{{1, 140}, {3, 160}}));
}

TEST(BlockWalk, FreeChainIsAdvancedOverTheTablesBefore) {
    const bare_block block =
        two_tables().first_free(1).slot(2, 1, 2).slot(2, 2, 4).slot(2, 4, 6).slot(2, 6, -1);
    EXPECT_EQ(walk(block, 0), (row_list{{0, 100}}));
    EXPECT_EQ(walk(block, 1), (row_list{{0, 130}, {2, 150}}));
}

TEST(BlockWalk, FreeChainMayBeginAtEntryZero) {
    const bare_block block = two_tables().first_free(0).slot(2, 0, 2).slot(2, 2, -1);
    EXPECT_EQ(walk(block, 0), (row_list{{1, 110}}));
}

TEST(BlockWalk, FreeChainThatBeginsAtEntryZeroIsNotAdvancedToALaterTable) {
    // Only a chain that begins above 0 is followed through the tables before: what entry 4 holds is then
    // taken for the offset of a row.
    const bare_block block = two_tables().first_free(0).slot(2, 0, 4).slot(2, 4, 145);
    EXPECT_EQ(walk(block, 1), (row_list{{0, 130}, {1, 145}, {2, 150}, {3, 160}}));
}

TEST(BlockWalk, FreeEntriesWithoutAPieceAreNoDamageWhereverTheChainBegins) {
    const bare_block block = two_tables().first_free(0).slot(2, 0, 4).slot(2, 4, 6).slot(2, 6, -1);
    EXPECT_EQ(walk(block, 1), (row_list{{0, 130}, {2, 150}}));
}

TEST(BlockWalk, FreeEntriesWithoutAPieceAreNoDamageInAnyOrder) {
    const bare_block block = two_tables().first_free(6).slot(2, 6, 3).slot(2, 3, 5).slot(2, 5, -1);
    EXPECT_EQ(walk(block, 1), (row_list{{1, 140}}));
    EXPECT_EQ(walk(block, 1, false), (row_list{{1, 140}}));
}

TEST(BlockWalk, EntryWithoutAPieceThatTheChainDoesNotNameIsDamage) {
    const bare_block block = two_tables().first_free(3).slot(2, 3, -1).slot(2, 5, 0);
    EXPECT_EQ(walk(block, 1), (row_list{{1, 140}, {2, OUTSIDE}, {3, 160}}));
}

TEST(BlockWalk, FreeChainThatComesBackWithoutPiecesEnds) {
    const bare_block block = two_tables().first_free(5).slot(2, 5, 3).slot(2, 3, 5);
    EXPECT_EQ(walk(block, 1), (row_list{{1, 140}, {3, 160}}));
}

// A link can point behind its own entry, at what may pass for a row.
TEST(BlockWalk, FreeEntriesAreNoRowsInWhateverOrderTheChainRuns) {
    const bare_block block =
        two_tables().table(1, 3, 40).first_free(40).slot(2, 40, 5).slot(2, 5, 38).slot(2, 38, 3).slot(2, 3,
                                                                                                      -1);
    row_list rows;
    for (int i = 4; i < 43; i++)
        if (i != 5 && i != 38 && i != 40)
            rows.emplace_back(i - 3, i < 7 ? 100 + 10 * i : OUTSIDE);
    EXPECT_EQ(walk(block, 1), rows);
}

TEST(BlockWalk, FreeEntryThatTheChainComesBackToIsNoRow) {
    const bare_block block = two_tables().first_free(5).slot(2, 5, 3);
    EXPECT_EQ(walk(block, 1), (row_list{{1, 140}, {3, 160}}));
}

TEST(BlockWalk, FreeEntriesOfEarlierTablesAreSkippedInAnyOrder) {
    const bare_block block = two_tables().first_free(6).slot(2, 6, 2).slot(2, 2, 0).slot(2, 0, -1);
    EXPECT_EQ(walk(block, 0), (row_list{{1, 110}}));
    EXPECT_EQ(walk(block, 1), (row_list{{0, 130}, {1, 140}, {2, 150}}));
}

TEST(BlockWalk, LoopOfFreeEntriesThatLeadToPiecesEnds) {
    const bare_block block = two_tables().table(1, 3, 60).first_free(6).slot(2, 6, 59).slot(2, 59, 6);
    const row_list rows = walk(block, 1);
    EXPECT_EQ(std::count_if(rows.begin(), rows.end(), [](auto row) { return row.second != OUTSIDE; }), 3);
}

// A table before may begin at entry 0 and have no entries: the one behind it begins there as well.
TEST(BlockWalk, FreeChainFromEntryZeroCountsForATableThatBeginsThere) {
    const bare_block block =
        two_tables().table(0, 0, 0).table(1, 0, 7).first_free(0).slot(2, 0, 4).slot(2, 4, 145);
    EXPECT_EQ(walk(block, 1), (row_list{{1, 110}, {2, 120}, {3, 130}, {5, 150}, {6, 160}}));
}

// Entries behind the last one that the table directory names are no entries, whatever stands there.
TEST(BlockWalk, FreeChainEndsWhereItLeavesTheDirectory) {
    const bare_block block = two_tables().slot(2, 7, 4).slot(2, 4, 140);
    EXPECT_EQ(walk(bare_block(block).first_free(7), 1), walk(two_tables(), 1));
    EXPECT_EQ(walk(bare_block(block).first_free(3).slot(2, 3, 7), 1),
              (row_list{{1, 140}, {2, 150}, {3, 160}}));
    EXPECT_EQ(walk(bare_block(block).first_free(3).slot(2, 3, 30000), 1),
              (row_list{{1, 140}, {2, 150}, {3, 160}}));
}

TEST(BlockWalk, FreeChainThatPointsAtItselfEnds) {
    const bare_block block = two_tables().first_free(4).slot(2, 4, 4);
    EXPECT_EQ(walk(block, 1), (row_list{{0, 130}, {2, 150}, {3, 160}}));
}

TEST(BlockWalk, EveryEntryIsARowWithoutAFreeChain) {
    const bare_block block = two_tables().first_free(3).slot(2, 3, 300);
    EXPECT_EQ(walk(block, 1, false), (row_list{{0, 300}, {1, 140}, {2, 150}, {3, 160}}));
}

TEST(BlockWalk, PieceOutsideTheBlockDoesNotEndTheWalk) {
    const bare_block block = two_tables().slot(2, 4, 30000);
    EXPECT_EQ(walk(block, 1), (row_list{{0, 130}, {1, OUTSIDE}, {2, 150}, {3, 160}}));
}

TEST(BlockWalk, DirectoryThatLeavesTheBlockEndsWithItsFirstLostEntry) {
    // The directory of two tables begins at 66, so 223 entries lie in the block.
    const bare_block block = two_tables().table(1, 221, 30000).slot(2, 221, 300).slot(2, 222, 310);
    EXPECT_EQ(walk(block, 1), (row_list{{0, OUTSIDE}, {1, OUTSIDE}, {2, OUTSIDE}}));
}

TEST(BlockWalk, NegativeCountAndNegativeFirstEntryGiveNoRow) {
    EXPECT_EQ(walk(two_tables().table(1, 3, -4), 1), row_list{});
    EXPECT_EQ(walk(two_tables().table(1, -3, 4), 1), (row_list{{0, OUTSIDE}}));
}

TEST(BlockWalk, NegativeResultEndsTheWalkAndIsReturned) {
    const bare_block block = two_tables();
    ROW_AREA area{};
    TABLE_ROWS rows;
    ASSERT_TRUE(locate_rows(block.view(), &area));
    ASSERT_TRUE(find_table(area, 1, &rows));
    int seen = 0;
    EXPECT_EQ(walk_rows(area, rows, false, [&](int, const uint8_t *) { return ++seen == 2 ? -5 : 0; }), -5);
    EXPECT_EQ(seen, 2);
}

} // namespace
