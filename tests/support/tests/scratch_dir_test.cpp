#include <stdexcept>

#include <gtest/gtest.h>

#include "scratch_dir.h"

namespace vexlo_test {
namespace {

TEST(ScratchDir, IsUniqueAndRemovedWithItsContent) {
    std::string path;
    {
        const scratch_dir one;
        const scratch_dir two;
        path = one.path();
        EXPECT_NE(one.path(), two.path());
        write_text(one.make_dir("sub") + "/f", "x");
        EXPECT_TRUE(file_exists(path + "/sub/f"));
    }
    EXPECT_FALSE(file_exists(path));
}

TEST(ScratchDir, FilesReadBackAsWritten) {
    const scratch_dir dir;
    const bytes data{0, 1, 255, 10};
    write_file(dir.file("a"), data);
    EXPECT_EQ(read_file(dir.file("a")), data);
    write_text(dir.file("a"), "short");
    EXPECT_EQ(read_text(dir.file("a")), "short");
    EXPECT_THROW(read_file(dir.file("none")), std::runtime_error);
}

TEST(ScratchDir, PatchKeepsTheRest) {
    const scratch_dir dir;
    write_text(dir.file("a"), "abcdef");
    patch_file(dir.file("a"), 2, to_bytes("XY"));
    EXPECT_EQ(read_text(dir.file("a")), "abXYef");
    EXPECT_THROW(patch_file(dir.file("a"), 5, to_bytes("XY")), std::runtime_error);
    EXPECT_EQ(read_text(dir.file("a")), "abXYef");
}

TEST(ScratchDir, ResizeCutsAndExtends) {
    const scratch_dir dir;
    write_text(dir.file("a"), "abc");
    resize_file(dir.file("a"), 2);
    EXPECT_EQ(read_text(dir.file("a")), "ab");
    resize_file(dir.file("a"), 3);
    EXPECT_EQ(read_file(dir.file("a")), (bytes{'a', 'b', 0}));
}

TEST(ScratchDir, FileModeIsThePermissionBits) {
    const scratch_dir dir;
    write_text(dir.file("a"), "");
    set_file_mode(dir.file("a"), 0640);
    EXPECT_EQ(file_mode(dir.file("a")), 0640U);
}

TEST(Bytes, HexIsUpperCase) {
    EXPECT_EQ(to_hex({0x00, 0xAB, 0x7f}), "00AB7F");
}

} // namespace
} // namespace vexlo_test
