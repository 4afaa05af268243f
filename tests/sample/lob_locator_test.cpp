// Locators as real databases stored them.
#include <stdexcept>

#include <gtest/gtest.h>

#include "sample/lob_locator.h"

using namespace sample;

namespace {

std::string plain_hex(ByteView bytes) {
    std::string s;
    for (uint8_t b : bytes) {
        s += "0123456789abcdef"[b >> 4];
        s += "0123456789abcdef"[b & 15];
    }
    return s;
}

LobHead head(LobType type, uint64_t id) {
    LobHead h;
    h.type = type;
    h.id = id;
    h.units = type == LobType::blob ? 1 : 2;
    h.wide_charset = type == LobType::clob;
    return h;
}

TEST(LobLocator, EmptyBasicFile) {
    EXPECT_EQ(plain_hex(*basic_in_row(head(LobType::blob, 0x2FDAFEB1), {})),
              "00700001010c000000010000000100002fdafeb100100900000000000000000000000000");
    EXPECT_EQ(plain_hex(*basic_in_row(head(LobType::nclob, 0x2FDAFEB5), {})),
              "00700001040c000000020000000100002fdafeb500100900000000000000000000000000");
    EXPECT_EQ(plain_hex(*basic_bare(head(LobType::clob, 0x2FDAFEB4))),
              "007000010208800000020000000100002fdafeb4");
}

TEST(LobLocator, BasicFileInTheRow) {
    LobHead old = head(LobType::clob, 0x0AE44C);
    old.short_form = true;
    EXPECT_EQ(plain_hex(*basic_in_row(old, Bytes{0x5B, 0xB6})),
              "00540001020c80000002000000010000000ae44c001209000000000000020000000000015bb6");
    EXPECT_THROW(basic_in_row(old, Bytes(3965)), std::length_error);
}

TEST(LobLocator, BasicFileInodeHasTwelveAddressesAtMost) {
    std::vector<uint32_t> chunks(13, 0x01020304);
    Bytes value = *basic_inode(head(LobType::blob, 1), 12, 5, chunks);
    EXPECT_EQ(value.size(), 36U + 12 * 4);
    EXPECT_EQ(plain_hex(Bytes(value.begin() + 20, value.begin() + 40)),
              "004005000000000c000500000000000101020304");
}

TEST(LobLocator, SecureFileInTheRow) {
    SecureInode empty;
    empty.version = 0;
    EXPECT_EQ(plain_hex(*secure_in_row(head(LobType::clob, 0x106529), empty, {})),
              "00700001020c80800002000000010000001065"
              "29"
              "000a4890000400000000");
    SecureInode inode;
    inode.length = 100;
    Bytes value = *secure_in_row(head(LobType::blob, 1), inode, Bytes(100, 0x47));
    EXPECT_EQ(plain_hex(Bytes(value.begin() + 20, value.begin() + 32)), "006e48900068000064014747");
}

TEST(LobLocator, SecureFileExtents) {
    SecureInode inode;
    inode.length = 100;
    const LobExtent one[] = {{0x030002F3, 1, {}}};
    EXPECT_EQ(plain_hex(*secure_extents(head(LobType::blob, 0x106532), inode, one)),
              "00700001010c00800001000000010000001065"
              "3200114090000b200064010000030002f301");
    inode.compress_option = true;
    const LobExtent other[] = {{0x0300030B, 1, {}}};
    Bytes value = *secure_extents(head(LobType::blob, 1), inode, other);
    EXPECT_EQ(plain_hex(Bytes(value.begin() + 20, value.end())), "001440920001000b012000640100000300030b01");
    inode = {};
    inode.length = 200000;
    const LobExtent four[] = {
        {0x030006A6, 2, 16120}, {0x03000095, 3, 24180}, {0x03000091, 4, 32240}, {0x030003BB, 16, 127460}};
    inode.version = 1;
    value = *secure_extents(head(LobType::clob, 1), inode, four);
    EXPECT_EQ(plain_hex(Bytes(value.begin() + 20, value.end())),
              "00254090001f2200030d40010301030006a602010300009503010300009104"
              "02030003bb10");
}

TEST(LobLocator, CompressedSecureFile) {
    SecureInode inode;
    inode.length = 3000;
    inode.compressed = 39;
    Bytes value = *secure_in_row(head(LobType::blob, 1), inode, Bytes(39, 0x78));
    EXPECT_EQ(plain_hex(Bytes(value.begin() + 20, value.begin() + 40)),
              "003b40d2800004002e2180042711000bb8010027");
    inode.length = 100000;
    inode.compressed = 0x13D;
    const LobExtent one[] = {{0x0300032E, 1, 100000}};
    value = *secure_extents(head(LobType::blob, 1), inode, one);
    EXPECT_EQ(plain_hex(Bytes(value.begin() + 20, value.end())), "001d40920005001021810501"
                                                                 "3d32000186a00100020300032e010186a0");
}

} // namespace
