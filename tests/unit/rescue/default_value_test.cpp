#include <algorithm>

#include <gtest/gtest.h>

#include "lob_fixture.h"
#include "rescue/default_value.h"
#include "sample/lob_locator.h"

namespace {

using namespace vexlo_test;

struct Read {
    std::optional<std::vector<uint8_t>> value;
    uint64_t visited = 0;
};

// Reads the value of a BasicFile whose pages lie behind each other from block 20 on.
Read read_value(LobFile &file, size_t size) {
    std::vector<uint32_t> addresses;
    for (size_t i = 0; i < 12 && i * LOB_PAGE_SIZE < size; ++i)
        addresses.push_back(LobFile::rdba(20 + static_cast<uint32_t>(i)));
    sample::LobHead head;
    head.id = 0x7701; // of LOB 1
    const sample::Value locator = sample::basic_inode(head, static_cast<uint32_t>(size / LOB_PAGE_SIZE),
                                                      static_cast<uint16_t>(size % LOB_PAGE_SIZE), addresses);
    Read read;
    file.open(
        [&](const vexlo::LobSegment &column, vexlo::BlockReader &blocks) {
            vexlo::LobReader reader(blocks);
            read.value = vexlo::read_default_value(
                {reinterpret_cast<const char *>(locator->data()), locator->size()}, reader, column);
            read.visited = reader.visited();
        },
        3000);
    return read;
}

TEST(DefaultValue, IsTheDataOfItsLob) {
    LobFile file;
    const LobBytes bytes = lob_bytes(1, 4 * LOB_PAGE_SIZE + 1);
    file.put_pages(20, 1, bytes);
    const Read read = read_value(file, bytes.size());
    ASSERT_TRUE(read.value);
    EXPECT_TRUE(*read.value == bytes);
}

// A LOB of as many pages, found by the row and the index.
void put_long_lob(LobFile &file, uint32_t pages) {
    constexpr size_t ROWS_A_LEAF = 30;
    file.put_pages(20, 1, lob_bytes(1, pages * LOB_PAGE_SIZE));
    std::vector<std::vector<IndexRow>> leaves(1);
    for (uint32_t page = 12; page < pages; page += 8) {
        IndexRow row{1, page, 0, 0, {}, false};
        for (uint32_t i = page; i < std::min(page + 8, pages); ++i)
            row.addresses.push_back(LobFile::rdba(20 + i));
        if (leaves.back().size() == ROWS_A_LEAF)
            leaves.emplace_back();
        leaves.back().push_back(row);
    }
    file.put_index(3000, leaves);
}

constexpr uint32_t PAGES = 2000;
constexpr uint64_t READ_AT_ONCE = 1 << 20;

TEST(DefaultValue, ALobLongerThanAnyValueIsNotReadToItsEnd) {
    LobFile file;
    put_long_lob(file, PAGES);
    const Read read = read_value(file, PAGES * LOB_PAGE_SIZE);
    EXPECT_FALSE(read.value);
    EXPECT_LT(read.visited, 2 * READ_AT_ONCE);
}

TEST(DefaultValue, ALobThatIsNotWholeIsNotReadToItsEnd) {
    LobFile file;
    put_long_lob(file, PAGES);
    file.clear(20);
    const Read read = read_value(file, PAGES * LOB_PAGE_SIZE);
    EXPECT_FALSE(read.value);
    EXPECT_LT(read.visited, 2 * READ_AT_ONCE);
}

} // namespace
