#include <gtest/gtest.h>

#include "dump_writer.h"
#include "values/number.h"
#include "values/text_scan.h"

namespace {

using NumberFormatter = char *(const uint8_t *, size_t, char *);

// What stands behind the value would do as digits of it.
std::string number_text(const Bytes &bytes, NumberFormatter *format = vexlo::format_number) {
    const Bytes padded = bytes + Bytes(vexlo::READ_SLACK, '\x33');
    char out[vexlo::NUMBER_TEXT_MAX];
    char *end = format(reinterpret_cast<const uint8_t *>(padded.data()), bytes.size(), out);
    return end == nullptr ? "invalid" : std::string(&out[0], end);
}

TEST(Number, KnownPatterns) {
    EXPECT_EQ(number_text("\x80"), "0");
    EXPECT_EQ(number_text("\xC1\x02"), "1");
    EXPECT_EQ(number_text("\xC2\x02"), "100");
    EXPECT_EQ(number_text("\xC2\x02\x18"), "123");
    EXPECT_EQ(number_text("\xC2\x0B"), "1000");
    EXPECT_EQ(number_text("\xC3\x02"), "10000");
    EXPECT_EQ(number_text("\xC1\x0D\x33"), "12.5");
    EXPECT_EQ(number_text("\xC0\x33"), "0.5");
    EXPECT_EQ(number_text("\xC0\x06"), "0.05");
    EXPECT_EQ(number_text("\x3E\x64\x66"), "-1");
    EXPECT_EQ(number_text("\x3D\x64\x4E\x66"), "-123");
    EXPECT_EQ(number_text("\x3F\x33\x66"), "-0.5");
}

TEST(Number, Infinities) {
    EXPECT_EQ(number_text("\xFF\x65"), "Infinity");
    EXPECT_EQ(number_text(Bytes(1, '\0')), "-Infinity");
}

TEST(Number, LargestAndSmallest) {
    EXPECT_EQ(number_text(ora_number("9.9999999999999999999999999999999999999E125")),
              "9.9999999999999999999999999999999999999E+125");
    EXPECT_EQ(number_text(ora_number("-9.9999999999999999999999999999999999999E125")),
              "-9.9999999999999999999999999999999999999E+125");
    EXPECT_EQ(number_text(ora_number("1E-130")), "1E-130");
    EXPECT_EQ(number_text(ora_number("-1E-130")), "-1E-130");
}

// Every one of these is exact text that must come back as it went in.
TEST(Number, TextSurvives) {
    for (const char *text : {"1234567890123456789012345678901234567890",
                             "-1234567890123456789012345678901234567890",
                             "0.1234567890123456789012345678901234567891",
                             "12345678901234567890.12345678901234567891",
                             "-98765432109876543210.98765432109876543211",
                             "0.00000000000000000000000000000000000000001",
                             "10000000000000000000000000000000000000000",
                             "99999999",
                             "-99999999",
                             "9999999.9",
                             "1234.5678",
                             "10.01",
                             "100000000",
                             "123456789",
                             "-0.00012",
                             "1000.0001",
                             "20",
                             "-20",
                             "7.25",
                             "65535.25",
                             "0.01",
                             "-100.5"})
        EXPECT_EQ(number_text(ora_number(text)), text);
}

TEST(Number, PlainUpToFortyPaddingZeros) {
    EXPECT_EQ(number_text(ora_number("1E40")), "1" + std::string(40, '0'));
    EXPECT_EQ(number_text(ora_number("1E41")), "1E+41");
    EXPECT_EQ(number_text(ora_number("1E-41")), "0." + std::string(40, '0') + "1");
    EXPECT_EQ(number_text(ora_number("1E-42")), "1E-42");
    EXPECT_EQ(number_text(ora_number("-1.5E60")), "-1.5E+60");
}

TEST(Number, EveryWholeNumberOfFourDigitsAndItsFractions) {
    for (int n = 1; n < 10000; ++n) {
        const std::string whole = std::to_string(n);
        ASSERT_EQ(number_text(ora_number(whole)), whole);
        ASSERT_EQ(number_text(ora_number("-" + whole)), "-" + whole);
        if (n % 10 != 0) {
            ASSERT_EQ(number_text(ora_number("17." + whole)), "17." + whole);
        }
    }
}

// With every exponent, every number of digits up to six, and zeros where they can stand.
TEST(Number, ShortOnesAreWrittenAsLongOnesAre) {
    const char *const digit_lists[] = {"\x02",
                                       "\x0B",
                                       "\x64",
                                       "\x01",
                                       "\x02\x01",
                                       "\x01\x02",
                                       "\x0B\x51",
                                       "\x32\x33\x34",
                                       "\x02\x01\x0B",
                                       "\x64\x64\x64\x64",
                                       "\x02\x01\x01\x0B",
                                       "\x02\x03\x04\x01",
                                       "\x01\x02\x03\x04",
                                       "\x0D\x17\x0B\x51\x02",
                                       "\x02\x03\x04\x05\x06\x07"};
    for (unsigned exponent = 0; exponent < 256; ++exponent)
        for (const Bytes digits : digit_lists) {
            Bytes bytes(1, static_cast<char>(exponent));
            for (const char digit : digits)
                bytes += static_cast<char>(exponent < 0x80 ? 102 - digit : digit);
            if (exponent < 0x80)
                bytes += '\x66';
            ASSERT_EQ(number_text(bytes), number_text(bytes, vexlo::put_long_number))
                << testing::PrintToString(bytes);
        }
}

TEST(Number, EveryByteAtEveryPlaceOfAShortOne) {
    for (const Bytes &sound : {Bytes("\xC1\x02"), Bytes("\xC3\x0D\x33\x65"), Bytes("\xC4\x0D\x33\x16\x02"),
                               Bytes("\x3E\x64\x66"), Bytes("\x3C\x63\x01\x4E\x22\x66")})
        for (size_t at = 0; at < sound.size(); ++at)
            for (unsigned byte = 0; byte < 256; ++byte) {
                Bytes bytes = sound;
                bytes[at] = static_cast<char>(byte);
                ASSERT_EQ(number_text(bytes), number_text(bytes, vexlo::put_long_number))
                    << testing::PrintToString(bytes);
            }
}

TEST(Number, NegativeOfTwentyDigitsHasNoTerminator) {
    const Bytes bytes = ora_number("-1111111111111111111111111111111111111111");
    EXPECT_EQ(bytes.size(), 21U);
    EXPECT_EQ(number_text(bytes), "-1111111111111111111111111111111111111111");
}

TEST(Number, NegativeOfFewerDigitsIsNoneWithoutItsMark) {
    const Bytes nineteen = "\x3E" + Bytes(19, '\x5A');
    for (const Bytes &bytes : {Bytes("SMITH"), Bytes("CODE0"), Bytes("\x3E\x64"), nineteen})
        EXPECT_EQ(number_text(bytes), "invalid") << bytes;
    EXPECT_EQ(number_text(nineteen + "\x66").size(), 40U);
    EXPECT_EQ(number_text(nineteen + "\x5A").size(), 42U);
}

TEST(Number, DigitPairsOfZeroAtTheEndsAreNoDigits) {
    EXPECT_EQ(number_text("\xC2\x01\x02\x01"), "1");
    EXPECT_EQ(number_text("\xC2\x01\x01"), "0");
}

TEST(Number, WhatIsNoNumberIsRefused) {
    EXPECT_EQ(number_text(""), "invalid");
    EXPECT_EQ(number_text("\xC1"), "invalid");
    EXPECT_EQ(number_text(Bytes("\xC1\0", 2)), "invalid");
    EXPECT_EQ(number_text("\xC1\x66"), "invalid");
    EXPECT_EQ(number_text("\x3E\x66"), "invalid");
    EXPECT_EQ(number_text("\x3E\x01"), "invalid");
    EXPECT_EQ(number_text(Bytes("\xC1") + Bytes(22, '\x02')), "invalid");
}

bool is_canonical(const Bytes &bytes) {
    return vexlo::is_canonical_number(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
}

TEST(Number, WhatDatabasesWriteIsCanonical) {
    for (const char *text :
         {"0", "1", "-1", "100", "-100", "12.5", "-0.001", "1E125", "-9.99E-130",
          "1234567890123456789012345678901234567890", "-99999999999999999999999999999999999999",
          "-1234567890123456789012345678901234567891"})
        EXPECT_TRUE(is_canonical(ora_number(text))) << text;
}

// Digits other than NUMBERs have, a mark that is missing or too much, zeros at an end of the digits.
TEST(Number, OtherBytesAreNotCanonical) {
    for (const Bytes &bytes :
         {Bytes("SMITH"), Bytes("CODE0"), Bytes("A"), Bytes(), Bytes("\0", 1), Bytes("\xFF\x65"),
          Bytes("\xC1\x01"), Bytes("\xC1\x02\x01"), Bytes("\xC1\x66"), Bytes("\x3E\x64"), Bytes("\x3E\x66"),
          Bytes("\x3E\x65\x64\x66"), Bytes("\x80\x02"), Bytes("\x00\x02\x66", 3), "\xC1" + Bytes(21, '\x02'),
          "\x3E" + Bytes(20, '\x02') + "\x66", Bytes("\x00\x00\x00\x05", 4)})
        EXPECT_FALSE(is_canonical(bytes)) << testing::PrintToString(bytes);
}

} // namespace
