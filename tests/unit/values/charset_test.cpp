#include <gtest/gtest.h>

#include "charset_samples.h"
#include "values/charset.h"
#include "values/errors.h"
#include "values/text_decoder.h"

namespace {

std::string decode(const vexlo::Charset &set, const std::string &bytes, uint64_t &replaced) {
    vexlo::TextDecoder decoder(set);
    const std::string padded = bytes + std::string(vexlo::READ_SLACK, '\xFF');
    return std::string(
        decoder.decode(reinterpret_cast<const uint8_t *>(padded.data()), bytes.size(), replaced));
}

TEST(Charset, EverySampleReadsAsItsText) {
    for (const CharsetSample &sample : CHARSET_SAMPLES) {
        const vexlo::Charset *set = vexlo::find_charset(sample.oracle);
        ASSERT_NE(set, nullptr) << sample.oracle;
        uint64_t replaced = 0;
        EXPECT_EQ(decode(*set, std::string(sample.bytes, static_cast<size_t>(sample.size)), replaced),
                  sample.utf8)
            << sample.oracle;
        EXPECT_EQ(replaced, 0U) << sample.oracle;
    }
}

TEST(Charset, EverySetHasASample) {
    for (const vexlo::Charset &set : vexlo::known_charsets()) {
        bool found = false;
        for (const CharsetSample &sample : CHARSET_SAMPLES)
            found |= set.oracle == sample.oracle;
        EXPECT_TRUE(found) << set.oracle;
    }
}

// The fast path takes a text of bytes below 0x80 for ASCII: that has to be true of every set that allows it.
TEST(Charset, PrintableAsciiIsTheSameWhereTheTableSaysSo) {
    std::string printable;
    for (char c = ' '; c < '\x7F'; ++c)
        printable += c;
    for (vexlo::Charset set : vexlo::known_charsets()) {
        if (!set.ascii)
            continue;
        set.ascii = false;
        uint64_t replaced = 0;
        EXPECT_EQ(decode(set, printable, replaced), printable) << set.oracle;
    }
}

TEST(Charset, NamesAreFoundInAnyCase) {
    ASSERT_NE(vexlo::find_charset("al32utf8"), nullptr);
    EXPECT_EQ(vexlo::find_charset("al32utf8")->oracle, "AL32UTF8");
    EXPECT_EQ(vexlo::find_charset("AL32UTF"), nullptr);
    EXPECT_EQ(vexlo::find_charset(""), nullptr);
}

TEST(Charset, UserMayNameOneOfIconv) {
    const std::string iconv_name = "ISO-8859-16", oracle_name = "WE8MSWIN1252";
    EXPECT_EQ(vexlo::charset_of_user(oracle_name).codec, vexlo::Codec::iconv);
    EXPECT_TRUE(vexlo::charset_of_user(iconv_name).ascii);
    const std::string ebcdic = "CP037";
    EXPECT_FALSE(vexlo::charset_of_user(ebcdic).ascii);
    EXPECT_THROW(vexlo::charset_of_user("NO-SUCH-SET"), vexlo::UsageError);
}

// A bad unit, at whichever place, costs one replacement, and the units behind it are read as what they are.
TEST(Charset, WideSetsThatTheUserNamesKeepTheirAlignmentBehindABadUnit) {
    using namespace std::string_literals;
    const std::string replaced_between = "A\xEF\xBF\xBD\xE2\x82\xAC";
    const std::pair<const char *, std::string> bad[] = {
        {"UTF-16BE", "\0A\xDC\x00\x20\xAC"s},          {"UTF-16BE", "\0A\xD8\x34\x20\xAC"s},
        {"utf-16le", "A\0\x00\xDC\xAC\x20"s},          {"UTF16LE", "A\0\x34\xD8\xAC\x20"s},
        {"UCS-2BE", "\0A\xDC\x00\x20\xAC"s},           {"UTF-32BE", "\0\0\0A\x7F\0\0\0\0\0\x20\xAC"s},
        {"UCS-4BE", "\0\0\0A\0\x11\0\0\0\0\x20\xAC"s}, {"UCS-4BE", "\0\0\0A\x7F\xFF\xFF\xFF\0\0\x20\xAC"s},
        {"UCS-4LE", "A\0\0\0\0\0\x20\0\xAC\x20\0\0"s}, {"UTF-32LE", "A\0\0\0\0\0\0\x7F\xAC\x20\0\0"s},
    };
    for (const auto &[name, bytes] : bad) {
        uint64_t replaced = 0;
        EXPECT_EQ(decode(vexlo::charset_of_user(name), bytes, replaced), replaced_between) << name;
        EXPECT_EQ(replaced, 1U) << name;
    }
    uint64_t replaced = 0;
    EXPECT_EQ(decode(vexlo::charset_of_user("UTF-16BE"), "\0A\x20\xAC\0"s, replaced),
              "A\xE2\x82\xAC\xEF\xBF\xBD");
    EXPECT_EQ(replaced, 1U);
    EXPECT_EQ(vexlo::charset_of_user("UTF-16BE").unit, 2U);
    EXPECT_EQ(vexlo::charset_of_user("ISO-2022-JP").unit, 1U);
}

TEST(Charset, NumbersOfTheDictionaryAreThoseOfKnownSets) {
    EXPECT_EQ(vexlo::charset_of_number(31), "WE8ISO8859P1");
    EXPECT_EQ(vexlo::charset_of_number(873), "AL32UTF8");
    EXPECT_EQ(vexlo::charset_of_number(2000), "AL16UTF16");
    EXPECT_EQ(vexlo::charset_of_number(0), "");
    for (uint32_t number = 1; number <= 2000; ++number) {
        const std::string_view name = vexlo::charset_of_number(number);
        EXPECT_TRUE(name.empty() || vexlo::find_charset(name) != nullptr) << name;
    }
}

} // namespace
