// The string routines beneath every parser.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "text.h"

namespace vexlo_test {
namespace {

using namespace std::string_literals;

// A writable copy of a text with its NUL.
class text_buffer {
public:
    explicit text_buffer(const std::string &text) : chars_(text.begin(), text.end()) {
        chars_.push_back('\0');
    }
    char *get() { return chars_.data(); }
    std::string all() const { return {chars_.data(), chars_.size() - 1}; }

private:
    std::vector<char> chars_;
};

TEST(ShellTrim, LeftReturnsFirstCharacterThatIsNoWhiteSpaceAndChangesNothing) {
    text_buffer text(" \t\r\n ab ");
    EXPECT_EQ(str_ltrim(text.get()), text.get() + 5);
    EXPECT_EQ(text.all(), " \t\r\n ab ");
}

TEST(ShellTrim, LeftOfAllBlankOrEmptyTextIsItsTerminator) {
    for (const char *blank : {"", " ", " \t\r\n"}) {
        text_buffer text(blank);
        EXPECT_EQ(str_ltrim(text.get()), text.get() + std::strlen(blank));
    }
}

TEST(ShellTrim, RightOverwritesEveryTrailingWhiteSpaceByteWithNul) {
    text_buffer text("ab \t\r\n");
    EXPECT_EQ(str_rtrim(text.get()), text.get());
    EXPECT_EQ(text.all(), "ab\0\0\0\0"s);
}

TEST(ShellTrim, RightStopsAtTheFirstOtherByteFromTheEnd) {
    text_buffer text(" a b ");
    EXPECT_STREQ(str_rtrim(text.get()), " a b");
}

TEST(ShellTrim, RightStopsAtTheStartOfAnAllBlankText) {
    text_buffer text(" \n\t");
    EXPECT_EQ(str_rtrim(text.get()), text.get());
    EXPECT_EQ(text.all(), "\0\0\0"s);
    text_buffer empty("");
    EXPECT_STREQ(str_rtrim(empty.get()), "");
}

TEST(ShellTrim, WhiteSpaceIsExactlySpaceTabLfAndCr) {
    for (int c = 1; c < 256; c++) {
        const char byte = static_cast<char>(c);
        const bool white = c == ' ' || c == '\t' || c == '\n' || c == '\r';
        text_buffer left(std::string(1, byte) + "x"), right("x" + std::string(1, byte));
        EXPECT_EQ(str_ltrim(left.get()) - left.get(), white ? 1 : 0) << c;
        EXPECT_EQ(std::strlen(str_rtrim(right.get())), white ? 1u : 2u) << c;
    }
}

TEST(ShellUpper, ChangesTheBytesAToZOnly) {
    for (int c = 1; c < 256; c++) {
        text_buffer text(std::string(1, static_cast<char>(c)));
        str_toupper(text.get());
        const int expected = c >= 97 && c <= 122 ? c - 32 : c;
        EXPECT_EQ(static_cast<unsigned char>(text.get()[0]), expected) << c;
    }
}

TEST(ShellUpper, RunsToTheNul) {
    text_buffer text("scott\0tiger"s);
    str_toupper(text.get());
    EXPECT_EQ(text.all(), "SCOTT\0tiger"s);
}

TEST(ShellSplit, FirstWordEndsAtSpaceOrTabAndBlanksBehindItAreSkipped) {
    for (const char *line : {"user scott tiger", "user\tscott tiger", "user \t  scott tiger"}) {
        text_buffer text(line);
        EXPECT_STREQ(end_first_word(text.get()), "scott tiger");
        EXPECT_STREQ(text.get(), "user");
    }
}

TEST(ShellSplit, WithNothingBehindTheWordTheRestIsEmpty) {
    for (const char *line : {"user", "", "user ", "user \t"}) {
        text_buffer text(line);
        EXPECT_STREQ(end_first_word(text.get()), "");
    }
}

TEST(ShellSplit, LeadingBlankIsAnEmptyWord) {
    text_buffer text(" scott");
    EXPECT_STREQ(end_first_word(text.get()), "scott");
    EXPECT_STREQ(text.get(), "");
}

TEST(ShellCleanLine, CutsAtTheFirstHashThenTrims) {
    for (const auto &[line, clean] :
         {std::pair{"a # b # c\n", "a"}, std::pair{"# a", ""}, std::pair{"\t a b\r\n", "a b"},
          std::pair{"a#", "a"}, std::pair{"", ""}, std::pair{" \n", ""}}) {
        text_buffer text(line);
        EXPECT_STREQ(clean_line(text.get()), clean) << line;
    }
}

} // namespace
} // namespace vexlo_test
