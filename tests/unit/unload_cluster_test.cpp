// Rows of clustered tables: key columns come from the key row of the block.
#include "unload_segment_fixture.h"

#include <gtest/gtest.h>

using namespace unload_unit;

namespace {

constexpr uint32_t KEY = 0x10000; // COL.flag of a cluster key column
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
              dump_bytes().row({text("k1"), text("a")}).row({text("k0"), text("b")}).raw);
    EXPECT_EQ(nrow_, 2U);
}

TEST_F(UnloadCluster, SeveralKeyColumnsInTheMiddleOfTheTable) {
    columns({column(), column(VARCHAR2, KEY), column(), column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({text("k1"), text("k2")})},
                           {member(H | F | L, {text("a"), text("b"), text("c")}, 0)}),
              dump_bytes().row({text("a"), text("k1"), text("b"), text("k2"), text("c")}).raw);
}

TEST_F(UnloadCluster, NullKeyColumnIsFFFE) {
    columns({column(VARCHAR2, KEY), column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({{}, text("k2")})}, {member(H | F | L, {text("a")}, 0)}),
              dump_bytes().row({{}, text("k2"), text("a")}).raw);
}

TEST_F(UnloadCluster, KeyValueWithATwoByteLength) {
    columns({column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({pattern(300)})}, {member(H | F | L, {text("a")}, 0)}),
              dump_bytes().row({pattern(300), text("a")}).raw);
}

TEST_F(UnloadCluster, KeysAndValuesOfEveryLength) {
    columns({column(VARCHAR2, KEY), column()});
    for (size_t n = 0; n <= 80; n++)
        EXPECT_EQ(cluster_rows({key_row({pattern(n)})}, {member(H | F | L, {pattern(80 - n, 1)}, 0)}),
                  dump_bytes().row({pattern(n), pattern(80 - n, 1)}).raw)
            << n;
}

TEST_F(UnloadCluster, KeyColumnBehindTheLastStoredValueGetsNoEntry) {
    columns({column(), column(VARCHAR2, KEY)});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {member(H | F | L, {text("a")}, 0)}),
              dump_bytes().row({text("a")}).raw);
}

TEST_F(UnloadCluster, RowWithoutStoredValuesGetsNoKeyEither) {
    columns({column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {member(H | F | L, {}, 0)}), dump_bytes().row_end().raw);
    EXPECT_EQ(nrow_, 1U);
}

// A column that is hidden as well is stepped over in the row and takes nothing from the key.
TEST_F(UnloadCluster, HiddenKeyColumnTakesAValueOfThePiece) {
    columns({column(VARCHAR2, KEY | 0x1), column(VARCHAR2, KEY), column()});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {member(H | F | L, {text("x"), text("a")}, 0)}),
              dump_bytes().row({text("k"), text("a")}).raw);
}

TEST_F(UnloadCluster, ExtraSixBytesStandBehindTheKeyIndex) {
    columns({column(VARCHAR2, KEY), column()});
    tab_.flag = 0x10000;
    PieceHead head;
    head.key_index = 0;
    head.extra = {1, 2, 3, 4, 5, 6};
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {sample::encode_piece(head, Row{text("a")})}),
              dump_bytes().row({text("k"), text("a")}).raw);
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
    EXPECT_EQ(rows_of_segment(), dump_bytes().row({text("k"), text("a")}).raw);
}

TEST_F(UnloadCluster, OtherTablesOfTheClusterAreLeftAlone) {
    columns({column(VARCHAR2, KEY), column()});
    tab_.tabn = 2;
    sample::TableBlock blk = block(2, 4);
    blk.add(key_row({text("k")}), 0);
    for (int t = 1; t <= 3; t++)
        blk.add(member(H | F | L, {text(std::to_string(t))}, 0), t);
    store(blk);
    EXPECT_EQ(rows_of_segment(), dump_bytes().row({text("k"), text("2")}).raw);
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
        EXPECT_EQ(got.rows, dump_bytes().row({text("k"), text("b")}).raw);
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
    EXPECT_EQ(got.rows, dump_bytes().row({text("k"), text("b")}).raw);
    EXPECT_EQ(nrow_, 1U);
}

// Only H, F and L of the key row matter.
TEST_F(UnloadCluster, OtherFlagsOfTheKeyRowAreNotLookedAt) {
    columns({column(VARCHAR2, KEY), column()});
    EXPECT_EQ(
        cluster_rows({key_row({text("k")}, H | F | L | D | P | N)}, {member(H | F | L, {text("a")}, 0)}),
        dump_bytes().row({text("k"), text("a")}).raw);
}

// Every piece of a chained row reads the key data from its start.
TEST_F(UnloadCluster, KeyDataIsReadFromItsStartInEveryPiece) {
    columns({column(VARCHAR2, KEY), column(), column(VARCHAR2, KEY), column()});
    store_cluster(AWAY, {key_row({text("x1"), text("x2")})}, {piece(L, {text("b")})});
    EXPECT_EQ(cluster_rows({key_row({text("k1"), text("k2")})}, {member(H | F, {text("a")}, 0, at(AWAY))}),
              dump_bytes().row({text("k1"), text("a"), text("k1"), text("b")}).raw);
}

// A value that is the first of its row and cut takes position 0, even when a key column stands there: no key
// is written.
TEST_F(UnloadCluster, CutFirstValueTakesThePlaceOfTheKey) {
    columns({column(VARCHAR2, KEY), column(), column()});
    store_cluster(AWAY, {key_row({text("x")})}, {piece(P | L, {text("a2"), text("b")})});
    EXPECT_EQ(cluster_rows({key_row({text("k")})}, {member(H | F | N, {text("a1")}, 0, at(AWAY))}),
              dump_bytes().row({text("a1a2"), text("b")}).raw);
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
    EXPECT_EQ(rows_of_segment(), dump_bytes().row({text("k1"), text("a")}).row({text("k0"), text("b")}).raw);
    EXPECT_EQ(nrow_, 2U);
}

TEST_F(UnloadMigratedMember, RowUnderAKeyThatIsNotWholeIsEndedAndCounted) {
    store_migrated(1, H | L);
    const Outcome got = unload();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.out, KEY_MESSAGE);
    EXPECT_EQ(got.err, "");
    EXPECT_EQ(got.rows, dump_bytes().row_end().row({text("k0"), text("b")}).raw);
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
              dump_bytes().row({text("k"), text("a"), text("b")}).raw);
}

} // namespace
