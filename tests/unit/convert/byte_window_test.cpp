#include <fcntl.h>

#include <cstring>

#include <gtest/gtest.h>

#include "convert/byte_window.h"
#include "convert/dump_file.h"
#include "dump_writer.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

class ByteWindowTest : public testing::Test {
protected:
    ByteWindowTest() {
        for (int i = 0; i < 1000; ++i)
            content_ += static_cast<char>(i * 7);
        write_text(path_, content_);
        file_ = vexlo::FileHandle(open(path_.c_str(), O_RDONLY));
    }

    scratch_dir dir_;
    std::string path_ = dir_ / "bytes";
    Bytes content_;
    vexlo::FileHandle file_;
};

TEST_F(ByteWindowTest, SlidesOverTheRange) {
    vexlo::ByteWindow window(file_.get(), path_, 10, 990, 16);
    for (uint64_t at = 10; at + 5 <= 990; at += 5) {
        ASSERT_TRUE(window.require(5));
        ASSERT_EQ(window.position(), at);
        ASSERT_EQ(std::memcmp(window.data(), content_.data() + at, 5), 0);
        window.advance(5);
    }
    EXPECT_FALSE(window.require(1));
}

TEST_F(ByteWindowTest, GrowsForWhatIsLarger) {
    vexlo::ByteWindow window(file_.get(), path_, 0, 1000, 16);
    ASSERT_TRUE(window.require(700));
    EXPECT_EQ(std::memcmp(window.data(), content_.data(), 700), 0);
    EXPECT_FALSE(window.require(1001));
}

TEST_F(ByteWindowTest, EndMovesWhenTheFileIsShorter) {
    vexlo::ByteWindow window(file_.get(), path_, 900, 5000, 4096);
    EXPECT_FALSE(window.require(101));
    EXPECT_EQ(window.end(), 1000U);
    EXPECT_TRUE(window.require(100));
}

} // namespace
