// The 4 MiB cache: when it is flushed, and what that does to rows that are under way.
#include <algorithm>

#include "segment_fixture.h"

using namespace unload_unit;

namespace {

constexpr size_t CACHE = CACHE_SIZE;

class UnloadCache : public SegmentTest {
protected:
    static constexpr uint32_t AWAY = 4000;
    uint32_t next_block_ = 2;
    dump_builder expected_; // the rows so far

    // Adds the block with these pieces behind those there are.
    void add_block(const std::vector<Bytes> &pieces) { store_pieces(next_block_++, pieces); }

    void add_filler(size_t entry_size) {
        const Row row{Bytes(entry_size - 4, 0x55)};
        expected_.row(row);
        add_block({piece(H | F | L, row)});
    }

    // Fills the cache with whole rows of one value to exactly `fill` bytes, column list included.
    void fill_cache_to(size_t fill, size_t longest_row) {
        size_t left = fill - list_size();
        for (; left >= 3 * longest_row; left -= longest_row)
            add_filler(longest_row);
        add_filler(left / 3);
        add_filler(left / 3);
        add_filler(left - 2 * (left / 3));
    }

    Outcome unload_all() { return unload(next_block_ - 1); }

    // A table of one value and one LOB column whose last row ends the unload: what is in the file then was
    // flushed before.
    void refuse_last_row(uint8_t flags, std::optional<RowAddress> next) {
        add_block({piece(flags, {{}, text("locator")}, next)});
    }
};

TEST_F(UnloadCache, WholeRowThatLeavesOneBlockOfRoomDoesNotFlush) {
    use_block_size(32768);
    columns({column(), column(TYPE_CLOB)});
    fill_cache_to(CACHE - 32768, 30000);
    refuse_last_row(H | F | L, {});
    const Outcome got = unload_all();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.file.size(), 0U);
}

TEST_F(UnloadCache, WholeRowFlushesWhenLessThanOneBlockIsLeft) {
    use_block_size(32768);
    columns({column(), column(TYPE_CLOB)});
    fill_cache_to(CACHE - 32768 + 1, 30000);
    refuse_last_row(H | F | L, {});
    const Outcome got = unload_all();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.file.size(), CACHE - 32768 + 1);
}

TEST_F(UnloadCache, PieceThatLeavesOneBlockAnd4000BytesDoesNotFlush) {
    use_block_size(32768);
    columns({column(), column(TYPE_CLOB)});
    fill_cache_to(CACHE - 32768 - 4000, 30000);
    refuse_last_row(H | F, RowAddress{});
    const Outcome got = unload_all();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.file.size(), 0U);
}

TEST_F(UnloadCache, PieceFlushesWhenLessThanOneBlockAnd4000BytesAreLeft) {
    use_block_size(32768);
    columns({column(), column(TYPE_CLOB)});
    fill_cache_to(CACHE - 32768 - 4000 + 1, 30000);
    refuse_last_row(H | F, RowAddress{});
    const Outcome got = unload_all();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.file.size(), CACHE - 32768 - 4000 + 1);
}

// The LONG block is given 32774 bytes of room.
TEST_F(UnloadCache, LongBlockFlushesWhenItsLongestFormDoesNotFit) {
    for (size_t over : {0U, 1U}) {
        next_block_ = 2;
        columns({column(), column(TYPE_LONG), column(TYPE_CLOB)});
        constexpr size_t long_row = 6; // NULL, LONG mark, row end
        fill_cache_to(CACHE - 32774 - long_row + over, 1800);
        add_block({piece(H | F | L, {{}, text("long")})});
        refuse_last_row(H | F | L, {});
        store_pieces(next_block_ - 1, {piece(H | F | L, {{}, {}, text("locator")})});
        const Outcome got = unload_all();
        EXPECT_EQ(got.result, -1);
        EXPECT_EQ(got.file.size(), over == 0 ? 0 : CACHE - 32774 + 1);
    }
}

TEST_F(UnloadCache, TableOfSeveralCachesIsWhole) {
    use_block_size(32768);
    columns(plain_columns(1));
    fill_cache_to(2 * CACHE + 12345, 32000);
    const Outcome got = unload_all();
    EXPECT_EQ(got.result, 0);
    EXPECT_TRUE(got.rows == expected_.raw);
    EXPECT_EQ(nrow_, next_block_ - 2);
}

