#include <gtest/gtest.h>

#include "rescue/plan.h"

namespace vexlo {
namespace {

PlannedTable planned(const TableRecord &table, std::string owner, std::string name,
                     std::optional<std::string> partition = {}) {
    PlannedTable made;
    made.table = &table;
    made.owner = std::move(owner);
    made.name = std::move(name);
    made.partition = std::move(partition);
    return made;
}

std::vector<std::string> stems(std::vector<PlannedTable> tables) {
    name_outputs(tables);
    std::vector<std::string> stems;
    for (const PlannedTable &table : tables)
        stems.insert(stems.end(), {table.stem, table.suspect_stem});
    return stems;
}

TEST(OutputNames, AreOwnerAndTable) {
    const TableRecord one{}, two{};
    EXPECT_EQ(stems({planned(one, "SCOTT", "EMP"), planned(two, "UNKNOWN", "OBJ_123")}),
              (std::vector<std::string>{"SCOTT.EMP", "SCOTT.EMP.suspect", "UNKNOWN.OBJ_123",
                                        "UNKNOWN.OBJ_123.suspect"}));
}

TEST(OutputNames, EqualOnesAreNumberedInTheirOrder) {
    const TableRecord one{}, two{}, three{};
    EXPECT_EQ(
        stems({planned(one, "A", "T"), planned(two, "A", "t"), planned(three, "A", "T")}),
        (std::vector<std::string>{"A.T", "A.T.suspect", "A.t_2", "A.t_2.suspect", "A.T_3", "A.T_3.suspect"}));
}

TEST(OutputNames, ATableNamedLikeSuspectRowsKeepsItsName) {
    const TableRecord one{}, two{};
    EXPECT_EQ(stems({planned(one, "A", "T"), planned(two, "A", "T.suspect")}),
              (std::vector<std::string>{"A.T", "A.T.suspect_2", "A.T.suspect", "A.T.suspect.suspect"}));
}

TEST(OutputNames, PartitionsAreInAFolderOfTheirTable) {
    const TableRecord one{}, two{};
    EXPECT_EQ(
        stems({planned(one, "A", "T", "P1"), planned(one, "A", "T", "p1"), planned(two, "A", "T", "P1")}),
        (std::vector<std::string>{"A.T/P1", "A.T/P1.suspect", "A.T/p1_2", "A.T/p1_2.suspect", "A.T_2/P1",
                                  "A.T_2/P1.suspect"}));
}

TEST(OutputNames, LongOnesAreCutAndNeverLeaveTheDirectory) {
    const TableRecord one{}, two{};
    const std::string owner(128, 'O'), name(128, 'T');
    const std::string cut = (owner + "." + name).substr(0, 180);
    EXPECT_EQ(stems({planned(one, owner, name + "1"), planned(two, owner, name + "2")}),
              (std::vector<std::string>{cut, cut + ".suspect", cut + "_2", cut + "_2.suspect"}));
    EXPECT_EQ(stems({planned(one, "..", "/x", "../y")})[0], "%2E..%2Fx/%2E.%2Fy");
}

} // namespace
} // namespace vexlo
