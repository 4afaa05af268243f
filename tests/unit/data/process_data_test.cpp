// The rows of one block: which entries are rows at all, rows in one piece, rows in a cluster, and damage.
#include <algorithm>

#include <gtest/gtest.h>

#include "segment_fixture.h"

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
    EXPECT_EQ(rows_of_segment(), dump_builder().row(ABC).raw);
}

TEST_F(UnloadDataBlock, DeletedRowsAndPiecesWithoutHeadContributeNothing) {
    const Outcome got = unload_pieces({piece(H | D | F | L, ABC), whole(ABC), piece(F | L, ABC),
                                       piece(L | P, ABC), piece(D | F | L, ABC), piece(H | D, {}, at(2, 1))});
    EXPECT_EQ(got.rows, dump_builder().row(ABC).raw);
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
    EXPECT_EQ(got.rows, dump_builder().row({text("one")}).row({text("two")}).row({text("three")}).raw);
    EXPECT_EQ(got.err, "");
}

TEST_F(UnloadDataBlock, EntryZeroIsFreeWhenTheChainBeginsThere) {
    sample::TableBlock blk = block(2);
    blk.add_free();
    blk.add(whole(ABC));
    store(blk);
    const Outcome got = unload();
    EXPECT_EQ(got.rows, dump_builder().row(ABC).raw);
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
    EXPECT_EQ(rows_of_segment(), dump_builder().row({text("one")}).raw);
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
    EXPECT_EQ(got.rows, dump_builder().row({text("one")}).row({text("two")}).raw);
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
        dump_builder rows;
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
        EXPECT_EQ(rows_of({whole(row), whole(row), whole(ABC)}),
                  dump_builder().row(row).row(row).row(ABC).raw)
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
              dump_builder().row(values).row(values).raw);
}

TEST_F(UnloadWholeRow, LengthsAroundTheThreeByteForm) {
    columns(plain_columns(1));
    std::vector<Bytes> pieces;
    dump_builder expected;
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
              dump_builder().row({text("a"), text("b"), text("c")}).row(ABC).raw);
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
        EXPECT_EQ(rows_of_segment(), dump_builder().row(first).row(second).raw) << c.flag;
        EXPECT_EQ(nrow_, 2U);
    }
}

TEST_F(UnloadWholeRow, HiddenLongAndLobColumnsAreSteppedOver) {
    columns({column(TYPE_LONG, 0x1), column(TYPE_CLOB, 0x4), column()});
    const Outcome got = unload_pieces({whole({text("long"), text("locator"), text("c")})});
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.rows, dump_builder().row({text("c")}).raw);
}

TEST_F(UnloadWholeRow, TableFlag10000SkipsSixBytesOfTheHead) {
    tab_.flag = TAB_ROW_DEPENDENCIES;
    PieceHead head;
    head.extra = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(rows_of({sample::encode_piece(head, ABC)}), dump_builder().row(ABC).raw);
}

TEST_F(UnloadWholeRow, Holds255Columns) {
    columns(plain_columns(255));
    Row row;
    for (unsigned i = 0; i < 255; i++)
        row.push_back(i % 3 == 0 ? Value{} : Value{pattern(i % 5, i)});
    row.back() = text("x");
    EXPECT_EQ(rows_of({whole(row)}), dump_builder().row(row).raw);
}

TEST_F(UnloadWholeRow, KAndCBitsAndTheLockByteAreNotLookedAt) {
    PieceHead head;
    head.flags = 0xC0 | H | F | L;
    head.lock = 0xFF;
    EXPECT_EQ(rows_of({sample::encode_piece(head, ABC)}), dump_builder().row(ABC).raw);
}

// F and L together make the row whole: P and N of such a piece do not matter.
TEST_F(UnloadWholeRow, PAndNOfAWholeRowAreNotLookedAt) {
    EXPECT_EQ(rows_of({piece(H | F | L | P | N, ABC)}), dump_builder().row(ABC).raw);
}

// ---- Clusters

constexpr uint32_t KEY = COL_CLUSTER_KEY;
constexpr const char *KEY_MESSAGE = "cluster key migrated or chained, skip this row data.\n";

