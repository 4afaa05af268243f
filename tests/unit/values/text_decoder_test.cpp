#include <string>

#include <gtest/gtest.h>

#include "values/text_decoder.h"

namespace {

const std::string R = "\xEF\xBF\xBD"; // U+FFFD

std::string repeated(const std::string &text, int times) {
    std::string all;
    while (times-- > 0)
        all += text;
    return all;
}

struct Decoded {
    std::string text;
    uint64_t replaced = 0;
};

Decoded decode(const char *charset, const std::string &bytes) {
    vexlo::TextDecoder decoder(*vexlo::find_charset(charset));
    const std::string padded = bytes + std::string(vexlo::READ_SLACK, '\xFF');
    Decoded result;
    result.text =
        decoder.decode(reinterpret_cast<const uint8_t *>(padded.data()), bytes.size(), result.replaced);
    return result;
}

void expect_decoded(const char *charset, const std::string &bytes, const std::string &text,
                    uint64_t replaced) {
    const Decoded result = decode(charset, bytes);
    EXPECT_EQ(result.text, text);
    EXPECT_EQ(result.replaced, replaced);
}

TEST(TextDecoder, SoundTextIsNotCopied) {
    vexlo::TextDecoder decoder(*vexlo::find_charset("AL32UTF8"));
    const std::string text = "Gr\xC3\xBC\xC3\x9F"
                             "e" +
                             std::string(vexlo::READ_SLACK, ' ');
    uint64_t replaced = 0;
    EXPECT_EQ(decoder.decode(reinterpret_cast<const uint8_t *>(text.data()), 7, replaced).data(),
              text.data());
}

TEST(TextDecoder, InvalidUtf8IsReplacedAndCounted) {
    expect_decoded("AL32UTF8",
                   "a\xFF"
                   "b",
                   "a" + R + "b", 1);
    expect_decoded("AL32UTF8", "a\xC3", "a" + R, 1);
    expect_decoded("AL32UTF8", "\xE4\xB8", R, 1);
    expect_decoded("AL32UTF8", "\xE4\xB8zzz", R + "zzz", 1);
    expect_decoded("AL32UTF8", "\xC0\xAF", R + R, 2);                  // overlong
    expect_decoded("AL32UTF8", "\xF4\x90\x80\x80", repeated(R, 4), 4); // beyond U+10FFFF
    expect_decoded("AL32UTF8", "\xED\xA0\xB4\xED\xB4\x9E", repeated(R, 6), 6);
    expect_decoded("AL32UTF8", std::string(50, '\x80'), repeated(R, 50), 50);
}

TEST(TextDecoder, SurrogatePairsOfTheOlderUtf8AreJoined) {
    expect_decoded("UTF8", "x\xED\xA0\xB4\xED\xB4\x9Ey", "x\xF0\x9D\x84\x9Ey", 0);
    expect_decoded("UTF8", "\xED\xA0\xB4z", repeated(R, 3) + "z", 3);
}

TEST(TextDecoder, InvalidMultibyteIsReplacedAndCounted) {
    expect_decoded("JA16EUC", "\xC6\xFC\xFFz", "\xE6\x97\xA5" + R + "z", 1);
    expect_decoded("US7ASCII", "caf\xE9", "caf" + R, 1);
    expect_decoded("WE8MSWIN1252", "\x81x", R + "x", 1);
}

TEST(TextDecoder, LoneSurrogateCostsOneCodeUnit) {
    expect_decoded("AL16UTF16", std::string("\x00\x41\xD8\x34\x00\x42", 6), "A" + R + "B", 1);
    expect_decoded("AL16UTF16", std::string("\x00\x41\x00", 3), "A" + R, 1);
}

TEST(TextDecoder, LongTextGrowsTheBuffer) {
    const std::string bytes(30000, '\xE9');
    const Decoded result = decode("WE8ISO8859P1", bytes);
    EXPECT_EQ(result.text.size(), 60000U);
    EXPECT_EQ(result.replaced, 0U);
    EXPECT_EQ(decode("US7ASCII", bytes).replaced, 30000U);
}

// One value that ends in the middle of a character leaves nothing behind for the next.
TEST(TextDecoder, ValuesDoNotTouchEachOther) {
    vexlo::TextDecoder decoder(*vexlo::find_charset("JA16SJIS"));
    const std::string broken = "\x93" + std::string(vexlo::READ_SLACK, '\0');
    const std::string sound = "\x93\xFA" + std::string(vexlo::READ_SLACK, '\0');
    uint64_t replaced = 0;
    EXPECT_EQ(decoder.decode(reinterpret_cast<const uint8_t *>(broken.data()), 1, replaced), R);
    EXPECT_EQ(decoder.decode(reinterpret_cast<const uint8_t *>(sound.data()), 2, replaced), "\xE6\x97\xA5");
    EXPECT_EQ(replaced, 1U);
}

// Control characters beside Japanese text are themselves.
TEST(TextDecoder, ShiftJisKeepsControlCharacters) {
    vexlo::TextDecoder decoder(*vexlo::find_charset("JA16SJIS"));
    const std::string mixed = "\x93\xFA\x1A\x1C\x7F\x5C" + std::string(vexlo::READ_SLACK, '\0');
    uint64_t replaced = 0;
    EXPECT_EQ(decoder.decode(reinterpret_cast<const uint8_t *>(mixed.data()), 6, replaced),
              "\xE6\x97\xA5\x1A\x1C\x7F\x5C");
    EXPECT_EQ(replaced, 0U);
}

TEST(TextDecoder, Utf16OfBothByteOrders) {
    const std::string text = "a\xC3\xBC\xE2\x82\xAC\xF0\x9D\x84\x9E";
    expect_decoded("AL16UTF16", std::string("\0a\0\xFC\x20\xAC\xD8\x34\xDD\x1E", 10), text, 0);
    expect_decoded("AL16UTF16LE", std::string("a\0\xFC\0\xAC\x20\x34\xD8\x1E\xDD", 10), text, 0);
}

TEST(TextDecoder, SurrogatesOfUtf16ThatStandAloneAreReplacedOneByOne) {
    expect_decoded("AL16UTF16", std::string("\xDD\x1E\0a", 4), R + "a", 1);
    expect_decoded("AL16UTF16", std::string("\xD8\x34\0a", 4), R + "a", 1);
    expect_decoded("AL16UTF16", "\xD8\x34\xD8\x34\xDD\x1E", R + "\xF0\x9D\x84\x9E", 1);
}

TEST(TextDecoder, CutUtf16EndsInOneReplacement) {
    expect_decoded("AL16UTF16", std::string("\0a\0", 3), "a" + R, 1);
    expect_decoded("AL16UTF16", std::string("\0a\xD8\x34", 4), "a" + R, 1);
    expect_decoded("AL16UTF16", std::string("\0a\xD8\x34\xDD", 5), "a" + R, 1);
}

TEST(TextDecoder, BytesThatASingleByteSetLacksAreReplaced) {
    expect_decoded("WE8MSWIN1252", "\x80\x81\xFCz", "\xE2\x82\xAC" + R + "\xC3\xBCz", 1);
    expect_decoded("US7ASCII", "a\x80", "a" + R, 1);
    expect_decoded("WE8EBCDIC500", "\xC1\xF1", "A1", 0);
}

TEST(TextDecoder, MarksCombineAndWhatIsHeldBackKeepsItsPlace) {
    expect_decoded("VN8MSWIN1258", "a\xCCz", "\xC3\xA0z", 0);             // a, combining grave
    expect_decoded("VN8MSWIN1258", "a\xD2", "\xE1\xBA\xA3", 0);           // a, combining hook above
    expect_decoded("VN8MSWIN1258", "a\x8A\xCC", "a" + R + "\xCC\x80", 1); // nothing to combine with
    expect_decoded("IW8MSWIN1255", "\xF9\xD1\xCC", "\xEF\xAC\xAC", 0);    // shin, shin dot, dagesh
}

} // namespace
