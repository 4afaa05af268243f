#include <stdexcept>

#include <gtest/gtest.h>

#include "hex.h"
#include "reader.h"

using namespace sample;
using namespace sample_test;

namespace {

DatafileInfo file_info(const TempDir &dir, uint32_t rfn, uint32_t fno) {
    DatafileInfo info;
    info.path = dir.path() / std::string("f").append(std::to_string(fno));
    info.fno = fno;
    info.rfn = rfn;
    info.tsn = 5;
    info.block_size = 2048;
    return info;
}

TEST(ExtentMap, LiesWhereTheBlockTypeSays) {
    const Extent extents[] = {{0x01000009, 8}, {0x01000011, 16}};
    const struct {
        uint8_t type;
        size_t offset;
    } cases[] = {{0x10, 92}, {0x23, 264}, {0x12, 20}, {0x24, 20}};
    for (auto [type, offset] : cases) {
        CacheHeader header;
        header.type = type;
        Bytes block = encode_extent_map(2048, header, 0xABCD, extents, 0x01000099);
        EXPECT_EQ(hex(block, offset, 32), "02 00 00 00 99 00 00 01 CD AB 00 00 00 00 00 00 "
                                          "09 00 00 01 08 00 00 00 11 00 00 01 10 00 00 00");
        EXPECT_EQ(block[2045], type) << "tail";
        EXPECT_EQ(fold_words(block), 0);
    }
}

TEST(ExtentMap, CapacityIsWhatFits) {
    EXPECT_EQ(extent_map_capacity(8192, BLOCK_SEGMENT_HEADER), (8192U - 92 - 16 - 4) / 8);
    EXPECT_EQ(extent_map_capacity(2048, BLOCK_ASSM_SEGMENT_HEADER), (2048U - 264 - 16 - 4) / 8);
    CacheHeader header;
    header.type = BLOCK_EXTENT_MAP;
    std::vector<Extent> many(extent_map_capacity(2048, BLOCK_EXTENT_MAP) + 1, Extent{9, 8});
    EXPECT_THROW(encode_extent_map(2048, header, 1, many, 0), std::length_error);
}

TEST(Tablespace, FilesTakeTurns) {
    TempDir dir;
    Tablespace ts({file_info(dir, 4, 4), file_info(dir, 5, 5)});
    EXPECT_EQ(ts.allocate_extent(8), make_rdba(4, 9));
    EXPECT_EQ(ts.allocate_extent(8), make_rdba(5, 9));
    EXPECT_EQ(ts.allocate_extent(8), make_rdba(4, 17));
    EXPECT_THROW(ts.write_block(make_rdba(6, 9), Bytes(2048)), std::out_of_range);
}

TEST(Segment, FreelistHeaderIsTheFirstBlock) {
    TempDir dir;
    Tablespace ts({file_info(dir, 4, 4)});
    SegmentOptions o;
    o.kind = SegmentKind::freelist;
    Segment segment(ts, o);
    EXPECT_EQ(segment.header(), make_rdba(4, 9));
    EXPECT_EQ(segment.next_block(), make_rdba(4, 10));
    EXPECT_FALSE(segment.block_options(0, 1).extra.has_value());
}

TEST(Segment, BitmapHeaderFollowsItsBitmaps) {
    TempDir dir;
    Tablespace ts({file_info(dir, 4, 4)});
    Segment segment(ts, {});
    EXPECT_EQ(segment.header_file(), 4U);
    EXPECT_EQ(segment.header_block(), 11U);
    EXPECT_TRUE(segment.block_options(0, 1).extra.has_value());
    segment.close();
    ts.close(0);
    Reader reader({dir.path() / "f4"});
    EXPECT_EQ(reader.block(5, make_rdba(4, 9))[0], 0x20);
    EXPECT_EQ(reader.block(5, make_rdba(4, 10))[0], 0x21);
    EXPECT_EQ(reader.block(5, make_rdba(4, 11))[0], 0x23);
}

TEST(Segment, BigfileHeaderIsInFile1024) {
    TempDir dir;
    Tablespace ts({file_info(dir, 1024, 4)});
    SegmentOptions o;
    o.kind = SegmentKind::freelist;
    Segment segment(ts, o);
    EXPECT_EQ(segment.header(), 9U);
    EXPECT_EQ(segment.header_file(), 1024U);
    EXPECT_EQ(segment.header_block(), 9U);
}

TEST(Segment, LanesTakeExtentsOfTheirOwn) {
    TempDir dir;
    Tablespace ts({file_info(dir, 4, 4), file_info(dir, 5, 5)});
    Segment segment(ts, {});
    EXPECT_EQ(segment.next_block(0) >> 22, 4U);
    EXPECT_EQ(segment.next_block(1) >> 22, 5U);
    EXPECT_EQ(segment.next_block(0) >> 22, 4U);
    EXPECT_EQ(segment.extents().size(), 2U);
}

TEST(Segment, MapBlocksAreChainedAndCoverAllExtents) {
    for (SegmentKind kind : {SegmentKind::freelist, SegmentKind::bitmap}) {
        TempDir dir;
        Tablespace ts({file_info(dir, 4, 4)});
        SegmentOptions o;
        o.kind = kind;
        o.extent_blocks = 4;
        o.map_entries = 2;
        Segment segment(ts, o);
        while (segment.extents().size() < 9)
            segment.next_block();
        segment.close();
        ts.close(0);
        Reader reader({dir.path() / "f4"});
        int maps = 0;
        auto blocks = reader.segment_blocks(5, segment.header(), &maps);
        EXPECT_EQ(blocks.size(), segment.extents().size() * 4);
        EXPECT_EQ(maps, static_cast<int>((segment.extents().size() + 1) / 2));
        EXPECT_EQ(reader.bad_blocks(), 0);
    }
}

TEST(Segment, RefusesTinyExtents) {
    TempDir dir;
    Tablespace ts({file_info(dir, 4, 4)});
    SegmentOptions o;
    o.extent_blocks = 3;
    EXPECT_THROW(Segment(ts, o), std::invalid_argument);
}

TEST(Segment, NewExtentsStillHoldWhatWasThere) {
    TempDir dir;
    DatafileInfo info;
    info.path = dir.path() / "f";
    info.block_size = 2048;
    Tablespace space({info});
    SegmentOptions options;
    options.objd = 7;
    options.old_objd = 5;
    options.block_flags = CACHE_FLAG_CHECKED | CACHE_FLAG_ENCRYPTED;
    options.data_flags = DATA_FLAG_COMPRESSED;
    RowWriter writer(std::make_unique<Segment>(space, options), 1);
    RowAddress at = writer.insert(Row{number(1)});
    writer.close();
    space.close(0);
    Reader reader({info.path});
    EXPECT_EQ(reader.bad_blocks(), 0);
    std::map<uint32_t, int> blocks; // by data object number
    for (uint32_t rdba : reader.segment_blocks(0, writer.segment().header())) {
        Bytes block = reader.block(0, rdba);
        if (block[0] == BLOCK_TABLE)
            blocks[fetch_le32(&block[24])]++;
    }
    EXPECT_EQ(blocks, (std::map<uint32_t, int>{{5, 2}, {7, 1}})) << "the others are bitmaps, map, or empty";
    Bytes block = reader.block(0, at.rdba);
    EXPECT_EQ(block[15], 0x14);
    EXPECT_EQ(block[44 + 24 * 2 + 8], 0x40);
}

} // namespace
