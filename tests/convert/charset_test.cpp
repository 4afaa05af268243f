#include "charset.h"

#include <gtest/gtest.h>

#include "charset_samples.h"
#include "errors.h"
#include "text_decoder.h"

namespace {

std::string decode(const convert::Charset &set, const std::string &bytes, uint64_t &replaced) {
    convert::TextDecoder decoder(set);
    const std::string padded = bytes + std::string(convert::READ_SLACK, '\xFF');
    return std::string(
        decoder.decode(reinterpret_cast<const uint8_t *>(padded.data()), bytes.size(), replaced));
}

TEST(Charset, EverySampleReadsAsItsText) {
    for (const CharsetSample &sample : CHARSET_SAMPLES) {
        const convert::Charset *set = convert::find_charset(sample.oracle);
        ASSERT_NE(set, nullptr) << sample.oracle;
        uint64_t replaced = 0;
        EXPECT_EQ(decode(*set, std::string(sample.bytes, static_cast<size_t>(sample.size)), replaced),
                  sample.utf8)
            << sample.oracle;
        EXPECT_EQ(replaced, 0U) << sample.oracle;
    }
}

TEST(Charset, EverySetHasASample) {
    for (const convert::Charset &set : convert::known_charsets()) {
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
    for (convert::Charset set : convert::known_charsets()) {
        if (!set.ascii)
            continue;
        set.ascii = false;
        uint64_t replaced = 0;
        EXPECT_EQ(decode(set, printable, replaced), printable) << set.oracle;
    }
}

TEST(Charset, NamesAreFoundInAnyCase) {
    ASSERT_NE(convert::find_charset("al32utf8"), nullptr);
    EXPECT_EQ(convert::find_charset("al32utf8")->oracle, "AL32UTF8");
    EXPECT_EQ(convert::find_charset("AL32UTF"), nullptr);
    EXPECT_EQ(convert::find_charset(""), nullptr);
}

TEST(Charset, UserMayNameOneOfIconv) {
    const std::string iconv_name = "ISO-8859-16", oracle_name = "WE8MSWIN1252";
    EXPECT_EQ(convert::charset_of_user(oracle_name).codec, convert::Codec::iconv);
    EXPECT_TRUE(convert::charset_of_user(iconv_name).ascii);
    const std::string ebcdic = "CP037";
    EXPECT_FALSE(convert::charset_of_user(ebcdic).ascii);
    EXPECT_THROW(convert::charset_of_user("NO-SUCH-SET"), convert::UsageError);
}

} // namespace
