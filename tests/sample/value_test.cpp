#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include "hex.h"
#include "sample/value.h"

using namespace sample;

namespace {

std::string encoded(const Value &v) {
    return v ? hex(*v) : "NULL";
}

TEST(Number, IntegersInBase100) {
    EXPECT_EQ(encoded(number(0)), "80");
    EXPECT_EQ(encoded(number(1)), "C1 02");
    EXPECT_EQ(encoded(number(99)), "C1 64");
    EXPECT_EQ(encoded(number(100)), "C2 02");
    EXPECT_EQ(encoded(number(123)), "C2 02 18");
    EXPECT_EQ(encoded(number(1000)), "C2 0B");
    EXPECT_EQ(encoded(number(10000)), "C3 02");
    EXPECT_EQ(encoded(number(7369)), "C2 4A 46");
    EXPECT_EQ(encoded(number(2147483645)), "C5 16 30 31 25 2E");
}

TEST(Number, NegativesAreComplementedAndClosedBy102) {
    EXPECT_EQ(encoded(number(-1)), "3E 64 66");
    EXPECT_EQ(encoded(number(-100)), "3D 64 66");
    EXPECT_EQ(encoded(number(-123)), "3D 64 4E 66");
    EXPECT_EQ(encoded(number(std::numeric_limits<int64_t>::min())), "35 5C 4F 44 1D 62 21 2F 18 2B 5D 66");
}

TEST(Number, DecimalsAlignPairsAtThePoint) {
    EXPECT_EQ(encoded(decimal("12.5")), "C1 0D 33");
    EXPECT_EQ(encoded(decimal("0.5")), "C0 33");
    EXPECT_EQ(encoded(decimal(".05")), "C0 06");
    EXPECT_EQ(encoded(decimal("0.007")), "BF 47");
    EXPECT_EQ(encoded(decimal("-12.50")), "3E 59 33 66");
    EXPECT_EQ(encoded(decimal("100.00")), "C2 02");
    EXPECT_EQ(encoded(decimal("-0.0")), "80");
    EXPECT_EQ(encoded(decimal("007")), "C1 08");
    EXPECT_EQ(decimal("123"), number(123));
}

TEST(Number, FullLengthNegativeHasNoClosingByte) {
    Value v = decimal("-1234567890123456789012345678901234567890");
    EXPECT_EQ(v->size(), 21U);
    EXPECT_EQ(v->back(), 101 - 90);
}

TEST(Number, RejectsOtherTexts) {
    for (const char *bad : {"", "-", ".", "1.2.3", "1e5", "abc", "+1", "--1"})
        EXPECT_THROW(decimal(bad), std::invalid_argument) << bad;
    EXPECT_THROW(decimal(std::string(43, '7')), std::invalid_argument);
}

TEST(Text, EmptyIsNull) {
    EXPECT_EQ(encoded(text("SMITH")), "53 4D 49 54 48");
    EXPECT_EQ(text(""), null_value());
    EXPECT_EQ(encoded(padded("a", 4)), "61 20 20 20");
    EXPECT_EQ(encoded(raw(Bytes{})), "");
}

TEST(Date, CenturyAndYearPlus100TimePlus1) {
    EXPECT_EQ(encoded(date({1980, 12, 17})), "77 B4 0C 11 01 01 01");
    EXPECT_EQ(encoded(date({2022, 6, 15, 12, 34, 56})), "78 7A 06 0F 0D 23 39");
    EXPECT_EQ(encoded(date({-4712, 1, 1})), "35 58 01 01 01 01 01");
}

TEST(Timestamp, FractionBigEndianOnlyWhenPresent) {
    DateTime t{2022, 6, 15, 12, 34, 56};
    EXPECT_EQ(encoded(timestamp(t)), "78 7A 06 0F 0D 23 39");
    EXPECT_EQ(encoded(timestamp(t, 123456789)), "78 7A 06 0F 0D 23 39 07 5B CD 15");
    EXPECT_EQ(encoded(timestamp_tz(t, 0, 120)), "78 7A 06 0F 0D 23 39 00 00 00 00 16 3C");
    EXPECT_EQ(encoded(timestamp_tz(t, 0, -210)), "78 7A 06 0F 0D 23 39 00 00 00 00 11 1E");
}

TEST(Interval, PartsAroundTheirBias) {
    EXPECT_EQ(encoded(interval_ym(1, 2)), "80 00 00 01 3E");
    EXPECT_EQ(encoded(interval_ym(-3, -2)), "7F FF FF FD 3A");
    EXPECT_EQ(encoded(interval_ds(5, 4, 3, 2, 1)), "80 00 00 05 40 3F 3E 80 00 00 01");
    EXPECT_EQ(encoded(interval_ds(0, 0, 0, -1, 0)), "80 00 00 00 3C 3C 3B 80 00 00 00");
}

TEST(BinaryFloat, ByteOrderIsNumericOrder) {
    EXPECT_EQ(encoded(binary_float(1.0F)), "BF 80 00 00");
    EXPECT_EQ(encoded(binary_float(-1.0F)), "40 7F FF FF");
    EXPECT_EQ(encoded(binary_float(-0.0F)), "80 00 00 00");
    EXPECT_EQ(encoded(binary_double(1.0)), "BF F0 00 00 00 00 00 00");
    EXPECT_EQ(encoded(binary_double(-2.0)), "3F FF FF FF FF FF FF FF");
    EXPECT_LT(*binary_double(-2.0), *binary_double(-1.0));
    EXPECT_LT(*binary_double(-1.0), *binary_double(0.0));
    EXPECT_LT(*binary_double(0.0), *binary_double(1e300));
}

TEST(LobLocator, CarriesItsIdAndKind) {
    Value clob = lob_locator(0x0102030405060708, true);
    Value blob = lob_locator(0x0102030405060708, false);
    EXPECT_NE(clob, blob);
    EXPECT_EQ(clob->size(), 30U);
    EXPECT_EQ(hex(*clob, 12, 8), "01 02 03 04 05 06 07 08");
}

} // namespace
