#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "format/lob_block.h"

namespace {

using Bytes = std::vector<uint8_t>;

BLOCK whole(const Bytes &bytes) {
    return {bytes.data(), static_cast<uint32_t>(bytes.size()), 0};
}

// A stored leaf block of 2 KiB as far as its row directory, with rows put where the directory says.
Bytes stored_leaf() {
    std::ifstream in(VEXLO_TEST_DATA "/lob_index_leaf.txt");
    Bytes bytes;
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with('#'))
            continue;
        std::istringstream digits(line);
        for (std::string byte; digits >> byte;)
            bytes.push_back(static_cast<uint8_t>(std::stoul(byte, nullptr, 16)));
    }
    bytes.resize(2048);
    return bytes;
}

constexpr uint32_t LEAF_KDXCO = 0x5C;

void put_row(Bytes &leaf, uint32_t offset, uint8_t id, uint8_t page) {
    uint8_t *row = &leaf[LEAF_KDXCO + offset];
    row[2] = page; // begins the data
    row[34] = 10;
    row[44] = id;
    row[45] = 4;
    row[49] = page;
}

TEST(LobIndexLeaf, StoredHeaderAndDirectory) {
    Bytes bytes = stored_leaf();
    LOB_INDEX_LEAF leaf;
    ASSERT_TRUE(locate_lob_leaf(whole(bytes), &leaf));
    EXPECT_EQ(leaf.kdxco, LEAF_KDXCO);
    EXPECT_EQ(leaf.rows, 3u);
}

TEST(LobIndexLeaf, RowsCountFromTheIndexHeader) {
    Bytes bytes = stored_leaf();
    put_row(bytes, 0x732, 7, 0);
    put_row(bytes, 0x700, 7, 4);
    put_row(bytes, 0x6CE, 7, 12);
    LOB_INDEX_LEAF leaf;
    ASSERT_TRUE(locate_lob_leaf(whole(bytes), &leaf));
    const uint8_t pages[] = {0, 4, 12};
    for (uint32_t i = 0; i < 3; ++i) {
        LOB_INDEX_ROW row;
        ASSERT_TRUE(lob_index_row(leaf, i, &row));
        EXPECT_EQ(row.id[9], 7);
        EXPECT_EQ(row.page, pages[i]);
        EXPECT_EQ(row.data[0], pages[i]);
    }
}

TEST(LobIndexLeaf, OtherKeysAreNoRows) {
    Bytes bytes = stored_leaf();
    put_row(bytes, 0x732, 7, 0);
    put_row(bytes, 0x700, 7, 4);
    bytes[LEAF_KDXCO + 0x732 + 34] = 9;
    bytes[LEAF_KDXCO + 0x700 + 45] = 5;
    LOB_INDEX_LEAF leaf;
    ASSERT_TRUE(locate_lob_leaf(whole(bytes), &leaf));
    LOB_INDEX_ROW row;
    for (uint32_t i = 0; i < 3; ++i)
        EXPECT_FALSE(lob_index_row(leaf, i, &row)) << i;
}

TEST(LobIndexLeaf, DeletedRowsSaySo) {
    Bytes bytes = stored_leaf();
    put_row(bytes, 0x732, 7, 0);
    put_row(bytes, 0x700, 7, 4);
    bytes[LEAF_KDXCO + 0x732] = 0x01;
    LOB_INDEX_LEAF leaf;
    ASSERT_TRUE(locate_lob_leaf(whole(bytes), &leaf));
    LOB_INDEX_ROW row;
    ASSERT_TRUE(lob_index_row(leaf, 0, &row));
    EXPECT_TRUE(row.deleted);
    ASSERT_TRUE(lob_index_row(leaf, 1, &row));
    EXPECT_FALSE(row.deleted);
}

TEST(LobIndexLeaf, NamesTheLeavesBesideIt) {
    Bytes bytes = stored_leaf();
    LOB_INDEX_LEAF leaf;
    ASSERT_TRUE(locate_lob_leaf(whole(bytes), &leaf));
    EXPECT_EQ(leaf.next, 0u);
    EXPECT_EQ(leaf.previous, 0u);
    bytes[0x70] = 0x12;
    bytes[0x77] = 0x34;
    ASSERT_TRUE(locate_lob_leaf(whole(bytes), &leaf));
    EXPECT_EQ(leaf.next, 0x12u);
    EXPECT_EQ(leaf.previous, 0x34000000u);
}

