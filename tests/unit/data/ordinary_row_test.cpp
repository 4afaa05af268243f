// Rows that fill the cache to its end stay inside it.
#include <cstring>

#include "segment_fixture.h"

using namespace unload_unit;

namespace {

class OrdinaryRows : public SegmentTest {
protected:
    // What the work buffer holds behind the cache while a segment is walked: the header block.
    static uint8_t behind_cache() { return g_ctx.wrk[CACHE_SIZE]; }
};

// A stub that leads nowhere takes no values, and so makes no room in the cache; its end mark needs room all
// the same. Here as many of them follow each other as take more than the block of room that the rows before
// have left.
TEST_F(OrdinaryRows, RowsWithoutValuesStayInsideTheCache) {
    constexpr uint32_t BSZ = 32768, VALUE = 30000, ENTRY = VALUE + 4;
    constexpr uint32_t STUBS_IN_BLOCK = 2500, STUB_BLOCKS = 8;
    static_assert(2 * STUBS_IN_BLOCK * STUB_BLOCKS > BSZ);
    use_block_size(BSZ);
    columns(plain_columns(1));
    const auto rows = static_cast<uint32_t>((CACHE_SIZE - list_size() - BSZ) / ENTRY + 1);
    uint32_t number = 2;
    for (uint32_t i = 0; i < rows; i++)
        store_pieces(number++, {piece(H | F | L, {pattern(VALUE)})});
    for (uint32_t i = 0; i < STUB_BLOCKS; i++)
        store_pieces(number++, std::vector<Bytes>(STUBS_IN_BLOCK, piece(H, {}, RowAddress{})));

    const Outcome got = unload(number);
    EXPECT_EQ(got.result, 0) << got.err;
    EXPECT_EQ(nrow_, rows + STUBS_IN_BLOCK * STUB_BLOCKS);
    EXPECT_EQ(got.rows.size(), rows * ENTRY + 2 * STUBS_IN_BLOCK * STUB_BLOCKS);
    EXPECT_EQ(behind_cache(), sample::BLOCK_ASSM_SEGMENT_HEADER);
}

// The longest row that a block can be made to give: 254 empty values and one that takes the rest of the
// block, and in that same rest more empty values of the cluster key. The rows before leave the cache a little
// less room than it takes.
TEST_F(OrdinaryRows, LongestRowOfABlockStaysInsideTheCache) {
    constexpr uint32_t BSZ = 8192, DIRECTORY = 44 + 14 + 8, PIECE = DIRECTORY + 4,
                       KEY_ROW = PIECE + 4 + 254 + 3;
    constexpr uint32_t KEYS = BSZ - KEY_ROW - KEY_DATA, LAST = BSZ - KEY_ROW;
    constexpr size_t LONGEST = 2 * 254 + 2 * KEYS + 2 + LAST + 2;
    use_block_size(BSZ);
    tab_.tabn = 1;
    std::vector<COL> cols = plain_columns(254);
    cols.resize(254 + KEYS, column(VARCHAR2, COL_CLUSTER_KEY));
    cols.push_back(column());
    columns(cols);

    Bytes longest(BSZ);
    longest[0] = BLOCK_TABLE_DATA;
    longest[44 + 1] = 2;                          // tables
    sample::store_le16(&longest[44 + 4], 0xFFFF); // no free entries
    sample::store_le16(&longest[44 + 14 + 2], 1); // the key row is entry 0,
    sample::store_le16(&longest[44 + 14 + 4], 1); // the row entry 1
    sample::store_le16(&longest[44 + 14 + 6], 1);
    sample::store_le16(&longest[DIRECTORY], KEY_ROW - 44);
    sample::store_le16(&longest[DIRECTORY + 2], PIECE - 44);
    longest[PIECE] = H | F | L;
    longest[PIECE + 2] = 255;
    longest[KEY_ROW - 3] = 0xFE;
    sample::store_le16(&longest[KEY_ROW - 2], LAST);
    longest[KEY_ROW] = H | F | L;

    const size_t room = LONGEST - 8;
    size_t left = CACHE_SIZE - list_size() - room;
    uint32_t number = 2;
    const auto fill = [&](size_t entry) {
        PieceHead head;
        head.key_index = 0;
        sample::TableBlock blk = block(number++, 2);
        blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
        blk.add(sample::encode_piece(head, Row{pattern(entry - 4)}), 1);
        store(blk);
    };
    for (; left > 14000; left -= 7000)
        fill(7000);
    fill(left - left / 2);
    fill(left / 2);
    const uint32_t fillers = number - 2;
    store(at(number).rdba, longest);

    const Outcome got = unload(number);
    EXPECT_EQ(got.result, 0) << got.err;
    EXPECT_EQ(nrow_, fillers + 1);
    EXPECT_EQ(got.rows.size(), CACHE_SIZE - list_size() - room + LONGEST);
    EXPECT_EQ(behind_cache(), sample::BLOCK_ASSM_SEGMENT_HEADER);
}

} // namespace
