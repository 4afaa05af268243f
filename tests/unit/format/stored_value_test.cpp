// The encoding of column values inside a row piece.
#include <vector>

#include <gtest/gtest.h>

#include "format/stored_value.h"

namespace {

using stored = std::vector<uint8_t>;

// Bytes that `ncol` columns take; -1 when they leave the buffer.
int skipped(const stored &bytes, int32_t ncol) {
    const uint8_t *p = skip_columns(bytes.data(), bytes.data() + bytes.size(), ncol);
    return p == nullptr ? -1 : static_cast<int>(p - bytes.data());
}

stored of_length(stored head, size_t len) {
    head.resize(head.size() + len, 0x41);
    return head;
}

TEST(SkipColumns, NullShortAndLongFormTakeTheirBytes) {
    EXPECT_EQ(skipped({0xFF, 0x02, 0x41, 0x42, 0xFE, 0x03, 0x00, 0x41, 0x42, 0x43}, 3), 1 + 3 + 6);
}

TEST(SkipColumns, LengthOfTheLongFormIsLittleEndian) {
    EXPECT_EQ(skipped(of_length({0xFE, 0x00, 0x01}, 256), 1), 3 + 256);
    EXPECT_EQ(skipped(of_length({0xFE, 0x01, 0x00}, 256), 1), 3 + 1);
}

TEST(SkipColumns, LengthZeroTakesOneByte) {
    EXPECT_EQ(skipped({0x00, 0x00, 0x01, 0x41}, 3), 4);
    EXPECT_EQ(skipped({0x00}, 1), 1);
}

TEST(SkipColumns, LongestShortFormIs253Bytes) {
    EXPECT_EQ(skipped(of_length({0xFD}, 253), 1), 254);
}

TEST(SkipColumns, LongFormOfLengthZeroTakesThreeBytes) {
    EXPECT_EQ(skipped({0xFE, 0x00, 0x00}, 1), 3);
}

TEST(SkipColumns, NoColumnOrANegativeNumberOfThemTakesNothing) {
    const stored bytes{0x02, 0x41, 0x42};
    for (int32_t ncol : {0, -1, INT32_MIN})
        EXPECT_EQ(skipped(bytes, ncol), 0) << ncol;
}

TEST(SkipColumns, ValueThatLeavesTheBlockIsNotPassed) {
    EXPECT_EQ(skipped({}, 1), -1);
    EXPECT_EQ(skipped({0x02, 0x41}, 1), -1);
    EXPECT_EQ(skipped({0xFE, 0x03}, 1), -1);
    EXPECT_EQ(skipped({0xFE, 0x03, 0x00, 0x41, 0x42}, 1), -1);
    EXPECT_EQ(skipped({0x01, 0x41}, 2), -1);
    EXPECT_EQ(skipped({0xFF}, INT32_MAX), -1);
}

TEST(NextValue, TellsNullFromTheEmptyValue) {
    const stored bytes{0xFF, 0x00};
    const uint8_t *p = bytes.data();
    const uint8_t *end = p + bytes.size();
    VALUE value;
    ASSERT_TRUE(next_value(p, end, &value));
    EXPECT_TRUE(value.null);
    ASSERT_TRUE(next_value(p, end, &value));
    EXPECT_FALSE(value.null);
    EXPECT_EQ(value.len, 0U);
    EXPECT_EQ(p, end);
}

TEST(NextValue, DataFollowsTheLength) {
    const stored bytes = of_length({0x02, 0x58, 0x59, 0xFE, 0x2C, 0x01}, 300);
    const uint8_t *p = bytes.data();
    const uint8_t *end = p + bytes.size();
    VALUE value;
    ASSERT_TRUE(next_value(p, end, &value));
    EXPECT_EQ(value.data, bytes.data() + 1);
    EXPECT_EQ(value.len, 2U);
    ASSERT_TRUE(next_value(p, end, &value));
    EXPECT_EQ(value.data, bytes.data() + 6);
    EXPECT_EQ(value.len, 300U);
    EXPECT_EQ(p, end);
}

TEST(CutValue, LengthFFIs255Bytes) {
    const std::vector<uint8_t> bytes(256, 0xFF);
    VALUE value{};
    const uint8_t *p = bytes.data();
    EXPECT_TRUE(next_cut_value(p, bytes.data() + 256, &value));
    EXPECT_EQ(p, bytes.data() + 256);
    EXPECT_EQ(value.data, bytes.data() + 1);
    EXPECT_EQ(value.len, 255U);
    EXPECT_FALSE(value.null);
    p = bytes.data();
    EXPECT_FALSE(next_cut_value(p, bytes.data() + 255, &value));
    EXPECT_FALSE(next_cut_value(p, p, &value));
}

TEST(CutValue, OtherLengthsAreThoseOfAnyValue) {
    const std::vector<uint8_t> bytes{2, 'a', 'b', 0xFE, 1, 0, 'c'};
    VALUE value{};
    const uint8_t *p = bytes.data(), *end = p + bytes.size();
    EXPECT_TRUE(next_cut_value(p, end, &value));
    EXPECT_EQ(value.len, 2U);
    EXPECT_TRUE(next_cut_value(p, end, &value));
    EXPECT_EQ(value.data, end - 1);
    EXPECT_EQ(value.len, 1U);
    p = bytes.data();
    EXPECT_FALSE(next_cut_value(p, p + 2, &value));
}

} // namespace