Bytes key_row(const Row &key, uint8_t flags = 0x80 | H | F | L) {
    sample::KeyHead head;
    head.flags = flags;
    return sample::encode_key_piece(head, key);
}

Bytes member(uint8_t flags, const Row &values, uint8_t key_index, std::optional<RowAddress> next = {}) {
    PieceHead head;
    head.flags = flags;
    head.key_index = key_index;
    head.next = next;
    return sample::encode_piece(head, values);
}

class UnloadCluster : public SegmentTest {
protected:
    static constexpr uint32_t AWAY = 20;

    UnloadCluster() { tab_.tabn = 1; }

    // Stores a block of table 1's pieces and key rows.
    void store_cluster(uint32_t number, const std::vector<Bytes> &keys, const std::vector<Bytes> &pieces) {
        sample::TableBlock blk = block(number, 2);
        for (const Bytes &k : keys)
            blk.add(k, 0);
        for (const Bytes &p : pieces)
            blk.add(p, 1);
        store(blk);
    }

    Bytes cluster_rows(const std::vector<Bytes> &keys, const std::vector<Bytes> &pieces) {
        store_cluster(2, keys, pieces);
        return rows_of_segment();
    }
};

TEST_F(UnloadCluster, KeyColumnComesFromTheKeyRowOfTheIndex) {
    columns({column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({text("k0")}), key_row({text("k1")})},
                           {member(H | F | L, {text("a")}, 1), member(H | F | L, {text("b")}, 0)}),
              dump_builder().row({text("k1"), text("a")}).row({text("k0"), text("b")}).raw);
    EXPECT_EQ(nrow_, 2U);
}

TEST_F(UnloadCluster, SeveralKeyColumnsInTheMiddleOfTheTable) {
    columns({column(), column(VARCHAR2, KEY), column(), column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({text("k1"), text("k2")})},
                           {member(H | F | L, {text("a"), text("b"), text("c")}, 0)}),
              dump_builder().row({text("a"), text("k1"), text("b"), text("k2"), text("c")}).raw);
}

TEST_F(UnloadCluster, NullKeyColumnIsFFFE) {
    columns({column(VARCHAR2, KEY), column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({{}, text("k2")})}, {member(H | F | L, {text("a")}, 0)}),
              dump_builder().row({{}, text("k2"), text("a")}).raw);
}

TEST_F(UnloadCluster, KeyValueWithATwoByteLength) {
    columns({column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({pattern(300)})}, {member(H | F | L, {text("a")}, 0)}),
              dump_builder().row({pattern(300), text("a")}).raw);
}

TEST_F(UnloadCluster, KeysAndValuesOfEveryLength) {
    columns({column(VARCHAR2, KEY), column()});
    for (size_t n = 0; n <= 80; n++)
        EXPECT_EQ(cluster_rows({key_row({pattern(n)})}, {member(H | F | L, {pattern(80 - n, 1)}, 0)}),
                  dump_builder().row({pattern(n), pattern(80 - n, 1)}).raw)
            << n;
}

TEST_F(UnloadCluster, KeyColumnBehindTheLastStoredValueGetsNoEntry) {
    columns({column(), column(VARCHAR2, KEY)});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {member(H | F | L, {text("a")}, 0)}),
              dump_builder().row({text("a")}).raw);
}

TEST_F(UnloadCluster, RowWithoutStoredValuesGetsNoKeyEither) {
    columns({column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {member(H | F | L, {}, 0)}), dump_builder().row_end().raw);
    EXPECT_EQ(nrow_, 1U);
}

// A column that is hidden as well is stepped over in the row and takes nothing from the key.
TEST_F(UnloadCluster, HiddenKeyColumnTakesAValueOfThePiece) {
    columns({column(VARCHAR2, KEY | COL_HIDDEN), column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {member(H | F | L, {text("x"), text("a")}, 0)}),
              dump_builder().row({text("k"), text("a")}).raw);
}

TEST_F(UnloadCluster, ExtraSixBytesStandBehindTheKeyIndex) {
    columns({column(VARCHAR2, KEY), column()});
    tab_.flag = TAB_ROW_DEPENDENCIES;
    PieceHead head;
    head.key_index = 0;
    head.extra = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {sample::encode_piece(head, Row{text("a")})}),
              dump_builder().row({text("k"), text("a")}).raw);
}

