#include <stdexcept>

#include <gtest/gtest.h>

#include "oracle_text.h"

namespace vexlo_test {
namespace {

TEST(NumberText, WholeNumbers) {
    EXPECT_EQ(number_text({0x80}), "0");
    EXPECT_EQ(number_text({0xC1, 0x02}), "1");
    EXPECT_EQ(number_text({0xC1, 0x0B}), "10");
    EXPECT_EQ(number_text({0xC2, 0x02}), "100");
    EXPECT_EQ(number_text({0xC2, 0x02, 0x18}), "123");
    EXPECT_EQ(number_text({0xC3, 0x02}), "10000");
    EXPECT_EQ(number_text({0xC3, 0x02, 0x01, 0x02}), "10001");
}

TEST(NumberText, Fractions) {
    EXPECT_EQ(number_text({0xC1, 0x0D, 0x33}), "12.5");
    EXPECT_EQ(number_text({0xC0, 0x33}), "0.5");
    EXPECT_EQ(number_text({0xC0, 0x06}), "0.05");
    EXPECT_EQ(number_text({0xBF, 0x02}), "0.0001");
}

TEST(NumberText, NegativeNumbers) {
    EXPECT_EQ(number_text({0x3E, 0x64, 0x66}), "-1");
    EXPECT_EQ(number_text({0x3D, 0x64, 0x4E, 0x66}), "-123");
    EXPECT_EQ(number_text({0x3E, 0x59, 0x33, 0x66}), "-12.5");
    EXPECT_EQ(number_text({0x3F, 0x33, 0x66}), "-0.5");
}

TEST(NumberText, TwentyNegativeDigitPairsLeaveNoRoomForTheClosingByte) {
    bytes value(21, 0x64);
    value[0] = 0x2B;
    std::string ones = "1";
    for (int i = 0; i < 19; ++i)
        ones += "01";
    EXPECT_EQ(number_text(value), "-" + ones);
}

TEST(NumberText, Infinities) {
    EXPECT_EQ(number_text({0xFF, 0x65}), "~");
    EXPECT_EQ(number_text({0x00}), "-~");
}

TEST(NumberText, RejectsWhatIsNoNumber) {
    EXPECT_THROW(number_text({}), std::invalid_argument);
    EXPECT_THROW(number_text({0xC1}), std::invalid_argument);
    EXPECT_THROW(number_text({0xC1, 0x00}), std::invalid_argument);
    EXPECT_THROW(number_text({0xC1, 0x65}), std::invalid_argument);
    EXPECT_THROW(number_text({0x3E, 0x66}), std::invalid_argument);
}

TEST(DateText, CenturyAndTime) {
    EXPECT_EQ(date_text({120, 124, 2, 29, 14, 31, 60}), "2024-02-29 13:30:59");
    EXPECT_EQ(date_text({119, 180, 12, 17, 1, 1, 1}), "1980-12-17 00:00:00");
    EXPECT_EQ(date_text({53, 88, 1, 1, 1, 1, 1}), "-4712-01-01 00:00:00");
}

TEST(DateText, RejectsWhatIsNoDate) {
    EXPECT_THROW(date_text({120, 124, 2, 29, 14, 31}), std::invalid_argument);
    EXPECT_THROW(date_text({120, 124, 13, 1, 1, 1, 1}), std::invalid_argument);
    EXPECT_THROW(date_text({120, 124, 2, 29, 0, 1, 1}), std::invalid_argument);
}

TEST(TimestampText, FractionIsNanoseconds) {
    EXPECT_EQ(timestamp_text({120, 124, 2, 29, 14, 31, 60}), "2024-02-29 13:30:59");
    EXPECT_EQ(timestamp_text({120, 124, 2, 29, 14, 31, 60, 0x1D, 0xCD, 0x65, 0x00}),
              "2024-02-29 13:30:59.500000000");
    EXPECT_THROW(timestamp_text({120, 124, 2, 29, 14, 31, 60, 0xFF, 0xFF, 0xFF, 0xFF}),
                 std::invalid_argument);
}

TEST(EntryText, FollowsKindAndType) {
    EXPECT_EQ(entry_text({entry_kind::null, {}, 0}, 2), "NULL");
    EXPECT_EQ(entry_text({entry_kind::lob, {}, 0}, 112), "<LOB>");
    EXPECT_EQ(entry_text({entry_kind::long_marker, {}, 0}, 8), "<LONG>");
    EXPECT_EQ(entry_text({entry_kind::value, to_bytes("abc"), 0}, 96), "abc");
    EXPECT_EQ(entry_text({entry_kind::value, {0xAB, 0x01}, 0}, 23), "AB01");
    EXPECT_EQ(entry_text({entry_kind::value, {0xC1, 0x02}, 0}, 2), "1");
}

TEST(RowText, MissingColumnsAreNull) {
    dump_section section;
    section.columns = {{0, 1, 10, "A"}, {0, 2, 22, "B"}, {0, 12, 7, "C"}};
    dump_row row;
    row.entries = {{entry_kind::value, to_bytes("x"), 0}, {entry_kind::value, {0xC1, 0x03}, 0}};
    section.rows = {row, dump_row{}};
    EXPECT_EQ(row_text(section, row), "x|2|NULL");
    EXPECT_EQ(section_text(section), (std::vector<std::string>{"x|2|NULL", "NULL|NULL|NULL"}));
}

TEST(LongValue, JoinsTheChunks) {
    dump_row row;
    row.long_chunks = {to_bytes("ab"), to_bytes("c")};
    EXPECT_EQ(long_value(row), to_bytes("abc"));
}

} // namespace
} // namespace vexlo_test
