// The places of extent maps, and what of them lies in their block.
#include <cstring>
#include <vector>

#include <gtest/gtest.h>

#include "format/extent_map.h"

namespace {

std::vector<uint8_t> map_block(uint8_t type, uint32_t at, std::vector<uint32_t> words) {
    std::vector<uint8_t> block(512);
    block[0] = type;
    for (uint32_t word : words) {
        memcpy(&block[at], &word, sizeof word);
        at += 4;
    }
    return block;
}

TEST(ExtentMapPlace, DependsOnTheBlockType) {
    struct {
        uint8_t type;
        uint32_t at;
    } cases[] = {{0x10, 92}, {0x23, 264}, {0x12, 20}, {0x24, 20}};
    for (const auto &c : cases) {
        const std::vector<uint8_t> block = map_block(c.type, c.at, {2, 0x00400099, 77, 0, 0x00400011, 8});
        EXTENT_MAP map;
        ASSERT_TRUE(locate_extent_map(BLOCK{block.data(), 512, 0}, &map)) << int{c.type};
        EXPECT_EQ(map.entries, block.data() + c.at + 16);
        EXPECT_EQ(map.count, 2U);
        EXPECT_EQ(map.next, 0x00400099U);
        EXPECT_FALSE(map.cut);
    }
}

TEST(ExtentMapPlace, NoOtherBlockTypeHasAMap) {
    for (int type = 0; type < 256; type++) {
        const bool has_map = type == 0x10 || type == 0x12 || type == 0x23 || type == 0x24;
        EXPECT_EQ(map_header_offset(static_cast<uint8_t>(type)) != 0, has_map) << type;
    }
}

TEST(ExtentMapPlace, EntriesAreBoundedByTheBlock) {
    const std::vector<uint8_t> block = map_block(0x12, 20, {0xFFFFFFFF, 0, 0, 0});
    EXTENT_MAP map;
    ASSERT_TRUE(locate_extent_map(BLOCK{block.data(), 512, 0}, &map));
    EXPECT_EQ(map.count, (512U - 36) / 8);
    EXPECT_TRUE(map.cut);
}

TEST(ExtentMapPlace, BlockTooSmallForItsMapHasNone) {
    const std::vector<uint8_t> block = map_block(0x23, 264, {1, 0, 0, 0});
    EXTENT_MAP map;
    EXPECT_FALSE(locate_extent_map(BLOCK{block.data(), 279, 0}, &map));
    EXPECT_TRUE(locate_extent_map(BLOCK{block.data(), 280, 0}, &map));
}

} // namespace