TEST_F(UnloadCluster, KeyIndexCountsFromTheKeyTablesFirstEntry) {
    columns({column(VARCHAR2, KEY), column()});
    sample::TableBlock blk = block(2, 2);
    blk.add(member(H | F | L, {text("a")}, 0), 0);
    blk.add(key_row({text("k")}), 1);
    Bytes raw = blk.finish();
    constexpr size_t directory = 44 + 2 * 24 + 8 + 14;
    sample::store_le16(&raw[directory], 1);     // the key row is entry 1 of the row directory,
    sample::store_le16(&raw[directory + 4], 0); // the member row entry 0
    store(at(2).rdba, raw);
    EXPECT_EQ(rows_of_segment(), dump_builder().row({text("k"), text("a")}).raw);
}

TEST_F(UnloadCluster, OtherTablesOfTheClusterAreLeftAlone) {
    columns({column(VARCHAR2, KEY), column()});
    tab_.tabn = 2;
    sample::TableBlock blk = block(2, 4);
    blk.add(key_row({text("k")}), 0);
    for (int t = 1; t <= 3; t++)
        blk.add(member(H | F | L, {text(std::to_string(t))}, 0), t);
    store(blk);
    EXPECT_EQ(rows_of_segment(), dump_builder().row({text("k"), text("2")}).raw);
}

// The first byte of the block behind is no key index of such a piece, even where it names a key row.
TEST_F(UnloadCluster, HeadPieceThatEndsWithItsBlockIsDamaged) {
    constexpr uint32_t BSZ = 2048;
    constexpr size_t DATA_HEADER = 44 + 2 * 24 + 8;
    columns({column(VARCHAR2, KEY), column()});
    sample::TableBlock blk = block(2, 2);
    for (uint8_t i = 0; i <= BLOCK_TABLE_DATA; i++)
        blk.add(key_row({text("k")}, i == BLOCK_TABLE_DATA ? H | F : 0x80 | H | F | L), 0);
    blk.add_raw_offset(static_cast<int16_t>(BSZ - PIECE_HEADER - DATA_HEADER), 1);
    Bytes raw = blk.finish();
    const Bytes head{H | F | L, 0, 1};
    std::copy(head.begin(), head.end(), raw.end() - PIECE_HEADER);
    store(at(2).rdba, raw);
    store_cluster(3, {}, {});
    const Outcome got = unload(3);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.out, "");
    EXPECT_EQ(got.err, damaged_row(2, 0));
}

TEST_F(UnloadCluster, RowUnderAKeyThatIsNotWholeIsSkippedAndNotCounted) {
    columns({column(VARCHAR2, KEY), column()});
    for (uint8_t flags : {uint8_t{F | L}, uint8_t{H | L}, uint8_t{H | F}}) {
        store_cluster(2, {key_row({text("bad")}, flags), key_row({text("k")})},
                      {member(H | F | L, {text("a")}, 0), member(H | F | L, {text("b")}, 1)});
        const Outcome got = unload();
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.out, KEY_MESSAGE);
        EXPECT_EQ(got.err, "");
        EXPECT_EQ(got.rows, dump_builder().row({text("k"), text("b")}).raw);
        EXPECT_EQ(nrow_, 1U);
    }
}

TEST_F(UnloadCluster, ChainedRowUnderAKeyThatIsNotWholeIsSkippedAndNotCounted) {
    columns({column(VARCHAR2, KEY), column()});
    store_cluster(2, {key_row({text("bad")}, H | F), key_row({text("k")})},
                  {member(H | F, {text("a")}, 0, at(AWAY)), member(H | F | L, {text("b")}, 1)});
    const Outcome got = unload();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.out, KEY_MESSAGE);
    EXPECT_EQ(got.rows, dump_builder().row({text("k"), text("b")}).raw);
    EXPECT_EQ(nrow_, 1U);
}

// Only H, F and L of the key row matter.
TEST_F(UnloadCluster, OtherFlagsOfTheKeyRowAreNotLookedAt) {
    columns({column(VARCHAR2, KEY), column()});
    EXPECT_EQ(
        cluster_rows({key_row({text("k")}, H | F | L | D | P | N)}, {member(H | F | L, {text("a")}, 0)}),
        dump_builder().row({text("k"), text("a")}).raw);
}

