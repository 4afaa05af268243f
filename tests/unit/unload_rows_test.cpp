// Rows that stand in one piece, and which entries of a block are rows at all.
#include "unload_segment_fixture.h"

#include <algorithm>

using namespace unload_unit;

namespace {

class UnloadDataBlock : public SegmentTest {};
class UnloadWholeRow : public SegmentTest {};

const Row ABC{text("a"), text("bb"), text("ccc")};

Bytes whole(const Row &values) {
    return piece(H | F | L, values);
}

// The fixed part of a block header ends with two ITL entries and an empty extra area.
constexpr size_t KDBH = 44 + 2 * 24 + 8;

TEST_F(UnloadDataBlock, OtherBlockTypesGiveNoRowsAndNoError) {
    uint32_t number = 2;
    for (uint8_t type : {uint8_t{0x00}, uint8_t{0x20}, uint8_t{0x23}, uint8_t{0x46}}) {
        sample::TableBlock blk = block(number);
        blk.add(whole(ABC));
        Bytes raw = blk.finish();
        raw[0] = type;
        store(at(number++).rdba, raw);
    }
    const Outcome got = unload(5);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(got.rows, Bytes{});
    EXPECT_EQ(nrow_, 0U);
}

TEST_F(UnloadDataBlock, TableNumberThatTheDirectoryLacksHasNoRows) {
    tab_.tabn = 1;
    const Outcome got = unload_pieces({whole(ABC)});
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(nrow_, 0U);
}

TEST_F(UnloadDataBlock, DataObjectNumberOfABlockIsNotCompared) {
    sample::TableBlockOptions options;
    options.block_size = 2048;
    options.cache.rdba = at(2).rdba;
    options.objd = 999;
    sample::TableBlock blk(options);
    blk.add(whole(ABC));
    store(blk);
    tab_.objd = 17;
    EXPECT_EQ(rows_of_segment(), dump_bytes().row(ABC).raw);
}

TEST_F(UnloadDataBlock, DeletedRowsAndPiecesWithoutHeadContributeNothing) {
    const Outcome got = unload_pieces({piece(H | D | F | L, ABC), whole(ABC), piece(F | L, ABC),
                                       piece(L | P, ABC), piece(D | F | L, ABC), piece(H | D, {}, at(2, 1))});
    EXPECT_EQ(got.rows, dump_bytes().row(ABC).raw);
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(nrow_, 1U);
}

TEST_F(UnloadDataBlock, FreeEntriesAreSkippedAlongTheirChain) {
    sample::TableBlock blk = block(2);
    blk.add(whole({text("one")}));
    blk.add_free();
    blk.add_free();
    blk.add(whole({text("two")}));
    blk.add_free();
    blk.add(whole({text("three")}));
    store(blk);
    const Outcome got = unload();
    EXPECT_EQ(got.rows, dump_bytes().row({text("one")}).row({text("two")}).row({text("three")}).raw);
    EXPECT_EQ(got.err, "");
}

TEST_F(UnloadDataBlock, EntryZeroIsFreeWhenTheChainBeginsThere) {
    sample::TableBlock blk = block(2);
    blk.add_free();
    blk.add(whole(ABC));
    store(blk);
    const Outcome got = unload();
    EXPECT_EQ(got.rows, dump_bytes().row(ABC).raw);
    EXPECT_EQ(got.err, "");
}

// Only the entry that the chain has reached is free: one that lies before the chain's next link is a row.
TEST_F(UnloadDataBlock, EntryThatTheChainDoesNotNameIsARow) {
    sample::TableBlock blk = block(2);
    blk.add_free();
    blk.add(whole({text("one")}));
    blk.add(whole({text("two")}));
    Bytes raw = blk.finish();
    const size_t first_entry = KDBH + 14 + 4;
    sample::store_le16(&raw[first_entry], 2); // the chain goes on with what is a row
    store(at(2).rdba, raw);
    EXPECT_EQ(rows_of_segment(), dump_bytes().row({text("one")}).raw);
}

TEST_F(UnloadDataBlock, FreeChainIsBroughtUpToTheTablesFirstEntry) {
    tab_.tabn = 1;
    sample::TableBlock blk = block(2, 2);
    blk.add(sample::encode_key_piece({}, Row{text("key")}), 0);
    blk.add_free(0);
    blk.add_free(0);
    PieceHead head;
    head.key_index = 0;
    blk.add(sample::encode_piece(head, Row{text("one")}), 1);
    blk.add_free(1);
    blk.add(sample::encode_piece(head, Row{text("two")}), 1);
    store(blk);
    const Outcome got = unload();
    EXPECT_EQ(got.rows, dump_bytes().row({text("one")}).row({text("two")}).raw);
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(nrow_, 2U);
}

// Free entries of a directory of 70, in an order that comes back from behind: the link of entry 2 points
// behind its own entry, at the offsets of rows, which may look like any row.
TEST_F(UnloadDataBlock, FreeEntriesAreSkippedInWhateverOrderTheirChainRuns) {
    const std::vector<int> chain{60, 2, 65, 30, 4, 68};
    for (const int tabn : {0, 1}) {
        tab_.tabn = static_cast<uint32_t>(tabn);
        sample::TableBlock blk = block(2, tabn + 1);
        if (tabn != 0)
            blk.add(sample::encode_key_piece({}, Row{text("key")}), 0);
        PieceHead head;
        if (tabn != 0)
            head.key_index = 0;
        dump_bytes rows;
        for (int entry = tabn; entry < 70; entry++) {
            const auto link = std::find(chain.begin(), chain.end(), entry);
            if (link != chain.end()) {
                blk.add_raw_offset(static_cast<int16_t>(link + 1 != chain.end() ? link[1] : -1), tabn);
            } else {
                const Row row{text(std::to_string(entry) + std::string(6, ' '))};
                blk.add(sample::encode_piece(head, row), tabn);
                rows.row(row);
            }
        }
        Bytes raw = blk.finish();
        sample::store_le16(&raw[KDBH + 4], static_cast<uint16_t>(chain.front()));
        store(at(2).rdba, raw);
        EXPECT_EQ(rows_of_segment(), rows.raw) << tabn;
    }
}

// The first piece stored ends with the block, so that each length stands there once and before other rows
// once.
TEST_F(UnloadWholeRow, ValuesOfEveryLengthInTheBlockAndAtItsEnd) {
    columns(plain_columns(3));
    for (size_t n = 0; n <= 80; n++) {
        const Row row{pattern(n), {}, pattern(n, 1)};
        EXPECT_EQ(rows_of({whole(row), whole(row), whole(ABC)}), dump_bytes().row(row).row(row).row(ABC).raw)
            << n;
    }
}

TEST_F(UnloadWholeRow, ValuesGetTwoByteBigEndianLengths) {
    EXPECT_EQ(rows_of({whole(ABC)}), (Bytes{0, 1, 'a', 0, 2, 'b', 'b', 0, 3, 'c', 'c', 'c', 0, 0}));
    EXPECT_EQ(nrow_, 1U);
}

TEST_F(UnloadWholeRow, BothStoredLengthFormsGiveTheSameEntry) {
    PieceHead head;
    const Row values{pattern(5), pattern(253)};
    EXPECT_EQ(rows_of({sample::encode_piece(head, values, sample::LengthForm::one_byte),
                       sample::encode_piece(head, values, sample::LengthForm::three_bytes)}),
              dump_bytes().row(values).row(values).raw);
}

TEST_F(UnloadWholeRow, LengthsAroundTheThreeByteForm) {
    columns(plain_columns(1));
    std::vector<Bytes> pieces;
    dump_bytes expected;
    for (size_t length : {249U, 250U, 251U, 253U, 254U, 255U, 256U}) {
        pieces.push_back(whole({pattern(length)}));
        expected.row({pattern(length)});
    }
    EXPECT_EQ(rows_of(pieces), expected.raw);
}

TEST_F(UnloadWholeRow, NullIsFFFE) {
    const Row row{text("a"), {}, text("c")};
    EXPECT_EQ(rows_of({whole(row)}), (Bytes{0, 1, 'a', 0xFF, 0xFE, 0, 1, 'c', 0, 0}));
}

TEST_F(UnloadWholeRow, ColumnsBehindTheLastStoredValueGetNoEntry) {
    EXPECT_EQ(rows_of({whole({text("a")}), whole({})}), (Bytes{0, 1, 'a', 0, 0, 0, 0}));
    EXPECT_EQ(nrow_, 2U);
}

TEST_F(UnloadWholeRow, StoredTrailingNullsGetTheirEntries) {
    EXPECT_EQ(rows_of({whole({text("a"), {}, {}})}), (Bytes{0, 1, 'a', 0xFF, 0xFE, 0xFF, 0xFE, 0, 0}));
}

TEST_F(UnloadWholeRow, EmptyValueIsALengthOfZero) {
    EXPECT_EQ(rows_of({whole({Bytes{}, text("b")})}), (Bytes{0, 0, 0, 1, 'b', 0, 0}));
}

TEST_F(UnloadWholeRow, ValuesBehindTheTablesColumnsAreLeftOut) {
    const Row four{text("a"), text("b"), text("c"), text("d")};
    EXPECT_EQ(rows_of({whole(four), whole(ABC)}),
              dump_bytes().row({text("a"), text("b"), text("c")}).row(ABC).raw);
}

// Columns that are stored but not unloaded take their value and leave no entry; property 0x2 alone keeps the
// value in the row.
TEST_F(UnloadWholeRow, HiddenColumnsAreSteppedOver) {
    const struct {
        uint32_t flag;
        bool unloaded;
    } cases[] = {{0x1, false}, {0x4, false}, {0x2, true}, {0x100, true}, {0x1000, true}};
    for (const auto &c : cases) {
        columns({column(), column(VARCHAR2, c.flag), column()});
        sample::TableBlock blk = block(2);
        blk.add(whole(ABC));
        blk.add(whole({text("a"), {}, text("c")}));
        store(blk);
        const Row first = c.unloaded ? ABC : Row{text("a"), text("ccc")};
        const Row second = c.unloaded ? Row{text("a"), {}, text("c")} : Row{text("a"), text("c")};
        EXPECT_EQ(rows_of_segment(), dump_bytes().row(first).row(second).raw) << c.flag;
        EXPECT_EQ(nrow_, 2U);
    }
}

TEST_F(UnloadWholeRow, HiddenLongAndLobColumnsAreSteppedOver) {
    columns({column(8, 0x1), column(112, 0x4), column()});
    const Outcome got = unload_pieces({whole({text("long"), text("locator"), text("c")})});
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.rows, dump_bytes().row({text("c")}).raw);
}

