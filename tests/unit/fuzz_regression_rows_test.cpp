// Rows that once led the unloader out of one of its buffers.
#include "unload_segment_fixture.h"

#include <cstring>

using namespace unload_unit;

namespace {

class FuzzRegressionRows : public SegmentTest {
protected:
    // What the work buffer holds behind the cache while a segment is walked: the header block.
    static uint8_t behind_cache() { return g_ctx.wrk[CACHE_SIZE]; }
};

// A stub that leads nowhere takes no values, and so makes no room in the cache; its end mark needs room all
// the same. Here as many of them follow each other as take more than the block of room that the rows before
// have left.
TEST_F(FuzzRegressionRows, RowsWithoutValuesStayInsideTheCache) {
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

// A row that begins in the middle of a LOB value finds whatever an earlier command left in the locator
// buffer: its own bytes are the first ones then, and the table ends as with any LOB value.
TEST_F(FuzzRegressionRows, LocatorThatWasNeverBegunIsNotContinued) {
    columns({column(TYPE_CLOB)});
    tab_.flag = TAB_HAS_LOB;
    memset(g_ctx.wrk, 0xFF, WORK_SIZE);
    const Outcome got = unload_pieces({piece(H | F | P, {text("locator")}, RowAddress{})});
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string("LOB type is unsupported in this edition.\n") + SEGMENT_FAILED);
    EXPECT_EQ(nrow_, 0U);
}

} // namespace