// Every piece of a chained row reads the key data from its start.
TEST_F(UnloadCluster, KeyDataIsReadFromItsStartInEveryPiece) {
    columns({column(VARCHAR2, KEY), column(), column(VARCHAR2, KEY), column()});
    store_cluster(AWAY, {key_row({text("x1"), text("x2")})}, {piece(L, {text("b")})});
    EXPECT_EQ(cluster_rows({key_row({text("k1"), text("k2")})}, {member(H | F, {text("a")}, 0, at(AWAY))}),
              dump_builder().row({text("k1"), text("a"), text("k1"), text("b")}).raw);
}

// A value that is the first of its row and cut takes position 0, even when a key column stands there: no key
// is written.
TEST_F(UnloadCluster, CutFirstValueTakesThePlaceOfTheKey) {
    columns({column(VARCHAR2, KEY), column(), column()});
    store_cluster(AWAY, {key_row({text("x")})}, {piece(P | L, {text("a2"), text("b")})});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {member(H | F | N, {text("a1")}, 0, at(AWAY))}),
              dump_builder().row({text("a1a2"), text("b")}).raw);
}

class UnloadMigratedMember : public UnloadCluster {
protected:
    // A stub in block 2 whose row stands in block AWAY under the key index `index` of that piece. Both blocks
    // have two keys.
    void store_migrated(uint8_t index, uint8_t key_flags = 0x80 | H | F | L) {
        columns({column(VARCHAR2, KEY), column()});
        PieceHead moved;
        moved.flags = F | L;
        moved.key_index = index;
        moved.head_rowid = at(2);
        store_cluster(AWAY, {key_row({text("x0")}), key_row({text("x1")})},
                      {sample::encode_piece(moved, Row{text("a")})});
        store_cluster(2, {key_row({text("k0")}), key_row({text("k1")}, key_flags)},
                      {piece(H, {}, at(AWAY)), member(H | F | L, {text("b")}, 0)});
    }
};

// The key of a followed first piece is looked up in the block of the stub, not in its own.
TEST_F(UnloadMigratedMember, KeyIsLookedUpInTheBlockOfTheStub) {
    store_migrated(1);
    EXPECT_EQ(rows_of_segment(),
              dump_builder().row({text("k1"), text("a")}).row({text("k0"), text("b")}).raw);
    EXPECT_EQ(nrow_, 2U);
}

TEST_F(UnloadMigratedMember, RowUnderAKeyThatIsNotWholeIsEndedAndCounted) {
    store_migrated(1, H | L);
    const Outcome got = unload();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.out, KEY_MESSAGE);
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(got.rows, dump_builder().row_end().row({text("k0"), text("b")}).raw);
    EXPECT_EQ(nrow_, 2U);
}

// Of the pieces that follow only a first one has a key index.
TEST_F(UnloadMigratedMember, FurtherPiecesHaveNoKeyIndex) {
    columns({column(VARCHAR2, KEY), column(), column()});
    PieceHead moved;
    moved.flags = F;
    moved.key_index = 0;
    moved.head_rowid = at(2);
    moved.next = at(AWAY, 1);
    store_cluster(AWAY, {key_row({text("x")})},
                  {sample::encode_piece(moved, Row{text("a")}), piece(L, {text("b")})});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {piece(H, {}, at(AWAY))}),
              dump_builder().row({text("k"), text("a"), text("b")}).raw);
}

// ---- Damage

class UnloadDamage : public SegmentTest {
protected:
    static constexpr uint32_t AWAY = 20;

    UnloadDamage() { columns(plain_columns(2)); }
};

const Row TWO_VALUES{text("a"), text("b")};

// A whole row whose second value claims to be longer than any block.
Bytes overlong() {
    return {H | F | L, 0, 2, 1, 'a', 0xFE, 0xFF, 0xFF, 'b'};
}

TEST_F(UnloadDamage, ValueThatLeavesTheBlockLeavesTheRowOut) {
    store_pieces(2, {piece(H | F | L, TWO_VALUES), overlong(), piece(H | F | L, TWO_VALUES)});
    expect_rows(dump_builder().row(TWO_VALUES).row(TWO_VALUES).raw, damaged_row(2, 1), 2);
}

