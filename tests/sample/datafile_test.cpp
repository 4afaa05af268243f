#include <stdexcept>
#include <system_error>

#include <gtest/gtest.h>

#include "hex.h"
#include "reader.h"

using namespace sample;
using namespace sample_test;

namespace {

DatafileInfo info_in(const TempDir &dir) {
    DatafileInfo info;
    info.path = dir.path() / "users01.dbf";
    info.fno = 4;
    info.rfn = 4;
    info.tsn = 6;
    info.tablespace = "USERS";
    info.block_size = 2048;
    return info;
}

TEST(Block0, StatesSizesAndMarker) {
    DatafileInfo info;
    info.block_size = 8192;
    info.blocks = 0x0500;
    Bytes block = encode_block0(info);
    EXPECT_EQ(hex(block, 0, 8), "00 A2 00 00 00 00 C0 FF");
    EXPECT_EQ(hex(block, 20, 12), "00 20 00 00 00 05 00 00 7A 7B 7C 7D");
    EXPECT_EQ(fold_words(block), 0);
    info.marked = false;
    EXPECT_EQ(hex(encode_block0(info), 28, 4), "00 00 00 00");
}

TEST(FileHeader, FieldsAtTheirOffsets) {
    DatafileInfo info;
    info.fno = 5;
    info.rfn = 6;
    info.tsn = 7;
    info.tablespace = "APP";
    info.block_size = 4096;
    info.blocks = 0x1234;
    info.rootdba = 0x00400179;
    Bytes block = encode_file_header(info);
    EXPECT_EQ(hex(block, 0, 8), "0B 82 00 00 01 00 80 01");
    EXPECT_EQ(hex(block, 44, 10), "34 12 00 00 00 10 00 00 05 00");
    EXPECT_EQ(hex(block, 96, 4), "79 01 40 00");
    EXPECT_EQ(hex(block, 332, 4), "07 00 00 00");
    EXPECT_EQ(hex(block, 336, 6), "03 00 41 50 50 00");
    EXPECT_EQ(hex(block, 368, 4), "06 00 00 00");
    EXPECT_EQ(fold_words(block), 0);
}

TEST(Datafile, BlocksLieAtTheirNumbers) {
    TempDir dir;
    Datafile file(info_in(dir));
    EXPECT_EQ(file.allocate(30), FIRST_DATA_BLOCK);
    EXPECT_EQ(file.allocate(1), FIRST_DATA_BLOCK + 30);
    EXPECT_EQ(file.rdba(11), 0x0100000BU);
    Bytes block(2048, 0x77);
    file.write_block(11, block);
    file.close(0);
    Bytes all = read_file(dir.path() / "users01.dbf");
    EXPECT_EQ(all.size(), (FIRST_DATA_BLOCK + 31) * 2048U);
    EXPECT_EQ(all[11 * 2048 - 1], 0);
    EXPECT_EQ(all[11 * 2048], 0x77);
    EXPECT_EQ(all[12 * 2048 - 1], 0x77);
    EXPECT_EQ(all[12 * 2048], 0);
    EXPECT_EQ(fetch_le32(&all[2048 + 44]), FIRST_DATA_BLOCK + 30) << "block 0 is not counted";
}

TEST(Datafile, IsNeverShorterThanWhatReadersTakeAtOnce) {
    TempDir dir;
    Datafile file(info_in(dir));
    file.close(0);
    EXPECT_GE(std::filesystem::file_size(dir.path() / "users01.dbf"), 40960U);
}

TEST(Datafile, BigfileAddressIsTheBlockNumber) {
    TempDir dir;
    DatafileInfo info = info_in(dir);
    info.rfn = 1024;
    EXPECT_EQ(Datafile(info).rdba(0x01000010), 0x01000010U);
}

TEST(Datafile, ReportsTheSystemsError) {
    DatafileInfo info;
    info.path = "/nonexistent/dir/x.dbf";
    EXPECT_THROW(Datafile{info}, std::system_error);
}

TEST(PatchFile, ChangesOneBlock) {
    TempDir dir;
    {
        Datafile file(info_in(dir));
        file.close(0);
    }
    auto path = dir.path() / "users01.dbf";
    Bytes before = read_file(path);
    patch_file(path, 2048, 1, 332, Bytes{9}, true);
    Bytes after = read_file(path);
    EXPECT_EQ(after[2048 + 332], 9);
    EXPECT_EQ(fold_words(ByteView(after).subspan(2048, 2048)), 0);
    EXPECT_TRUE(std::equal(before.begin() + 4096, before.end(), after.begin() + 4096));
    patch_file(path, 2048, 1, 332, Bytes{8}, false);
    EXPECT_NE(fold_words(ByteView(read_file(path)).subspan(2048, 2048)), 0);
    EXPECT_THROW(patch_file(path, 2048, 9999, 0, Bytes{1}), std::runtime_error);
}

} // namespace
