// The walk over a table's row directory entries and its free chain.
#include "block_fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

using namespace vexlo_test;

namespace {

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