TEST_F(UnloadDamage, RowNumberCountsTheDirectoryEntriesOfTheTable) {
    tab_.tabn = 1;
    sample::TableBlock blk = block(2, 2);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    blk.add_free(1);
    Bytes bad = overlong();
    bad.insert(bad.begin() + 3, uint8_t{0});
    blk.add(bad, 1);
    store(blk);
    expect_rows({}, damaged_row(2, 1), 0);
}

TEST_F(UnloadDamage, PieceOutsideTheBlockLeavesTheRowOut) {
    for (int16_t offset : {int16_t{30000}, int16_t{-200}, int16_t{0}, int16_t{1947}}) {
        sample::TableBlock blk = block(2);
        blk.add(piece(H | F | L, TWO_VALUES));
        blk.add_raw_offset(offset);
        blk.add(piece(H | F | L, TWO_VALUES));
        store(blk);
        expect_rows(dump_builder().row(TWO_VALUES).row(TWO_VALUES).raw, damaged_row(2, 1), 2);
    }
}

// A row of no values needs no more than its header, with the short way and the long one.
TEST_F(UnloadDamage, RowWithoutValuesMayEndWithTheBlock) {
    for (const uint32_t ctyp : {VARCHAR2, TYPE_LONG}) {
        columns({column(ctyp)});
        sample::TableBlock blk = block(2);
        blk.add_raw_offset(static_cast<int16_t>(2048 - PIECE_HEADER - KDBH));
        Bytes raw = blk.finish();
        std::fill(raw.end() - PIECE_HEADER, raw.end(), uint8_t{0});
        raw[raw.size() - PIECE_HEADER] = H | F | L;
        store(at(2).rdba, raw);
        expect_rows(dump_builder().row_end().raw, "", 1);
    }
}

TEST_F(UnloadDamage, DirectoryThatLeavesTheBlockEndsWithItsFirstLostEntry) {
    sample::TableBlock blk = block(2);
    blk.add(piece(H | F | L, TWO_VALUES));
    Bytes raw = blk.finish();
    constexpr size_t table_rows = 44 + 2 * 24 + 8 + 14 + 2;
    sample::store_le16(&raw[table_rows], 0x7FFF);
    store(at(2).rdba, raw);
    store_pieces(3, {piece(H | F | L, TWO_VALUES)});
    const Outcome got = unload();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.rows, dump_builder().row(TWO_VALUES).row(TWO_VALUES).raw);
    EXPECT_TRUE(got.err.starts_with(damaged_row(2, 1))) << got.err;
}

TEST_F(UnloadDamage, HeadersThatLeaveTheBlockLeaveItOut) {
    sample::TableBlock blk = block(2);
    blk.add(piece(H | F | L, TWO_VALUES));
    Bytes raw = blk.finish();
    raw[36] = 0xFF; // ITL entries
    store(at(2).rdba, raw);
    store_pieces(3, {piece(H | F | L, TWO_VALUES)});
    expect_rows(dump_builder().row(TWO_VALUES).raw, "block rdba=0x01400002 damaged, skip this block.\n", 1);
}

TEST_F(UnloadDamage, KeyRowThatIsNotInTheBlockLeavesTheRowOut) {
    tab_.tabn = 1;
    columns({column(VARCHAR2, COL_CLUSTER_KEY), column()});
    sample::TableBlock blk = block(2, 2);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    PieceHead head;
    head.key_index = 250;
    blk.add(sample::encode_piece(head, Row{text("a")}), 1);
    head.key_index = 0;
    blk.add(sample::encode_piece(head, Row{text("b")}), 1);
    store(blk);
    expect_rows(dump_builder().row({text("k"), text("b")}).raw, damaged_row(2, 0), 1);
}

TEST_F(UnloadDamage, KeyValueThatLeavesTheBlockLeavesTheRowOut) {
    tab_.tabn = 1;
    columns({column(VARCHAR2, COL_CLUSTER_KEY), column()});
    sample::TableBlock blk = block(2, 2);
    Bytes key = sample::encode_key_piece({}, Row{text("kk")});
    key[19] = 0xFD;
    blk.add(key, 0);
    PieceHead head;
    head.key_index = 0;
    blk.add(sample::encode_piece(head, Row{text("a")}), 1);
    store(blk);
    expect_rows({}, damaged_row(2, 0), 0);
}