TEST_F(UnloadWholeRow, TableFlag10000SkipsSixBytesOfTheHead) {
    tab_.flag = 0x10000;
    PieceHead head;
    head.extra = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(rows_of({sample::encode_piece(head, ABC)}), dump_bytes().row(ABC).raw);
}

TEST_F(UnloadWholeRow, Holds255Columns) {
    columns(plain_columns(255));
    Row row;
    for (unsigned i = 0; i < 255; i++)
        row.push_back(i % 3 == 0 ? Value{} : Value{pattern(i % 5, i)});
    row.back() = text("x");
    EXPECT_EQ(rows_of({whole(row)}), dump_bytes().row(row).raw);
}

TEST_F(UnloadWholeRow, KAndCBitsAndTheLockByteAreNotLookedAt) {
    PieceHead head;
    head.flags = 0xC0 | H | F | L;
    head.lock = 0xFF;
    EXPECT_EQ(rows_of({sample::encode_piece(head, ABC)}), dump_bytes().row(ABC).raw);
}

// F and L together make the row whole: P and N of such a piece do not matter.
TEST_F(UnloadWholeRow, PAndNOfAWholeRowAreNotLookedAt) {
    EXPECT_EQ(rows_of({piece(H | F | L | P | N, ABC)}), dump_bytes().row(ABC).raw);
}

} // namespace
