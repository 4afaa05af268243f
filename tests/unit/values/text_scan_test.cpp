#include <string>

#include <gtest/gtest.h>

#include "values/text_scan.h"

namespace {

// A text of `size` letters, READ_SLACK bytes behind it that must not count.
std::string padded(size_t size) {
    return std::string(size, 'x') + std::string(vexlo::READ_SLACK, '\xFF');
}

TEST(TextScan, FindsAByteAtEveryPlaceOfEverySize) {
    for (size_t size = 0; size <= 100; ++size) {
        std::string text = padded(size);
        ASSERT_TRUE(vexlo::is_ascii(text.data(), size)) << size;
        ASSERT_TRUE(vexlo::is_ascii_without<'"'>(text.data(), size)) << size;
        ASSERT_FALSE((vexlo::holds_any<',', '"', '\n'>('\xFF', text.data(), size))) << size;
        for (size_t at = 0; at < size; ++at) {
            text[at] = '\x80';
            ASSERT_FALSE(vexlo::is_ascii(text.data(), size)) << size << " " << at;
            ASSERT_FALSE(vexlo::is_ascii_without<'"'>(text.data(), size)) << size << " " << at;
            text[at] = '"';
            ASSERT_FALSE(vexlo::is_ascii_without<'"'>(text.data(), size)) << size << " " << at;
            text[at] = '\n';
            ASSERT_TRUE(vexlo::is_ascii_without<'"'>(text.data(), size)) << size << " " << at;
            ASSERT_TRUE((vexlo::holds_any<',', '"', '\n'>('\r', text.data(), size))) << size << " " << at;
            text[at] = 'x';
        }
    }
}

TEST(TextScan, CopiesEverySize) {
    std::string source;
    for (size_t i = 0; i < 200; ++i)
        source += static_cast<char>('0' + i % 75);
    for (size_t size = 0; size <= 100; ++size) {
        std::string target(size + vexlo::WRITE_SLACK, '\0');
        ASSERT_EQ(vexlo::copy_text(target.data(), source.data(), size), target.data() + size);
        ASSERT_EQ(target.substr(0, size), source.substr(0, size));
    }
}

TEST(TextScan, CopiesWhileItLooks) {
    for (size_t size = 0; size <= 100; ++size) {
        std::string text = padded(size);
        const auto is_plain = [&] {
            std::string target(size + vexlo::WRITE_SLACK, '\0');
            const bool plain = vexlo::copy_if_plain<'"'>(',', text.data(), size, target.data());
            EXPECT_EQ(target.substr(0, size), text.substr(0, size));
            return plain;
        };
        ASSERT_TRUE(is_plain()) << size;
        for (size_t at = 0; at < size; ++at) {
            for (const char c : {'\0', '\n', '\x1F', '"', ',', '\x80', '\xFF'}) {
                text[at] = c;
                ASSERT_FALSE(is_plain()) << size << " " << at;
            }
            for (const char c : {' ', ';', '\'', '\\', '~', '\x7F'}) {
                text[at] = c;
                ASSERT_TRUE(is_plain()) << size << " " << at;
            }
            text[at] = 'x';
        }
    }
}

TEST(TextScan, FindsTwoZerosSideBySide) {
    for (size_t size = 0; size <= 70; ++size) {
        std::string text = std::string(size, 'x') + std::string(vexlo::READ_SLACK, '\0');
        ASSERT_FALSE(vexlo::holds_zero_pair(text.data(), size)) << size;
        for (size_t at = 0; at < size; ++at) {
            text[at] = '\0'; // the last one has a zero behind it that does not count
            ASSERT_FALSE(vexlo::holds_zero_pair(text.data(), size)) << size << " " << at;
            if (at + 1 < size) {
                text[at + 1] = '\0';
                ASSERT_TRUE(vexlo::holds_zero_pair(text.data(), size)) << size << " " << at;
                text[at + 1] = 'x';
            }
            text[at] = 'x';
        }
    }
}

TEST(TextScan, SkipsZerosFromAndToAnyPlace) {
    for (size_t begin = 0; begin < 9; ++begin)
        for (size_t zeros = 0; zeros < 40; ++zeros)
            for (const size_t behind : {0U, 1U, 20U}) {
                const std::string text =
                    std::string(begin, 'x') + std::string(zeros, '\0') + std::string(behind, '\x01');
                const auto *data = reinterpret_cast<const uint8_t *>(text.data());
                ASSERT_EQ(vexlo::skip_zeros(data + begin, data + text.size()), data + begin + zeros);
            }
}

} // namespace
