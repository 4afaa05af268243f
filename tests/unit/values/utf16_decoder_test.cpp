#include <gtest/gtest.h>

#include "bytes.h"
#include "values/utf16_decoder.h"

namespace {

using ByteVector = vexlo_test::bytes;

// Decodes `bytes` in two pieces, the first of `cut` bytes.
std::string decode(const ByteVector &bytes, size_t cut, bool little_endian, uint64_t *replaced = nullptr) {
    vexlo::Utf16Decoder decoder(little_endian);
    std::string text;
    // Each piece into memory of its own, of exactly the room that it needs.
    const auto add = [&text](size_t size, auto &&put) {
        std::vector<char> out(vexlo::Utf16Decoder::room(size));
        text.append(out.data(), put(out.data()));
    };
    add(cut, [&](char *out) { return decoder.put(std::span(bytes).first(cut), out); });
    add(bytes.size() - cut, [&](char *out) { return decoder.put(std::span(bytes).subspan(cut), out); });
    add(0, [&](char *out) { return decoder.finish(out); });
    if (replaced != nullptr)
        *replaced = decoder.replaced();
    return text;
}

TEST(Utf16Decoder, PiecesMayBeCutAnywhere) {
    const ByteVector bytes = {0x00, 'a', 0x00, 0xE9, 0x20, 0xAC, 0xD8, 0x3D, 0xDE, 0x00, 0xFF, 0xFD};
    for (size_t cut = 0; cut <= bytes.size(); ++cut)
        EXPECT_EQ(decode(bytes, cut, false), "a\u00E9\u20AC\U0001F600\uFFFD") << cut;
}

TEST(Utf16Decoder, LittleEndian) {
    const ByteVector bytes = {'a', 0x00, 0x3D, 0xD8, 0x00, 0xDE};
    for (size_t cut = 0; cut <= bytes.size(); ++cut)
        EXPECT_EQ(decode(bytes, cut, true), "a\U0001F600") << cut;
}

// Characters of one to four bytes in UTF-8 at every place among ASCII letters, which are taken eight at once.
TEST(Utf16Decoder, OtherCharactersStandAnywhereAmongLetters) {
    const std::pair<std::u16string, std::string> others[] = {
        {u"\u0080", "\u0080"}, {u"\u2A00", "\u2A00"}, {u"\u4100", "\u4100"}, {u"\U0001F600", "\U0001F600"}};
    for (const auto &[units, text] : others)
        for (size_t place = 0; place <= 17; ++place)
            for (const bool little_endian : {false, true}) {
                const std::u16string whole =
                    std::u16string(place, u'x') + units + std::u16string(17 - place, u'y');
                ByteVector bytes;
                for (const char16_t unit : whole) {
                    bytes.push_back(static_cast<uint8_t>(little_endian ? unit : unit >> 8));
                    bytes.push_back(static_cast<uint8_t>(little_endian ? unit >> 8 : unit));
                }
                for (size_t cut = 0; cut <= bytes.size(); ++cut)
                    EXPECT_EQ(decode(bytes, cut, little_endian),
                              std::string(place, 'x') + text + std::string(17 - place, 'y'));
            }
}

TEST(Utf16Decoder, HalfSurrogatePairsAreReplaced) {
    uint64_t replaced = 0;
    EXPECT_EQ(decode({0xD8, 0x3D, 0x00, 'a'}, 0, false, &replaced), "\uFFFDa");
    EXPECT_EQ(replaced, 1u);
    EXPECT_EQ(decode({0xDE, 0x00, 0x00, 'a'}, 0, false, &replaced), "\uFFFDa");
    EXPECT_EQ(replaced, 1u);
    EXPECT_EQ(decode({0xD8, 0x3D, 0xD8, 0x3D, 0xDE, 0x00}, 0, false, &replaced), "\uFFFD\U0001F600");
    EXPECT_EQ(replaced, 1u);
}

TEST(Utf16Decoder, WhatTheEndCutsOffIsReplaced) {
    uint64_t replaced = 0;
    EXPECT_EQ(decode({0x00, 'a', 0xD8, 0x3D}, 0, false, &replaced), "a\uFFFD");
    EXPECT_EQ(replaced, 1u);
    EXPECT_EQ(decode({0x00, 'a', 0x00}, 0, false, &replaced), "a\uFFFD");
    EXPECT_EQ(replaced, 1u);
}

} // namespace