// A row outside a cluster has no key to take a value from.
TEST_F(UnloadDamage, KeyColumnOutsideAClusterLeavesTheRowOut) {
    columns({column(VARCHAR2, COL_CLUSTER_KEY), column()});
    store_pieces(2, {piece(H | F | L, TWO_VALUES)});
    expect_rows({}, damaged_row(2, 0), 0);
}

// The first piece stored ends with the block's four bytes of tail.
TEST_F(UnloadDamage, LengthFFOfACutValueThatLeavesItsBlockLeavesTheRowOut) {
    columns(plain_columns(1));
    for (const size_t missing : {0U, 1U}) {
        Bytes raw{P | L, 0, 1, 0xFF};
        raw.resize(raw.size() + 255 - sample::TAIL_SIZE - missing);
        store_pieces(AWAY, {raw});
        store_pieces(2, {piece(H | F | N, {text("a")}, at(AWAY)), piece(H | F | L, {text("b")})});
        const Outcome got = unload();
        EXPECT_EQ(got.err, missing != 0 ? damaged_row(2, 0) : "");
        EXPECT_EQ(nrow_, 2U - missing);
    }
}

TEST_F(UnloadDamage, ValueThatLeavesAFollowedBlockLeavesTheWholeRowOut) {
    Bytes bad = overlong();
    bad[0] = L;
    bad[2] = 1;
    bad.erase(bad.begin() + 3, bad.begin() + 5);
    store_pieces(AWAY, {bad});
    store_pieces(2, {piece(H | F | L, TWO_VALUES), piece(H | F, {text("lost")}, at(AWAY)),
                     piece(H | F | L, TWO_VALUES)});
    expect_rows(dump_builder().row(TWO_VALUES).row(TWO_VALUES).raw, damaged_row(2, 1), 2);
}

TEST_F(UnloadDamage, CutValueThatLeavesItsBlockLeavesTheWholeRowOut) {
    store_pieces(AWAY, {Bytes{P | L, 0, 1, 0xFE, 0xFF, 0xFF, 'b'}});
    store_pieces(2, {piece(H | F | N, {text("a"), text("b")}, at(AWAY)), piece(H | F | L, TWO_VALUES)});
    expect_rows(dump_builder().row(TWO_VALUES).raw, damaged_row(2, 0), 1);
}

// What a chained row has flushed already is taken back with the rest of it.
TEST_F(UnloadDamage, RowThatWasFlushedInPartIsLeftOutOfTheFile) {
    use_block_size(32768);
    constexpr uint32_t bad_block = 400, pieces = 140;
    columns(plain_columns(1000));
    for (uint32_t i = 0; i < pieces; i++)
        store_pieces(bad_block - pieces + i,
                     {piece(0, {Bytes(32000, 0x33)}, at(bad_block - pieces + i + 1))});
    store_pieces(bad_block, {Bytes{L, 0, 1, 0xFE, 0xFF, 0xFF, 'x'}});
    store_pieces(2, {piece(H | F | L, TWO_VALUES), piece(H | F, {text("lost")}, at(bad_block - pieces)),
                     piece(H | F | L, TWO_VALUES)});
    expect_rows(dump_builder().row(TWO_VALUES).row(TWO_VALUES).raw, damaged_row(2, 1), 2);
}

// A hundred lines are enough to tell of a damaged segment: the rest is counted. The next segment has its own
// hundred.
TEST_F(UnloadDamage, LinesBehindTheHundredthOfASegmentAreCounted) {
    sample::TableBlock blk = block(2);
    for (int i = 0; i < 103; i++)
        blk.add_raw_offset(-1);
    blk.add(piece(H | F | L, TWO_VALUES));
    store(blk);
    std::string want;
    for (int i = 0; i < 100; i++)
        want += damaged_row(2, i);
    want += "3 more damaged rows or blocks.\n";
    for (int run = 0; run < 2; run++)
        expect_rows(dump_builder().row(TWO_VALUES).raw, want, 1);
}

} // namespace
