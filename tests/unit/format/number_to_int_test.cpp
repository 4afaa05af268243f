// NUMBER values as machine integers.
#include <climits>

#include <gtest/gtest.h>

#include "format/number_to_int.h"
#include "sample/value.h"

namespace {

int to_int(const std::vector<uint8_t> &bytes) {
    return ora_number_to_int(bytes.data(), static_cast<int>(bytes.size()));
}

TEST(NumberToInt, OneByteZeroIsZero) {
    EXPECT_EQ(to_int({0x80}), 0);
}

TEST(NumberToInt, ZeroByteWithMoreBehindItIsNoZero) {
    EXPECT_EQ(to_int({0x80, 0x01}), -1);
}

TEST(NumberToInt, DigitsArePairsPlusOne) {
    EXPECT_EQ(to_int({0xC1, 0x02}), 1);
    EXPECT_EQ(to_int({0xC1, 0x64}), 99);
    EXPECT_EQ(to_int({0xC2, 0x02}), 100);
    EXPECT_EQ(to_int({0xC2, 0x02, 0x18}), 123);
    EXPECT_EQ(to_int({0xC2, 0x0B}), 1000);
    EXPECT_EQ(to_int({0xC3, 0x02}), 10000);
}

TEST(NumberToInt, TrailingZeroPairsThatAreNotStoredCount) {
    EXPECT_EQ(to_int({0xC3, 0x02, 0x03}), 10200);
    EXPECT_EQ(to_int({0xC5, 0x03}), 200000000);
}

TEST(NumberToInt, DecodesEveryMagnitudeThatTheEncoderWrites) {
    for (int64_t n : {0, 1, 9, 10, 99, 100, 101, 9999, 10000, 65535, 999999, 16777216, 2147483647})
        EXPECT_EQ(to_int(sample::number(n).value()), n) << n;
}

TEST(NumberToInt, NegativeNumbersGiveMinusOne) {
    EXPECT_EQ(to_int({0x3E, 0x64, 0x66}), -1);
    EXPECT_EQ(to_int(sample::number(-12345).value()), -1);
}

TEST(NumberToInt, NumbersBelowOneGiveMinusOne) {
    EXPECT_EQ(to_int({0xC0, 0x33}), -1);
    EXPECT_EQ(to_int({0xBF, 0x33}), -1);
}

TEST(NumberToInt, EveryFirstByteBelow0xC1GivesMinusOne) {
    for (int first = 0; first < 0xC1; first++)
        EXPECT_EQ(to_int({static_cast<uint8_t>(first), 0x02}), -1) << first;
}

TEST(NumberToInt, FirstByteAloneGivesZeroFrom0xC1On) {
    for (int first = 0xC1; first < 256; first++)
        EXPECT_EQ(to_int({static_cast<uint8_t>(first)}), 0) << first;
}

TEST(NumberToInt, DigitsBehindThePointAreAppended) {
    EXPECT_EQ(to_int({0xC1, 0x0D, 0x33}), 1250);
    EXPECT_EQ(to_int(sample::decimal("1.0001").value()), 10001);
}

TEST(NumberToInt, ValuesBeyond32BitsWrap) {
    EXPECT_EQ(to_int(sample::number(4294967296).value()), 0);
    EXPECT_EQ(to_int(sample::number(4294967297).value()), 1);
    EXPECT_EQ(to_int(sample::number(2147483648).value()), INT_MIN);
    EXPECT_EQ(to_int(sample::number(4294967295).value()), -1);
}

TEST(NumberToInt, LargestExponentWrapsToZero) {
    // 100 to the 62nd is a multiple of 2 to the 32nd.
    EXPECT_EQ(to_int({0xFF, 0x02}), 0);
}

TEST(NumberToInt, DigitBytesAreNotChecked) {
    EXPECT_EQ(to_int({0xC1, 0x00}), -1);
    EXPECT_EQ(to_int({0xC2, 0x02, 0x00}), 99);
    EXPECT_EQ(to_int({0xC1, 0xFF}), 254);
}

TEST(NumberToInt, LengthZeroGivesMinusOneWhateverStandsThere) {
    for (const uint8_t behind : std::vector<uint8_t>{0x80, 0xC1, 0x00}) {
        const uint8_t byte[] = {behind};
        EXPECT_EQ(ora_number_to_int(byte, 0), -1);
    }
}

TEST(NumberToInt, LengthZeroDoesNotLookAtTheByteBehind) {
    const std::vector<uint8_t> exact{0x00}; // the sanitizer sees a read behind it
    EXPECT_EQ(ora_number_to_int(exact.data() + 1, 0), -1);
}

} // namespace