// The second piece flushes while the value's length is still open: its two bytes in the file stay zero, all
// other bytes of the row stand as ever, and the length disturbs nothing behind.
TEST_F(UnloadCache, PendingLengthThatWasFlushedStaysZeroInTheFile) {
    use_block_size(32768);
    columns(plain_columns(2));
    fill_cache_to(CACHE - 32768 - 4000, 30000);
    store_pieces(AWAY, {piece(P | L, {text("b2")})});
    add_block(
        {piece(H | F | N, {text("a"), text("b1")}, at(AWAY)), piece(H | F | L, {text("c"), text("d")})});
    expected_.value("a").u16(0).bytes_of(text("b1b2")).row_end().row({text("c"), text("d")});
    const Outcome got = unload_all();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.err, "");
    EXPECT_TRUE(got.rows == expected_.raw);
}

// The length lands at its old place in the cache; rows that fill the cache again overwrite it.
TEST_F(UnloadCache, PendingLengthThatWasFlushedIsOverwrittenByLaterRows) {
    use_block_size(32768);
    columns(plain_columns(2));
    fill_cache_to(CACHE - 32768 - 4000, 30000);
    store_pieces(AWAY, {piece(P | L, {text("b2")})});
    add_block({piece(H | F | N, {text("a"), text("b1")}, at(AWAY))});
    expected_.value("a").u16(0).bytes_of(text("b1b2")).row_end();
    for (int i = 0; i < 200; i++)
        add_filler(30000);
    const Outcome got = unload_all();
    EXPECT_EQ(got.result, 0);
    EXPECT_TRUE(got.rows == expected_.raw);
}

TEST_F(UnloadCache, PieceThatDoesNotFlushGetsItsLength) {
    use_block_size(32768);
    columns(plain_columns(2));
    fill_cache_to(CACHE - 32768 - 4000 - 9, 30000);
    store_pieces(AWAY, {piece(P | L, {text("b2")})});
    add_block({piece(H | F | N, {text("a"), text("b1")}, at(AWAY))});
    expected_.row({text("a"), text("b1b2")});
    const Outcome got = unload_all();
    EXPECT_TRUE(got.rows == expected_.raw);
}

// A piece behind the key columns needs room for its own values alone, however long the key is and whatever
// stands behind them in the block.
TEST_F(UnloadCache, PieceBehindALongClusterKeyDoesNotFlushWhileOneBlockAnd4000BytesAreLeft) {
    constexpr uint32_t BSZ = 16384;
    constexpr size_t KEY_VALUE = 3000, BEFORE_PIECE = 2 * (KEY_VALUE + 2) + 2 + 1 + 2 + 5;
    use_block_size(BSZ);
    columns({column(VARCHAR2, COL_CLUSTER_KEY), column(VARCHAR2, COL_CLUSTER_KEY), column(), column()});
    tab_.tabn = 1;
    PieceHead head;
    head.key_index = 0;
    const auto add_row = [&](const Row &key, const Bytes &stored) {
        sample::TableBlock blk = block(next_block_++, 2);
        blk.add(sample::encode_key_piece({}, key), 0);
        blk.add(stored, 1);
        store(blk);
    };
    size_t left = CACHE - BSZ - 4000 - BEFORE_PIECE - list_size();
    while (left > 0) {
        constexpr size_t MARKS = 8; // two NULL keys, the length of the value, the end of the row
        const size_t size = left > 2 * 15000 ? 15000 : left > 15000 ? left / 2 : left;
        const Bytes value(size - MARKS, 0x55);
        add_row({{}, {}}, sample::encode_piece(head, Row{value}));
        expected_.row({{}, {}, value});
        left -= size;
    }
    sample::TableBlock away = block(AWAY, 2);
    away.add(piece(H | F | L, {Bytes(14000, 0x55)}), 1);
    away.add(piece(P | L, {text("BBB")}), 1);
    store(away);
    const Bytes key(KEY_VALUE, 'k');
    head.flags = H | F | N;
    head.next = at(AWAY, 1);
    add_row({key, key}, sample::encode_piece(head, Row{text("Z"), text("AAAAA")}));
    expected_.row({key, key, text("Z"), text("AAAAABBB")});
    const Outcome got = unload_all();
    EXPECT_EQ(got.err, "");
    EXPECT_TRUE(got.rows == expected_.raw);
}

// With one-byte lengths an entry is a byte longer than the stored value, so a block full of short values is
// longer as a row than the room that a flush guarantees.
class UnloadLongerRow : public UnloadCache {
protected:
    // 255 values that fill a block of 2048 bytes.
    static Row full_row() {
        Row row;
        for (unsigned i = 0; i < 255; i++)
            row.push_back(pattern(i % 2 == 0 ? 7 : 6, i));
        return row;
    }

