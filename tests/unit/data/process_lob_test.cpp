// LOB values: their locators are gathered, and the first one ends the table.
#include <algorithm>
#include <cstring>

#include "segment_fixture.h"

using namespace unload_unit;

namespace {

constexpr const char *LOB_MESSAGE = "LOB type is unsupported in this edition.\n";

class UnloadLob : public SegmentTest {
protected:
    static constexpr uint32_t AWAY = 20;

    UnloadLob() {
        columns({column(), column(TYPE_CLOB, 0, 2), column(TYPE_BLOB, 0, 3), column()});
        tab_.flag = TAB_HAS_LOB;
    }

    // What was gathered of a LOB value: it stands in the work buffer behind the buffers for LOB data.
    static LOBD lob(int number) {
        constexpr size_t place = CACHE_SIZE + 2 * 2048 + LONG_SIZE + 4 * LOB_BUFFER_SIZE;
        LOBD value;
        memcpy(&value, g_ctx.wrk + place + static_cast<size_t>(number) * sizeof value, sizeof value);
        return value;
    }

    static Bytes locator(int number) {
        const LOBD value = lob(number);
        return Bytes(value.ldata, value.ldata + std::min(value.len, LOB_DATA_SIZE));
    }

    void expect_refused(const Outcome &got, uint32_t rows_before) {
        EXPECT_EQ(got.result, -1);
        EXPECT_EQ(got.err, std::string(LOB_MESSAGE) + SEGMENT_FAILED);
        EXPECT_EQ(nrow_, rows_before);
        EXPECT_EQ(got.file, Bytes{});
    }
};

TEST_F(UnloadLob, NullColumnsAreUnloaded) {
    const Row row{text("a"), {}, {}, text("d")};
    EXPECT_EQ(rows_of({piece(H | F | L, row), piece(H | F | L, {text("b")})}),
              dump_builder().row(row).row({text("b")}).raw);
    EXPECT_EQ(nrow_, 2U);
}

TEST_F(UnloadLob, FirstValueEndsTheTable) {
    for (size_t col : {1U, 2U}) {
        Row row{text("a"), {}, {}, text("d")};
        row[col] = pattern(40);
        expect_refused(unload_pieces({piece(H | F | L, {text("before")}), piece(H | F | L, row),
                                      piece(H | F | L, {text("behind")})}),
                       1);
    }
}

TEST_F(UnloadLob, LocatorOfLengthZeroEndsTheTable) {
    expect_refused(unload_pieces({piece(H | F | L, {text("a"), Bytes{}})}), 0);
}

TEST_F(UnloadLob, ValueCutBetweenPiecesEndsTheTable) {
    store_pieces(AWAY, {piece(P | L, {pattern(30), {}, text("d")})});
    expect_refused(unload_pieces({piece(H | F | N, {text("a"), pattern(20)}, at(AWAY))}), 0);
}

// A locator larger than its record: what does not fit is left out, the row is refused as any other.
TEST_F(UnloadLob, OverlongLocatorEndsTheTable) {
    use_block_size(32768);
    store_pieces(AWAY, {piece(P | L, {pattern(20000)})});
    expect_refused(unload_pieces({piece(H | F | N, {text("a"), pattern(10000)}, at(AWAY))}), 0);
}

TEST_F(UnloadLob, PartsOfALocatorAreGatheredBehindEachOther) {
    store_pieces(AWAY, {piece(P | N, {pattern(30, 1)}, at(AWAY + 1))});
    store_pieces(AWAY + 1, {piece(P | L, {pattern(10, 2), pattern(7, 3)})});
    expect_refused(unload_pieces({piece(H | F | N, {text("a"), pattern(20)}, at(AWAY))}), 0);
    Bytes joined;
    for (const Bytes &part : {pattern(20), pattern(30, 1), pattern(10, 2)})
        joined.insert(joined.end(), part.begin(), part.end());
    EXPECT_EQ(lob(0).cid, 2U);
    EXPECT_EQ(locator(0), joined);
    EXPECT_EQ(lob(1).cid, 3U);
    EXPECT_EQ(locator(1), pattern(7, 3));
}

// The column that ends counts, a hidden one included, though nothing of it is gathered.
TEST_F(UnloadLob, CutHiddenLobEndsTheTable) {
    columns({column(), column(TYPE_CLOB, COL_HIDDEN), column()});
    store_pieces(AWAY, {piece(P | L, {pattern(30), text("c")})});
    expect_refused(unload_pieces({piece(H | F | N, {text("a"), pattern(20)}, at(AWAY))}), 0);
}

TEST_F(UnloadLob, WholeHiddenLobIsSteppedOver) {
    columns({column(), column(TYPE_CLOB, COL_UNUSED), column()});
    EXPECT_EQ(rows_of({piece(H | F | L, {text("a"), pattern(30), text("c")})}),
              dump_builder().row({text("a"), text("c")}).raw);
}

// Hundreds of LOB columns leave room to read blocks.
TEST_F(UnloadLob, ManyLobColumnsLeaveRoomForBlocks) {
    for (uint32_t bsz : {2048U, 32768U}) {
        use_block_size(bsz);
        std::vector<COL> cols(1000, column(TYPE_CLOB));
        cols[0] = column();
        columns(cols);
        EXPECT_EQ(rows_of({piece(H | F | L, {text("a")}), piece(H | F | L, {text("b"), {}})}),
                  dump_builder().row({text("a")}).row({text("b"), {}}).raw);
        EXPECT_EQ(nrow_, 2U);
    }
}

TEST_F(UnloadLob, ValuesOfManyLobColumnsEndTheTable) {
    use_block_size(32768);
    columns(std::vector<COL>(255, column(TYPE_CLOB)));
    expect_refused(unload_pieces({piece(H | F | L, Row(255, pattern(20)))}), 0);
}

// A row that begins in the middle of a LOB value finds whatever an earlier command left in the locator
// buffer: its own bytes are the first ones then, and the table ends as with any LOB value.
TEST_F(UnloadLob, LocatorThatWasNeverBegunIsNotContinued) {
    columns({column(TYPE_CLOB)});
    tab_.flag = TAB_HAS_LOB;
    memset(g_ctx.wrk, 0xFF, WORK_SIZE);
    const Outcome got = unload_pieces({piece(H | F | P, {text("locator")}, RowAddress{})});
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string(LOB_MESSAGE) + SEGMENT_FAILED);
    EXPECT_EQ(nrow_, 0U);
}

