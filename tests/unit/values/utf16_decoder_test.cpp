#include <gtest/gtest.h>

#include "values/utf16_decoder.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Decodes `bytes` in two pieces, the first of `cut` bytes.
std::string decode(const Bytes &bytes, size_t cut, bool little_endian, uint64_t *replaced = nullptr) {
    vexlo::Utf16Decoder decoder(little_endian);
    std::string text;
    decoder.append(std::span(bytes).first(cut), text);
    decoder.append(std::span(bytes).subspan(cut), text);
    decoder.finish(text);
    if (replaced != nullptr)
        *replaced = decoder.replaced();
    return text;
}

TEST(Utf16Decoder, PiecesMayBeCutAnywhere) {
    const Bytes bytes = {0x00, 'a', 0x00, 0xE9, 0x20, 0xAC, 0xD8, 0x3D, 0xDE, 0x00, 0xFF, 0xFD};
    for (size_t cut = 0; cut <= bytes.size(); ++cut)
        EXPECT_EQ(decode(bytes, cut, false), "a\u00E9\u20AC\U0001F600\uFFFD") << cut;
}

TEST(Utf16Decoder, LittleEndian) {
    const Bytes bytes = {'a', 0x00, 0x3D, 0xD8, 0x00, 0xDE};
    for (size_t cut = 0; cut <= bytes.size(); ++cut)
        EXPECT_EQ(decode(bytes, cut, true), "a\U0001F600") << cut;
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