    // A segment whose map would be overwritten by a row that is written past the cache: the extents behind
    // the row are found only when the map is whole.
    Bytes rows_behind(const Row &last) {
        const uint32_t first = next_block_;
        add_block({piece(H | F | L, {text("behind")})});
        expected_.row(last).row({text("behind")});
        store_map(at(HEADER_BLOCK).rdba, sample::BLOCK_SEGMENT_HEADER,
                  {{at(2).rdba, first - 2}, {at(first).rdba, 1}}, 0);
        return rows_of_segment();
    }
};

TEST_F(UnloadLongerRow, RowOf255ShortValuesDoesNotLeaveTheCache) {
    columns(plain_columns(255));
    fill_cache_to(CACHE - 2048, 1800);
    add_block({piece(H | F | L, full_row())});
    EXPECT_TRUE(rows_behind(full_row()) == expected_.raw);
}

TEST_F(UnloadLongerRow, RowOf255NullsDoesNotLeaveTheCache) {
    columns(plain_columns(255));
    fill_cache_to(CACHE - 2048, 1800);
    add_block({piece(H | F | L, Row(255))});
    EXPECT_TRUE(rows_behind(Row(255)) == expected_.raw);
}

TEST_F(UnloadLongerRow, RowOf255EmptyValuesDoesNotLeaveTheCache) {
    columns(plain_columns(255));
    fill_cache_to(CACHE - 2048, 1800);
    add_block({piece(H | F | L, Row(255, Bytes{}))});
    EXPECT_TRUE(rows_behind(Row(255, Bytes{})) == expected_.raw);
}

// The key values count as well: here nearly the whole row comes from the key.
TEST_F(UnloadLongerRow, KeyOf255ShortValuesDoesNotLeaveTheCache) {
    std::vector<COL> cols(255, column(VARCHAR2, 0x10000));
    cols.push_back(column());
    columns(cols);
    tab_.tabn = 1;
    Row key, row;
    for (unsigned i = 0; i < 255; i++)
        key.push_back(pattern(i % 5 < 3 ? 7 : 6, i));
    row = key;
    row.push_back(text("a"));
    const size_t row_size = dump_builder().row(row).raw.size();
    ASSERT_GT(row_size, 2048U);

    PieceHead head;
    head.key_index = 0;
    const auto add_rows = [&](const Row &stored, size_t count, const Row &expected) {
        sample::TableBlockOptions options; // as much room for rows as a block can have
        options.block_size = 2048;
        options.cache.rdba = at(next_block_++).rdba;
        options.itl.clear();
        options.extra.reset();
        options.tables = 2;
        sample::TableBlock blk(options);
        blk.add(sample::encode_key_piece({}, stored.empty() ? Row{text("k")} : key), 0);
        for (size_t i = 0; i < count; i++) {
            blk.add(sample::encode_piece(head, stored), 1);
            expected_.row(expected);
        }
        store(blk);
    };
    // Rows without values take two bytes each and bring the cache to exactly one block of room.
    const size_t fill = CACHE - 2048 - list_size();
    for (size_t left = fill % row_size / 2; left > 0; left -= std::min<size_t>(left, 200))
        add_rows({}, std::min<size_t>(left, 200), {});
    for (size_t i = 0; i < fill / row_size + 1; i++)
        add_rows({text("a")}, 1, row);
    const uint32_t last = next_block_;
    add_rows({text("a")}, 1, row);
    store_map(at(HEADER_BLOCK).rdba, sample::BLOCK_SEGMENT_HEADER,
              {{at(2).rdba, last - 2}, {at(last).rdba, 1}}, 0);
    EXPECT_TRUE(rows_of_segment() == expected_.raw);
}

TEST_F(UnloadCache, FullDiskEndsTheTable) {
    columns(plain_columns(1));
    dump_path_ = "/dev/full";
    const Outcome got = unload_pieces({piece(H | F | L, {text("a")})});
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string("write cache data error: No space left on device\n") + SEGMENT_FAILED);
    EXPECT_EQ(nrow_, 1U);
}

TEST_F(UnloadCache, FullDiskInTheMiddleOfATableEndsItThere) {
    use_block_size(32768);
    columns(plain_columns(1));
    fill_cache_to(CACHE, 30000);
    dump_path_ = "/dev/full";
    const Outcome got = unload_all();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string("write cache data error: No space left on device\n") + SEGMENT_FAILED);
    EXPECT_LT(nrow_, next_block_ - 2);
}

} // namespace
