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
        ASSERT_FALSE((vexlo::holds_any<',', '"', '\n'>('\xFF', text.data(), size))) << size;
        for (size_t at = 0; at < size; ++at) {
            text[at] = '\x80';
            ASSERT_FALSE(vexlo::is_ascii(text.data(), size)) << size << " " << at;
            text[at] = '\n';
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

} // namespace
