#include <fcntl.h>

#include <cstring>
#include <utility>
#include <vector>

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

// Whether the bytes at `data` are those of the file from `at` on.
bool are_content(const uint8_t *data, const Bytes &content, size_t at, size_t size) {
    return std::memcmp(data, content.data() + at, size) == 0;
}

TEST_F(ByteWindowTest, HeldBytesStayWhereTheyAre) {
    vexlo::ByteWindow window(file_.get(), path_, 0, 1000, 16);
    ASSERT_TRUE(window.require(10));
    const uint8_t *const first = window.data();
    window.hold();
    window.advance(10);
    ASSERT_TRUE(window.require(12)); // six of them lie behind the first ten
    const uint8_t *const second = window.data();
    EXPECT_TRUE(are_content(second, content_, 10, 12));
    window.hold();
    window.move_to(500);
    ASSERT_TRUE(window.require(16));
    EXPECT_TRUE(are_content(window.data(), content_, 500, 16));
    const std::vector<vexlo::PaddedBytes> held = window.take_held();
    ASSERT_EQ(held.size(), 2U);
    EXPECT_EQ(held[0].data(), first);
    EXPECT_TRUE(are_content(first, content_, 0, 10));
    EXPECT_EQ(held[1].data(), second);
    EXPECT_TRUE(are_content(second, content_, 10, 12));
}

TEST_F(ByteWindowTest, HoldsEnoughBeforeItTakesMoreMemory) {
    vexlo::ByteWindow window(file_.get(), path_, 0, 1000, 16);
    ASSERT_TRUE(window.require(10));
    window.hold();
    window.advance(10);
    EXPECT_FALSE(window.holds_enough(6));
    EXPECT_TRUE(window.holds_enough(7));
    ASSERT_TRUE(window.require(12));
    window.hold();
    EXPECT_FALSE(window.holds_enough(16));
    window.move_to(500);
    EXPECT_TRUE(window.holds_enough(0));
    window.take_held();
    EXPECT_FALSE(window.holds_enough(16));
    ASSERT_TRUE(window.require(20));
    EXPECT_TRUE(window.holds_enough(0)); // more than the usual memory
}

TEST_F(ByteWindowTest, GoesOnBehindWhatWasTakenFromIt) {
    vexlo::ByteWindow window(file_.get(), path_, 0, 1000, 16);
    std::vector<vexlo::PaddedBytes> held;
    for (size_t at = 0; at + 5 <= 1000; at += 5) {
        ASSERT_TRUE(window.require(5));
        ASSERT_TRUE(are_content(window.data(), content_, at, 5)) << at;
        window.hold();
        window.advance(5);
        held = window.take_held();
        ASSERT_FALSE(held.empty());
        ASSERT_TRUE(are_content(held[0].data(), content_, at, 5)) << at;
        if (at % 3 == 0)
            window.give_back(std::move(held));
    }
    EXPECT_FALSE(window.require(1));
}

TEST_F(ByteWindowTest, TakesNoMoreMemoryAtTheEndOfTheRange) {
    vexlo::ByteWindow window(file_.get(), path_, 990, 1000, 16);
    ASSERT_TRUE(window.require(4));
    window.hold();
    window.advance(4);
    EXPECT_FALSE(window.holds_enough(100));
}

TEST_F(ByteWindowTest, MemoryThatWasGrownIsNotGoneOnIn) {
    vexlo::ByteWindow window(file_.get(), path_, 0, 1000, 16);
    ASSERT_TRUE(window.require(4));
    window.hold();
    ASSERT_TRUE(window.require(300)); // what is held is left for it
    EXPECT_TRUE(are_content(window.data(), content_, 0, 300));
    window.hold();
    window.advance(300);
    std::vector<vexlo::PaddedBytes> held = window.take_held();
    ASSERT_EQ(held.size(), 2U);
    EXPECT_GE(held[1].size(), 300U);
    window.give_back(std::move(held));
    ASSERT_TRUE(window.require(8));
    EXPECT_TRUE(are_content(window.data(), content_, 300, 8));
    EXPECT_FALSE(window.holds_enough(16));
    EXPECT_TRUE(window.holds_enough(17));
}

} // namespace
