#include <stdexcept>

#include <gtest/gtest.h>

#include "hex.h"
#include "sample/block.h"

using namespace sample;

namespace {

uint16_t word(const Bytes &block, size_t offset) {
    return fetch_le16(&block[offset]);
}

TableBlockOptions plain_options(size_t block_size = 8192) {
    TableBlockOptions o;
    o.block_size = block_size;
    o.extra.reset();
    return o;
}

TEST(FormatByte, FollowsTheBlockSize) {
    EXPECT_EQ(format_byte(2048), 0x62);
    EXPECT_EQ(format_byte(4096), 0x82);
    EXPECT_EQ(format_byte(8192), 0xA2);
    EXPECT_EQ(format_byte(16384), 0xC2);
    EXPECT_EQ(format_byte(32768), 0xE2);
}

TEST(CheckValue, MakesTheFoldZero) {
    CacheHeader header;
    header.rdba = 0x01400010;
    Bytes block = empty_block(2048, header);
    block[100] = 0x5A;
    EXPECT_NE(fold_words(block), 0);
    seal_block(block);
    EXPECT_EQ(fold_words(block), 0);
    EXPECT_NE(word(block, CHECK_VALUE_OFFSET), 0);
}

TEST(PatchBlock, ResealsOnlyWhenAsked) {
    Bytes block = empty_block(2048, {});
    seal_block(block);
    patch_block(block, 200, Bytes{0x12, 0x34}, false);
    EXPECT_EQ(hex(block, 200, 2), "12 34");
    EXPECT_NE(fold_words(block), 0);
    patch_block(block, 202, Bytes{0x56}, true);
    EXPECT_EQ(fold_words(block), 0);
    EXPECT_THROW(patch_block(block, 2047, Bytes{1, 2}), std::out_of_range);
}

// A block of three rows as a 10g database wrote it: file 5 block 16, two ITL entries, header flags 0x32 with
// an empty extra area, so that the data header is at 100.
TEST(TableBlock, HeadersAreThoseOfA10gBlock) {
    TableBlockOptions o;
    o.cache.rdba = make_rdba(5, 16);
    o.cache.scn_base = 0x001732D3;
    o.objd = 0xD2B8;
    o.scn_base = 0x001732D3;
    o.free_list_next = 0x01400009;
    o.itl = {{6, 0x20, 0x271, 0x00800205, 0x257, 0x13, 0x8000, 0, 0x001732C4},
             {8, 6, 0x279, 0x00800351, 0x278, 0x15, 1, 0, 0}};
    TableBlock b(o);
    PieceHead head;
    b.add(encode_piece(head, Row{number(1), text("a")}));
    b.add(encode_piece(head, Row{number(2), text("b")}));
    b.add(encode_piece(head, Row{number(3), text("c")}));
    Bytes block = b.finish();
    EXPECT_EQ(hex(block, 0, 16), "06 A2 00 00 10 00 40 01 D3 32 17 00 00 00 01 04");
    EXPECT_EQ(hex(block, 18, 26),
              "00 00 01 00 00 00 B8 D2 00 00 D3 32 17 00 00 00 00 00 02 00 32 00 09 00 40 01");
    EXPECT_EQ(hex(block, 44, 24), "06 00 20 00 71 02 00 00 05 02 80 00 57 02 13 00 00 80 00 00 C4 32 17 00");
    EXPECT_EQ(hex(block, 68, 24), "08 00 06 00 79 02 00 00 51 03 80 00 78 02 15 00 01 00 00 00 00 00 00 00");
    EXPECT_EQ(hex(block, 92, 8), "00 00 00 00 00 00 00 00");
    EXPECT_EQ(data_header_offset(o), 100U);
    EXPECT_EQ(hex(block, 100, 8), "00 01 03 00 FF FF 18 00");
    EXPECT_EQ(hex(block, 114, 4), "00 00 03 00");
    EXPECT_EQ(hex(block, 100 + word(block, 118), 8), "2C 00 02 02 C1 02 01 61");
    EXPECT_EQ(hex(block, 100 + word(block, 120), 8), "2C 00 02 02 C1 03 01 62");
    EXPECT_EQ(hex(block, 100 + word(block, 122), 8), "2C 00 02 02 C1 04 01 63");
    EXPECT_EQ(hex(block, 8188, 4), "01 06 D3 32");
    EXPECT_EQ(fold_words(block), 0);
}

// A block of one row of six text columns as a 19c database wrote it: file 12 block 3126.
TEST(TableBlock, DataHeaderAndRowAreThoseOfA19cBlock) {
    TableBlockOptions o;
    o.cache.rdba = make_rdba(12, 3126);
    o.cache.scn_base = 0x0080E5E2;
    o.cache.flags = 0x06;
    TableBlock b(o);
    PieceHead head;
    head.lock = 1;
    Value a10 = padded("a", 10);
    b.add(encode_piece(head, Row{a10, a10, a10, text("a"), text("a "), text("a  ")}));
    Bytes block = b.finish();
    EXPECT_EQ(hex(block, 0, 16), "06 A2 00 00 36 0C 00 03 E2 E5 80 00 00 00 01 06");
    EXPECT_EQ(hex(block, 100, 20), "00 01 01 00 FF FF 14 00 6B 1F 57 1F 57 1F 00 00 01 00 6B 1F");
    EXPECT_EQ(hex(block, 100 + 0x1F6B, 4), "2C 01 06 0A");
    EXPECT_EQ(hex(block, 8176, 16), "20 20 20 01 61 02 61 20 03 61 20 20 01 06 E2 E5");
}

TEST(TableBlock, ItlCountHighByteIsJunk) {
    TableBlockOptions o = plain_options();
    o.itl.resize(3);
    o.itl_count_high = 0x01;
    Bytes block = TableBlock(o).finish();
    EXPECT_EQ(hex(block, 36, 3), "03 01 02");
    EXPECT_EQ(data_header_offset(o), 44U + 72U);
}

TEST(TableBlock, ExtraAreaMovesTheDataHeader) {
    TableBlockOptions o = plain_options();
    o.extra = ExtraArea{7, 0xBEEF, Bytes(16, 0xEE)};
    Bytes block = TableBlock(o).finish();
    EXPECT_EQ(data_header_offset(o), 92U + 8 + 16);
    EXPECT_EQ(hex(block, 92, 10), "07 00 00 00 10 00 EF BE EE EE");
    EXPECT_EQ(block[38] & 0x20, 0x20);
}

TEST(TableBlock, FreeSlotsAreChainedInDirectoryOrder) {
    TableBlock b(plain_options());
    EXPECT_EQ(b.add(Bytes{1, 1, 1}), 0);
    EXPECT_EQ(b.add_free(), 1);
    EXPECT_EQ(b.add(Bytes{2, 2, 2}), 2);
    EXPECT_EQ(b.add_free(), 3);
    Bytes block = b.finish();
    EXPECT_EQ(word(block, 92 + 4), 1);
    EXPECT_EQ(word(block, 92 + 18 + 2), 3);
    EXPECT_EQ(word(block, 92 + 18 + 6), 0xFFFF);
}

TEST(TableBlock, TablesOfAClusterBlock) {
    TableBlockOptions o = plain_options();
    o.tables = 5;
    TableBlock b(o);
    b.add(Bytes{0xAC}, 0);
    EXPECT_EQ(b.add(Bytes{0x11}, 3), 0);
    EXPECT_EQ(b.add(Bytes{0x22}, 1), 0);
    EXPECT_EQ(b.add(Bytes{0x33}, 3), 1);
    Bytes block = b.finish();
    EXPECT_EQ(block[92 + 1], 4) << "table 4 has no rows and no entry";
    EXPECT_EQ(hex(block, 92 + 14, 16), "00 00 01 00 01 00 01 00 02 00 00 00 02 00 02 00");
    auto piece = [&](size_t index) { return block[92 + word(block, 92 + 14 + 16 + 2 * index)]; };
    EXPECT_EQ(piece(0), 0xAC);
    EXPECT_EQ(piece(1), 0x22);
    EXPECT_EQ(piece(2), 0x11);
    EXPECT_EQ(piece(3), 0x33);
    EXPECT_THROW(b.add(Bytes{1}, 5), std::length_error);
}

TEST(TableBlock, RawOffsetsAreWrittenAsGiven) {
    TableBlock b(plain_options());
    b.add_raw_offset(-5);
    EXPECT_EQ(word(b.finish(), 92 + 18), 0xFFFB);
}

TEST(TableBlock, HoldsExactlyItsLargestPiece) {
    TableBlockOptions o = plain_options(2048);
    size_t largest = TableBlock::max_piece(o);
    EXPECT_EQ(largest, 2048U - 92 - 18 - 4 - 2);
    TableBlock full(o);
    full.add(Bytes(largest, 0xAA));
    Bytes block = full.finish();
    EXPECT_EQ(word(block, 92 + 10), 0) << "no space left";
    EXPECT_EQ(hex(block, 2043, 3), "AA 01 06");
    EXPECT_THROW(TableBlock(o).add(Bytes(largest + 1)), std::length_error);
}

TEST(TableBlock, ReserveStaysFreeUnlessAllowed) {
    TableBlockOptions o = plain_options(2048);
    o.reserve = 1000;
    TableBlock b(o);
    EXPECT_TRUE(b.fits(TableBlock::max_piece(o) - 1000, 1, false));
    EXPECT_FALSE(b.fits(TableBlock::max_piece(o) - 999, 1, false));
    EXPECT_TRUE(b.fits(TableBlock::max_piece(o), 1, true));
}

TEST(TableBlock, ReplaceKeepsTheSlot) {
    TableBlock b(plain_options());
    uint16_t slot = b.add(Bytes{1, 2, 3});
    b.replace(slot, Bytes{4, 5});
    EXPECT_EQ(b.piece(slot), (Bytes{4, 5}));
    EXPECT_THROW(b.replace(slot, Bytes{1, 2, 3}), std::length_error);
}

} // namespace
