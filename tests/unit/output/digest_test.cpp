#include <string>

#include <gtest/gtest.h>

#include "output/digest.h"

namespace vexlo {
namespace {

uint32_t crc32_of(const std::string &text) {
    Digest digest;
    digest.add(text.data(), text.size());
    return digest.crc32();
}

TEST(Digest, GivesTheWellKnownValues) {
    EXPECT_EQ(crc32_of(""), 0U);
    EXPECT_EQ(crc32_of("123456789"), 0xCBF43926U);
    EXPECT_EQ(crc32_of("The quick brown fox jumps over the lazy dog"), 0x414FA339U);
    EXPECT_EQ(crc32_of(std::string(32, '\0')), 0x190A55ADU);
}

TEST(Digest, IsWhatTablesGiveWhateverTheProcessorCan) {
    std::string text;
    for (int i = 0; i < 1000; ++i)
        text += static_cast<char>(i * 131 + i / 7);
    for (size_t start = 0; start < 3; ++start)
        for (size_t size = 0; size <= text.size() - start; ++size) {
            const std::string part = text.substr(start, size);
            const auto *bytes = reinterpret_cast<const uint8_t *>(part.data());
            ASSERT_EQ(crc32_of(part), ~crc32_by_tables(bytes, size, 0xFFFFFFFF)) << size;
        }
}

TEST(Digest, TakesWhatAnotherHasTaken) {
    std::string text;
    for (int i = 0; i < 300; ++i)
        text += static_cast<char>(i * 7);
    for (size_t cut = 0; cut <= text.size(); ++cut) {
        Digest digest, next;
        digest.add(text.data(), cut);
        next.add(text.data() + cut, text.size() - cut);
        digest.append(next);
        EXPECT_EQ(digest.crc32(), crc32_of(text)) << cut;
        EXPECT_EQ(digest.bytes(), text.size());
    }
}

TEST(Digest, DoesNotDependOnHowTheBytesAreCut) {
    std::string text;
    for (int i = 0; i < 300; ++i)
        text += static_cast<char>(i * 7);
    for (size_t cut = 0; cut <= text.size(); ++cut) {
        Digest digest;
        digest.add(text.data(), cut);
        digest.add(text.data() + cut, text.size() - cut);
        EXPECT_EQ(digest.crc32(), crc32_of(text)) << cut;
        EXPECT_EQ(digest.bytes(), text.size());
    }
}

TEST(Digest, TakesZerosByTheirNumber) {
    const std::string head = "head", tail = "tail";
    for (const size_t size : {0U, 1U, 2U, 15U, 255U, 4096U, 1000003U}) {
        const std::string zeros(size, '\0');
        Digest digest;
        digest.add(head.data(), head.size());
        digest.add_zeros(size);
        digest.add(tail.data(), tail.size());
        EXPECT_EQ(digest.crc32(), crc32_of(head + zeros + tail)) << size;
        EXPECT_EQ(digest.bytes(), head.size() + size + tail.size());
    }
}

TEST(Digest, TakesMoreZerosThanThereIsMemory) {
    constexpr uint64_t HALF = uint64_t{1} << 61;
    Digest once, twice;
    once.add_zeros(2 * HALF);
    twice.add_zeros(HALF);
    twice.add_zeros(HALF);
    EXPECT_EQ(once.crc32(), twice.crc32());
    EXPECT_EQ(once.bytes(), 2 * HALF);
}

} // namespace

} // namespace vexlo
