#include <gtest/gtest.h>

#include "rescue/declared_type.h"

namespace vexlo {
namespace {

struct Declared {
    const char *text;
    uint16_t type;
    uint32_t length = 22;
    int16_t precision = NO_NUMBER;
    int16_t scale = NO_NUMBER;
    uint8_t charset_form = 0;
    uint32_t character_length = 0;
    uint64_t property = 0;
};

ColumnRecord column_of(const Declared &declared) {
    ColumnRecord column{};
    column.type = declared.type;
    column.length = declared.length;
    column.precision = declared.precision;
    column.scale = declared.scale;
    column.charset_form = declared.charset_form;
    column.character_length = declared.character_length;
    column.property = declared.property;
    return column;
}

void expect_texts(std::initializer_list<Declared> list) {
    for (const Declared &declared : list)
        EXPECT_EQ(declared_type(column_of(declared)), declared.text);
}

TEST(DeclaredType, NumbersHavePrecisionAndScale) {
    expect_texts({{"NUMBER", 2},
                  {"NUMBER(10)", 2, 22, 10, 0},
                  {"NUMBER(10,2)", 2, 22, 10, 2},
                  {"NUMBER(10,-2)", 2, 22, 10, -2},
                  {"NUMBER(*,0)", 2, 22, NO_NUMBER, 0},
                  {"FLOAT(126)", 2, 22, 126}});
}

TEST(DeclaredType, TextIsCountedInBytesOrCharacters) {
    expect_texts({{"VARCHAR2(20)", 1, 20, NO_NUMBER, NO_NUMBER, 1},
                  {"VARCHAR2(5 CHAR)", 1, 20, NO_NUMBER, NO_NUMBER, 1, 5, COLUMN_CHARACTER_LENGTH},
                  {"CHAR(3)", 96, 3, NO_NUMBER, NO_NUMBER, 1},
                  {"NVARCHAR2(20)", 1, 40, NO_NUMBER, NO_NUMBER, 2, 20},
                  {"NCHAR(2)", 96, 4, NO_NUMBER, NO_NUMBER, 2, 2},
                  {"RAW(16)", 23, 16}});
}

TEST(DeclaredType, MomentsAndIntervalsHavePrecisions) {
    expect_texts({{"DATE", 12, 7},
                  {"TIMESTAMP(6)", 180, 11, NO_NUMBER, 6},
                  {"TIMESTAMP(6) WITH TIME ZONE", 181, 13, NO_NUMBER, 6},
                  {"TIMESTAMP(3) WITH LOCAL TIME ZONE", 231, 11, NO_NUMBER, 3},
                  {"INTERVAL YEAR(2) TO MONTH", 182, 5, 2, 0},
                  {"INTERVAL DAY(2) TO SECOND(6)", 183, 11, 2, 6}});
}

TEST(DeclaredType, LargeObjectsAndTypesWithoutAName) {
    expect_texts({{"LONG", 8, 0},
                  {"LONG RAW", 24, 0},
                  {"CLOB", 112, 4000, NO_NUMBER, NO_NUMBER, 1},
                  {"NCLOB", 112, 4000, NO_NUMBER, NO_NUMBER, 2},
                  {"BLOB", 113, 4000},
                  {"BFILE", 114, 530},
                  {"JSON", 119, 8200},
                  {"UNKNOWN(121)", 121, 1}});
}

} // namespace
} // namespace vexlo
