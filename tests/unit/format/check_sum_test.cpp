// The check value of a block.
#include <cstddef>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "format/check_sum.h"

namespace vexlo_test {
namespace {

constexpr std::size_t CHECK_VALUE = 16;

using block_bytes = std::vector<std::uint8_t>;

std::uint16_t word(const block_bytes &block, std::size_t at) {
    return static_cast<std::uint16_t>(block[at] | block[at + 1] << 8);
}

void set_word(block_bytes &block, std::size_t at, std::uint16_t v) {
    block[at] = static_cast<std::uint8_t>(v);
    block[at + 1] = static_cast<std::uint8_t>(v >> 8);
}

// Bytes without a pattern that a fold could miss, and 0 for the check value.
block_bytes unsealed(std::size_t size) {
    block_bytes block(size);
    std::uint32_t state = 12345;
    for (std::uint8_t &b : block) {
        state = state * 1664525 + 1013904223;
        b = static_cast<std::uint8_t>(state >> 24);
    }
    set_word(block, CHECK_VALUE, 0);
    return block;
}

std::uint16_t fold(const block_bytes &block) {
    std::uint16_t folded = 0;
    for (std::size_t at = 0; at + 1 < block.size(); at += 2)
        folded = static_cast<std::uint16_t>(folded ^ word(block, at));
    return folded;
}

block_bytes sealed(std::size_t size) {
    block_bytes block = unsealed(size);
    set_word(block, CHECK_VALUE, fold(block));
    return block;
}

int check(block_bytes &block) {
    return check_sum(block.data(), static_cast<int>(block.size()));
}

TEST(CheckSum, FoldOfAllOtherWordsMatchesAtEverySize) {
    for (const std::size_t size :
         {18u, 20u, 22u, 24u, 26u, 30u, 512u, 514u, 2048u, 4096u, 8192u, 16384u, 32768u, 65534u, 65536u}) {
        block_bytes block = sealed(size);
        EXPECT_EQ(check(block), 0) << size;
    }
}

TEST(CheckSum, EverySingleBitCounts) {
    constexpr std::size_t size = 44;
    for (std::size_t bit = 0; bit < 8 * size; bit++) {
        block_bytes block = sealed(size);
        block[bit / 8] = static_cast<std::uint8_t>(block[bit / 8] ^ 1u << bit % 8);
        EXPECT_NE(check(block), 0) << bit;
    }
}

TEST(CheckSum, BytesBehindTheSizeDoNotCount) {
    block_bytes block = sealed(64);
    block.resize(128, 0x5A);
    EXPECT_EQ(check_sum(block.data(), 64), 0);
}

TEST(CheckSum, CheckValueFieldIs0AfterwardsAndNothingElseChanges) {
    block_bytes right = sealed(512), wrong = sealed(512);
    set_word(wrong, CHECK_VALUE, 0xBEEF);
    block_bytes expected = right;
    set_word(expected, CHECK_VALUE, 0);
    check(right);
    check(wrong);
    EXPECT_EQ(right, expected);
    EXPECT_EQ(wrong, expected);
}

TEST(CheckSum, ResultIsTheSavedValueMinusTheFoldAsInt) {
    struct pair {
        std::uint16_t saved, folded;
    };
    for (const auto &[saved, folded] :
         {pair{0, 0xFFFF}, pair{0xFFFF, 0}, pair{5, 7}, pair{7, 5}, pair{0x8000, 0x7FFF}}) {
        block_bytes block(64);
        set_word(block, 40, folded);
        set_word(block, CHECK_VALUE, saved);
        EXPECT_EQ(check(block), int{saved} - int{folded});
    }
}

TEST(CheckSum, BlockTooShortForACheckValueNeverMatchesAndStaysAsItIs) {
    for (std::size_t size = 0; size < CHECK_VALUE + 2; size++) {
        const block_bytes before(size);
        block_bytes block = before;
        EXPECT_NE(check(block), 0) << size;
        EXPECT_EQ(block, before);
    }
}

TEST(CheckSum, LastByteOfAnOddSizeDoesNotCount) {
    block_bytes block = sealed(511);
    EXPECT_EQ(check(block), 0);
    block = sealed(511);
    block[510] = static_cast<std::uint8_t>(block[510] ^ 1);
    EXPECT_EQ(check(block), 0);
}

TEST(CheckSum, FlagByteDoesNotTellWhetherThereIsACheckValue) {
    for (const std::uint8_t flag : {std::uint8_t{0x00}, std::uint8_t{0x04}}) {
        block_bytes block = unsealed(512);
        block[15] = flag;
        ASSERT_NE(fold(block), 0);
        EXPECT_NE(check(block), 0) << int{flag};
    }
    block_bytes zero(512);
    EXPECT_EQ(check(zero), 0);
}

} // namespace
} // namespace vexlo_test