// A piece that should have continued the value begins the column again: nothing of the next one is there yet.
TEST_F(UnloadLob, LocatorBehindOneThatWasBegunTwiceIsNotContinued) {
    columns({column(TYPE_CLOB, 0, 1), column(TYPE_CLOB, 0, 2), column(TYPE_CLOB, 0, 3)});
    memset(g_ctx.wrk, 0xFF, WORK_SIZE);
    store_pieces(AWAY, {piece(0, {text("again")}, at(AWAY + 1))});
    store_pieces(AWAY + 1, {piece(P | L, {text("second")})});
    expect_refused(unload_pieces({piece(H | F | N, {text("first")}, at(AWAY))}), 0);
    EXPECT_EQ(locator(0), text("again"));
    EXPECT_EQ(locator(1), text("second"));
}

// A value that begins where no row has one is the first part of what its further pieces bring.
TEST_F(UnloadLob, PartsOfALocatorThatWasNeverBegunAreGatheredBehindEachOther) {
    memset(g_ctx.wrk, 0xFF, WORK_SIZE);
    columns({column(TYPE_CLOB)});
    store_pieces(AWAY, {piece(P | L, {text("more")})});
    expect_refused(unload_pieces({piece(H | F | P | N, {text("first")}, at(AWAY))}), 0);
    EXPECT_EQ(locator(0), text("firstmore"));
}

// What follows in the work buffer are the blocks read ahead.
TEST_F(UnloadLob, ValueBehindTheLastOneThatThereIsRoomForIsNotKept) {
    constexpr uint32_t bsz = 32768;
    use_block_size(bsz);
    constexpr size_t before = CACHE_SIZE + 2 * bsz + LONG_SIZE + 4 * LOB_BUFFER_SIZE;
    constexpr size_t room = (WORK_SIZE - before - bsz - 8) / sizeof(LOBD), in_piece = 137;
    static_assert(room % in_piece == 0);
    columns(std::vector<COL>(room + 1, column(TYPE_CLOB)));
    const Row values(in_piece, pattern(20));
    uint32_t next = AWAY;
    for (size_t kept = in_piece; kept < room; kept += in_piece, next++)
        store_pieces(next, {piece(0, values, at(next + 1))});
    store_pieces(next, {piece(N, {pattern(20)}, at(next + 1))});
    store_pieces(next + 1, {piece(P | L, {pattern(20)})});
    expect_refused(unload_pieces({piece(H | F, values, at(AWAY))}), 0);
    const Bytes file = vexlo_test::read_file(file_name(RFN));
    const auto *behind = g_ctx.wrk + before + room * sizeof(LOBD);
    EXPECT_TRUE(std::equal(behind, behind + bsz, &file[2 * bsz]));
}

TEST_F(UnloadLob, ValueIsAMarkInTheRow) {
    store_pieces(AWAY, {piece(P | L, {pattern(30)})});
    for (const Bytes &first :
         {piece(H | F | L, {text("a"), pattern(20)}), piece(H | F | N, {text("a"), pattern(20)}, at(AWAY))}) {
        expect_refused(unload_pieces({first}), 0);
        const Bytes row = dump_builder().value("a").lob().row_end().raw;
        const auto *cached = g_ctx.wrk + list_size(); // the table has failed before it was written
        EXPECT_EQ(Bytes(cached, cached + row.size()), row);
    }
}

} // namespace