TEST(LobIndexLeaf, ARowThatLeavesTheBlockIsNone) {
    Bytes bytes = stored_leaf();
    const uint16_t last = 2048 - LEAF_KDXCO - 50;
    bytes[0x80] = static_cast<uint8_t>(last);
    bytes[0x81] = static_cast<uint8_t>(last >> 8);
    put_row(bytes, last, 7, 0);
    LOB_INDEX_LEAF leaf;
    LOB_INDEX_ROW row;
    ASSERT_TRUE(locate_lob_leaf(whole(bytes), &leaf));
    EXPECT_TRUE(lob_index_row(leaf, 0, &row));
    ++bytes[0x80];
    EXPECT_FALSE(lob_index_row(leaf, 0, &row));
}

TEST(LobIndexLeaf, ADirectoryThatLeavesTheBlockIsNone) {
    Bytes bytes = stored_leaf();
    bytes[LEAF_KDXCO + 8] = 0xFF;
    bytes[LEAF_KDXCO + 9] = 0x7F;
    LOB_INDEX_LEAF leaf;
    EXPECT_FALSE(locate_lob_leaf(whole(bytes), &leaf));
}

TEST(LobIndexLeaf, BranchesAreNone) {
    Bytes bytes = stored_leaf();
    bytes[LEAF_KDXCO] = 1;
    LOB_INDEX_LEAF leaf;
    EXPECT_FALSE(locate_lob_leaf(whole(bytes), &leaf));
}

// A block of a stored dump: one transaction entry, no area behind the entries but with the 8 bytes that flag
// 0x20 adds.
Bytes secure_block() {
    Bytes bytes(8192);
    bytes[0] = 0x06;
    bytes[20] = 5;
    bytes[24] = 0x63, bytes[25] = 0xEF, bytes[26] = 0x06;
    bytes[36] = 1;
    bytes[38] = 0x20;
    bytes[76 + 6] = 0x20;
    const uint8_t id[] = {0, 0, 0, 0, 0x10, 0, 0x99, 0xBF, 0x67, 0xD1};
    std::copy(std::begin(id), std::end(id), &bytes[84]);
    bytes[124] = 2;
    bytes[128] = 0x41;
    return bytes;
}

TEST(SecurePage, PlacesOfAStoredBlock) {
    const Bytes bytes = secure_block();
    SECURE_PAGE page;
    ASSERT_TRUE(locate_secure_page(whole(bytes), &page));
    EXPECT_EQ(page.object, 0x6EF63u);
    EXPECT_EQ(page.id, &bytes[84]);
    EXPECT_EQ(page.data, &bytes[128]);
    EXPECT_EQ(page.size, 2u);
    EXPECT_EQ(page.room, 8060u);
}

TEST(SecurePage, MoreInUseThanTheBlockHasRoomForIsNoPage) {
    Bytes bytes = secure_block();
    SECURE_PAGE page;
    bytes[124] = 8060 & 0xFF, bytes[125] = 8060 >> 8;
    EXPECT_TRUE(locate_secure_page(whole(bytes), &page));
    ++bytes[124];
    EXPECT_FALSE(locate_secure_page(whole(bytes), &page));
}

TEST(SecurePage, OtherKindsAreNoPage) {
    for (const uint8_t kind : std::initializer_list<uint8_t>{0x00, 0x10, 0x30, 0x40, 0x60}) {
        Bytes bytes = secure_block();
        bytes[82] = kind;
        SECURE_PAGE page;
        EXPECT_FALSE(locate_secure_page(whole(bytes), &page)) << int{kind};
    }
}

TEST(SecurePage, TransactionEntriesThatFillTheBlockAreNoPage) {
    Bytes bytes = secure_block();
    bytes.resize(2048);
    bytes[36] = 83;
    SECURE_PAGE page;
    EXPECT_FALSE(locate_secure_page(whole(bytes), &page));
}

TEST(LobPage, Places) {
    Bytes bytes(8192);
    for (const uint8_t type : {BLOCK_LOB, BLOCK_LOB_MANUAL}) {
        bytes[0] = type;
        bytes[20] = 9, bytes[36] = 3, bytes[40] = 1, bytes[44] = 5;
        LOB_PAGE page;
        ASSERT_TRUE(locate_lob_page(whole(bytes), &page));
        EXPECT_EQ(page.object, 9u);
        EXPECT_EQ(page.id, &bytes[24]);
        EXPECT_EQ(page.version, 0x100000003u);
        EXPECT_EQ(page.page, 5u);
        EXPECT_EQ(page.data, &bytes[56]);
        EXPECT_EQ(page.size, 8132u);
    }
    bytes[0] = 0x06;
    LOB_PAGE page;
    EXPECT_FALSE(locate_lob_page(whole(bytes), &page));
}

} // namespace
