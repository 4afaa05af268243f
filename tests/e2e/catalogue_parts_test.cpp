// "list parts": table arguments, their messages, and the partitions of a table.
#include "catalogue_fixture.h"

namespace vexlo_test {
namespace {

const std::string SALES_PARTS = "\"SCOTT\".\"SALES\" table partitions:\n"
                                "OBJ#      NAME\n"
                                "103       SALES_P1\n"
                                "104       SALES_P2\n";

std::string not_partitioned(const std::string &user, const std::string &table) {
    return "\"" + user + "\".\"" + table + "\" is not partition table.\n";
}

class ListParts : public catalogue_test {};

TEST_F(ListParts, PartitionsOfOneTableInArrayOrder) {
    expect_answers({{"list parts scott.sales", SALES_PARTS, ""},
                    {"list parts SCOTT.SALES", SALES_PARTS, ""},
                    {"list parts \"SCOTT\".\"SALES\"", SALES_PARTS, ""}});
}

TEST_F(ListParts, TableNameAloneBelongsToTheCurrentUser) {
    expect_answers({{"set user scott", "Current user set to \"SCOTT\".\n", ""},
                    {"list parts sales", SALES_PARTS, ""},
                    {"list parts emp", "", not_partitioned("SCOTT", "EMP")},
                    {"list parts \"Mixed\".\"Case\"", "", not_partitioned("Mixed", "Case")},
                    {"list parts .sales", SALES_PARTS, ""},
                    {"list parts a..sales", SALES_PARTS, ""}});
}

TEST_F(ListParts, OrdinaryTableIsNoPartitionTable) {
    expect_answers({{"list parts scott.emp", "", not_partitioned("SCOTT", "EMP")}});
}

TEST_F(ListParts, AtMostOneMissingNameIsReported) {
    expect_answers({{"list parts", "", "user not specified.\n"},
                    {"list parts emp", "", "user not specified.\n"},
                    {"list parts .", "", "user not specified.\n"},
                    {"list parts a..", "", "user not specified.\n"},
                    {"list parts \"\".emp", "", "user not specified.\n"},
                    {"list parts scott.", "", "table not specified.\n"},
                    {"list parts nosuch.", "", "table not specified.\n"},
                    {"list parts scott.\"\"", "", "table not specified.\n"}});
}

TEST_F(ListParts, UnknownUserAndUnknownTable) {
    expect_answers({{"list parts nosuch.emp", "", "user \"NOSUCH\" not found.\n"},
                    {"list parts scott.nosuch", "", "table \"NOSUCH\" not found.\n"},
                    {"list parts \"scott\".sales", "", "user \"scott\" not found.\n"},
                    {"list parts scott.\"sales\"", "", "table \"sales\" not found.\n"},
                    {"list parts sys.sales", "", "table \"SALES\" not found.\n"}});
}

TEST_F(ListParts, SegmentBeforeTheLastDotIsTheUser) {
    expect_answers({{"list parts a.b.scott.sales", SALES_PARTS, ""},
                    {"list parts scott.nosuch.sales", "", "user \"NOSUCH\" not found.\n"},
                    {"list parts \"a.b\".sales", "", "user \"B\"\" not found.\n"}});
}

TEST_F(ListParts, NoBlanksAreTrimmedAroundDots) {
    expect_answers({{"list parts scott .sales", "", "user \"SCOTT \" not found.\n"},
                    {"list parts scott. sales", "", "table \" SALES\" not found.\n"},
                    {"list parts \"SCOTT\" x.sales", SALES_PARTS, ""},
                    {"list parts scott.\"SALES\" x", SALES_PARTS, ""}});
}

TEST_F(ListParts, NamesKeep31Characters) {
    const std::string kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234";
    store_changed([&](dictionary &d) { d.users[1].name = d.objects[2].name = kept; });
    const std::string parts =
        "\"" + kept + "\".\"" + kept +
        "\" table partitions:\nOBJ#      NAME\n103       SALES_P1\n104       SALES_P2\n";
    expect_answers({{"list parts " + kept + "56." + kept + "56", parts, ""},
                    {"list parts \"" + kept + "56\".\"" + kept + "56\"", parts, ""}});
}

TEST_F(ListParts, CompositePartitionedTableShowsTitleAndHeaderAlone) {
    expect_answers(
        {{"list parts scott.compo", "\"SCOTT\".\"COMPO\" table partitions:\nOBJ#      NAME\n", ""}});
}

TEST_F(ListParts, FirstTableOfThatNameCounts) {
    store_changed([](dictionary &d) {
        d.objects[1].name = "SALES"; // DEPT comes before the partitioned table
    });
    expect_answers({{"list parts scott.sales", "", not_partitioned("SCOTT", "SALES")}});
}

TEST_F(ListParts, ObjectThatIsNoTableIsNotFound) {
    expect_answers({{"list parts scott.c_orders", "", "table \"C_ORDERS\" not found.\n"},
                    {"list parts scott.sales_p1", "", "table \"SALES_P1\" not found.\n"}});
}

TEST_F(ListParts, LongPartitionNumbersWidenTheirColumn) {
    store_changed([](dictionary &d) {
        d.objects.push_back({0, 1234567890, 10, 19, "LAST"});
        dict_tabpart part;
        part.objn = 1234567890;
        part.objp = 102;
        d.parts = {part};
    });
    expect_answers({{"list parts scott.sales",
                     "\"SCOTT\".\"SALES\" table partitions:\nOBJ#      NAME\n1234567890  LAST\n", ""}});
}

} // namespace
} // namespace vexlo_test
