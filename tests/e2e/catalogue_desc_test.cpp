// "desc": table arguments, their messages, and the columns of a table.
#include "catalogue_fixture.h"
#include "console_texts.h"

namespace vexlo_test {
namespace {

const std::string HEADER = "COL#  SEGCOL# NAME                            TYPE\n";

const std::string EMP = HEADER + "1     1       EMPNO                           NUMBER\n"
                                 "2     2       ENAME                           NVARCHAR2(20)\n"
                                 "3     3       HIREDATE                        DATE\n"
                                 "0     4       SYS_HIDDEN                      RAW(8)\n"
                                 "4     5       TWO_BITS                        CHAR(6)\n"
                                 "7     8       TWO_MORE                        BINARY_FLOAT\n"
                                 "8     9       NOTES                           LONG\n"
                                 "9     65535   VIRTUAL_PAY                     NUMBER\n"
                                 "10    65535   ROW_PLACE                       UNKNOWN\n";

class DescCommand : public catalogue_test {
protected:
    static answer fails(const std::string &command, const std::string &message) {
        return {command, "", message + DESC_FAILED};
    }
};

TEST_F(DescCommand, ColumnsInSegmentOrderHiddenOnesIncluded) {
    expect_answers({{"desc scott.emp", EMP, ""}});
}

// EMP has columns with each number of the three low flag bits; THREE_BITS and FOUR_BITS have all of them.
TEST_F(DescCommand, OnlyAColumnWithAllThreeLowFlagBitsIsLeftOut) {
    EXPECT_NE(EMP.find("TWO_BITS"), std::string::npos);
    EXPECT_EQ(EMP.find("THREE_BITS"), std::string::npos);
    EXPECT_EQ(EMP.find("FOUR_BITS"), std::string::npos);
    expect_answers({{"desc SCOTT.EMP", EMP, ""}});
}

TEST_F(DescCommand, TableNameAloneBelongsToTheCurrentUser) {
    expect_answers({{"set user scott", "Current user set to \"SCOTT\".\n", ""},
                    {"desc emp", EMP, ""},
                    {"desc scott.emp", EMP, ""},
                    {"desc .emp", EMP, ""},
                    {"desc a..emp", EMP, ""},
                    {"desc \"EMP\"", EMP, ""}});
}

TEST_F(DescCommand, QuotedNamesAreLookedUpAsTyped) {
    const std::string columns = HEADER + "1     1       Id                              NUMBER\n";
    expect_answers({{"desc \"Mixed\".\"Case\"", columns, ""},
                    {"desc \"Mixed.\"Case", columns, ""},
                    fails("desc \"Mixed\".Case", "table \"CASE\" not found.\n"),
                    fails("desc Mixed.\"Case\"", "user \"MIXED\" not found.\n"),
                    fails("desc mixed.case", "user \"MIXED\" not found.\n")});
}

TEST_F(DescCommand, AtMostOneMissingNameIsReported) {
    expect_answers({fails("desc", "user not specified.\n"), fails("desc emp", "user not specified.\n"),
                    fails("desc .", "user not specified.\n"), fails("desc a..b", "user not specified.\n"),
                    fails("desc \"\".emp", "user not specified.\n"),
                    fails("desc scott.", "table not specified.\n"),
                    fails("desc nosuch.", "table not specified.\n"),
                    fails("desc scott.\"\"", "table not specified.\n")});
}

TEST_F(DescCommand, UnknownUserAndUnknownTable) {
    expect_answers({fails("desc nosuch.emp", "user \"NOSUCH\" not found.\n"),
                    fails("desc scott.nosuch", "table \"NOSUCH\" not found.\n"),
                    fails("desc sys.emp", "table \"EMP\" not found.\n"),
                    fails("desc scott.c_orders", "table \"C_ORDERS\" not found.\n")});
}

TEST_F(DescCommand, SegmentBeforeTheLastDotIsTheUser) {
    expect_answers(
        {{"desc a.b.scott.emp", EMP, ""}, fails("desc scott.emp.nosuch", "user \"EMP\" not found.\n")});
}

TEST_F(DescCommand, NoBlanksAreTrimmedAroundDots) {
    expect_answers({fails("desc scott .emp", "user \"SCOTT \" not found.\n"),
                    fails("desc scott. emp", "table \" EMP\" not found.\n"),
                    fails("desc scott.emp now", "table \"EMP NOW\" not found.\n")});
}

TEST_F(DescCommand, NamesKeep31Characters) {
    const std::string kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234";
    store_changed([&](dictionary &d) { d.users[2].name = d.objects[9].name = kept; });
    expect_answers({{"desc " + kept + "56." + kept + "56",
                     HEADER + "1     1       Id                              NUMBER\n", ""}});
}

TEST_F(DescCommand, TableWithoutColumnsShowsTheHeaderAlone) {
    expect_answers({{"desc sys.tab$", HEADER, ""}});
}

TEST_F(DescCommand, FirstTableOfThatNameCounts) {
    store_changed([](dictionary &d) { d.objects[1].name = "EMP"; });
    expect_answers({{"desc scott.emp", EMP, ""}});
}

TEST_F(DescCommand, LongNumbersAndNamesWidenTheirColumns) {
    store_changed([](dictionary &d) {
        for (dict_col &col : d.columns)
            if (col.objn == 120)
                col = {0, 120, 1234567, 0x80000000, 1, 0xFFFFFFFF, "A_COLUMN_OF_31_CHARACTERS_LONG_"};
    });
    expect_answers({{"desc \"Mixed\".\"Case\"",
                     HEADER + "1234567  -2147483648  A_COLUMN_OF_31_CHARACTERS_LONG_  VARCHAR2(-1)\n", ""}});
}

TEST_F(DescCommand, DescribedTableMayBeDropped) {
    expect_answers({{"desc scott.dropped", HEADER, ""}});
}

} // namespace
} // namespace vexlo_test
