#include <gtest/gtest.h>

#include "output/name_pattern.h"
#include "values/errors.h"

namespace vexlo {
namespace {

bool matches(std::string_view pattern, std::string_view owner, std::string_view table) {
    return NamePattern(pattern).matches(owner, table);
}

TEST(NamePattern, NamesMatchInEitherCase) {
    EXPECT_TRUE(matches("scott.emp", "SCOTT", "EMP"));
    EXPECT_TRUE(matches("SCOTT.EMP", "scott", "Emp"));
    EXPECT_FALSE(matches("SCOTT.EMP", "SCOTT", "EMPS"));
    EXPECT_FALSE(matches("SCOTT.EMP", "SCOTT", "EM"));
    EXPECT_FALSE(matches("SCOTT.EMP", "HR", "EMP"));
}

TEST(NamePattern, StarStandsForAnyCharacters) {
    EXPECT_TRUE(matches("*.*", "SCOTT", "EMP"));
    EXPECT_TRUE(matches("SCOTT.*", "SCOTT", ""));
    EXPECT_TRUE(matches("SCOTT.E*P*", "SCOTT", "EXPEPX"));
    EXPECT_TRUE(matches("SCOTT.*A*B", "SCOTT", "AABAB"));
    EXPECT_FALSE(matches("SCOTT.*A*B", "SCOTT", "AABA"));
}

TEST(NamePattern, QuestionMarkStandsForOneCharacterOfAnyBytes) {
    EXPECT_TRUE(matches("HR.T?", "HR", "T1"));
    EXPECT_TRUE(matches("HR.T?", "HR", "T\xE2\x82\xAC"));
    EXPECT_FALSE(matches("HR.T?", "HR", "T"));
    EXPECT_FALSE(matches("HR.T?", "HR", "T12"));
    EXPECT_TRUE(matches("HR.*?2", "HR", "\xE2\x82\xAC\x32"));
}

TEST(NamePattern, QuotedPartsAreExact) {
    EXPECT_TRUE(matches("hr.\"Emp\"", "HR", "Emp"));
    EXPECT_FALSE(matches("hr.\"Emp\"", "HR", "EMP"));
    EXPECT_TRUE(matches("\"HR\".\"E*.\"\"?\"", "HR", "E*.\"?"));
    EXPECT_FALSE(matches("\"HR\".\"E*\"", "HR", "EMP"));
}

TEST(NamePattern, WithoutAnOwnerAnyOwnerFits) {
    EXPECT_TRUE(matches("emp", "SCOTT", "EMP"));
    EXPECT_TRUE(matches("\"Emp\"", "HR", "Emp"));
    EXPECT_TRUE(matches("emp", "", "EMP"));
}

TEST(NamePattern, ManyStarsTakeNoTimeBeyondTheProductOfLengths) {
    std::string pattern = "O.";
    for (int i = 0; i < 60; ++i)
        pattern += "A*";
    EXPECT_FALSE(matches(pattern + "B", "O", std::string(5000, 'A')));
}

TEST(NamePattern, WhatIsNoPatternIsRefused) {
    for (const char *text : {"", ".", "A.", ".B", "A.B.C", "\"A", "\"\".B", "A.\"B\"C", "A\"B\".C"})
        EXPECT_THROW(NamePattern{text}, UsageError) << text;
}

TEST(NamePattern, KeepsItsText) {
    EXPECT_EQ(NamePattern("scott.\"E\"").text(), "scott.\"E\"");
}

} // namespace
} // namespace vexlo
