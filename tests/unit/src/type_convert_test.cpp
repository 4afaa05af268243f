// The type texts of columns.
#include <gtest/gtest.h>

#include "value.h"

namespace {

constexpr int NATIONAL = 0x1000;

TEST(TypeString, TextOfEveryTypeInBothCharacterSets) {
    struct {
        int ctyp;
        const char *text;
        const char *national;
    } cases[] = {
        {1, "VARCHAR2(20)", "NVARCHAR2(20)"},
        {2, "NUMBER", "NUMBER"},
        {8, "LONG", "LONG"},
        {12, "DATE", "DATE"},
        {23, "RAW(20)", "RAW(20)"},
        {24, "LONG RAW", "LONG RAW"},
        {96, "CHAR(20)", "NCHAR(20)"},
        {100, "BINARY_FLOAT", "BINARY_FLOAT"},
        {101, "BINARY_DOUBLE", "BINARY_DOUBLE"},
        {112, "CLOB", "NCLOB"},
        {113, "BLOB", "BLOB"},
        {180, "TIMESTAMP", "TIMESTAMP"},
        {181, "TIMESTAMP WITH TIME ZONE", "TIMESTAMP WITH TIME ZONE"},
        {182, "INTERVAL YEAR TO MOTH", "INTERVAL YEAR TO MOTH"},
        {183, "INTERVAL DAY TO SECOND", "INTERVAL DAY TO SECOND"},
        {231, "TIMESTAMP WITH LOCAL TIME ZONE", "TIMESTAMP WITH LOCAL TIME ZONE"},
    };
    for (const auto &c : cases) {
        EXPECT_STREQ(type_string(0, c.ctyp, 20), c.text) << c.ctyp;
        EXPECT_STREQ(type_string(NATIONAL, c.ctyp, 20), c.national) << c.ctyp;
    }
}

TEST(TypeString, IntervalYearToMonthIsSpeltWithoutTheN) {
    EXPECT_STREQ(type_string(0, 182, 5), "INTERVAL YEAR TO MOTH");
}

TEST(TypeString, EveryOtherCodeIsUnknown) {
    for (int ctyp : {0, 3, 9, 11, 58, 69, 95, 102, 111, 114, 121, 123, 184, 208, 230, 232, 65535, -1})
        for (int flag : {0, NATIONAL})
            EXPECT_STREQ(type_string(flag, ctyp, 10), "UNKNOWN") << ctyp;
}

TEST(TypeString, OtherFlagsDoNotChooseTheNationalText) {
    EXPECT_STREQ(type_string(~NATIONAL, 96, 20), "CHAR(20)");
    EXPECT_STREQ(type_string(~0, 96, 20), "NCHAR(20)");
}

TEST(TypeString, LengthIsShownAsStored) {
    EXPECT_STREQ(type_string(0, 1, 4000), "VARCHAR2(4000)");
    EXPECT_STREQ(type_string(0, 1, 0), "VARCHAR2(0)");
    EXPECT_STREQ(type_string(NATIONAL, 1, -1), "NVARCHAR2(-1)");
}

TEST(TypeString, LengthIsShownForNoOtherType) {
    EXPECT_STREQ(type_string(0, 2, 22), "NUMBER");
    EXPECT_STREQ(type_string(0, 180, 11), "TIMESTAMP");
}

TEST(TypeString, EveryCallReturnsTheSameBuffer) {
    char *first = type_string(0, 2, 22);
    EXPECT_STREQ(first, "NUMBER");
    char *second = type_string(0, 12, 7);
    EXPECT_EQ(first, second);
    EXPECT_STREQ(first, "DATE");
}

} // namespace
