// The vector of special tables that the sort of objects fills: which record gives an entry, what a missing
// one says, and what a failed check leaves behind.
#include <algorithm>

#include "special_tables.h"

namespace vexlo_test {
namespace {

class SortObjects : public SpecialTables {};

TEST_F(SortObjects, EntriesHoldTheObjectNumbersInFixedOrder) {
    std::vector<OBJ> objects = special_objects();
    std::reverse(objects.begin(), objects.end());
    ASSERT_EQ(sort_obj(objects), 0);
    EXPECT_EQ(said_, "");
    EXPECT_EQ(sobj_, ALL_SPECIAL);
}

TEST_F(SortObjects, OfTwoObjectsWithOneNameTheHigherNumberCounts) {
    std::vector<OBJ> objects = special_objects();
    objects.push_back(object(SPECIAL_OBJN + 50, 0, "LOB$"));
    objects.push_back(object(7, 0, "LOB$"));
    ASSERT_EQ(sort_obj(objects), 0);
    EXPECT_EQ(sobj_[0], SPECIAL_OBJN + 50);
}

TEST_F(SortObjects, ObjectsOfOtherOwnersDoNotCount) {
    EXPECT_EQ(said_with(0, object(10, 1, "LOB$")), "table \"LOB$\" obj# not found.\n");
    EXPECT_EQ(said_with(4, object(10, 0xFFFFFFFF, "PROPS$")), "table \"PROPS$\" obj# not found.\n");
}

TEST_F(SortObjects, NamesMustBeExactlyThoseOfTheTables) {
    for (const char *name : {"LOB$X", "LOB", "lob$", "LOB$ ", " LOB$", ""})
        EXPECT_EQ(said_with(0, object(10, 0, name)), "table \"LOB$\" obj# not found.\n") << name;
    EXPECT_EQ(said_with(1, object(10, 0, "TABPART$0123456789012345678901")),
              "table \"TABPART$\" obj# not found.\n");
}

TEST_F(SortObjects, BytesBehindTheNulOfANameDoNotMatter) {
    std::vector<OBJ> objects = special_objects();
    std::memcpy(objects[0].name, "LOB$\0garbage", 12);
    ASSERT_EQ(sort_obj(objects), 0);
    EXPECT_EQ(sobj_, ALL_SPECIAL);
}

TEST_F(SortObjects, EachMissingTableHasItsMessage) {
    for (std::size_t k = 0; k < SPECIAL_TABLES; k++)
        EXPECT_EQ(said_with(k, object(10, 0, "OTHER")),
                  std::string("table \"") + special_tables[k]->table + "\" obj# not found.\n");
}

TEST_F(SortObjects, OnlyTheFirstMissingTableIsReported) {
    std::vector<OBJ> objects = special_objects();
    objects[4].owner = objects[2].owner = 9;
    EXPECT_EQ(sort_obj(objects), -1);
    EXPECT_EQ(said_, "table \"TABSUBPART$\" obj# not found.\n");
    EXPECT_EQ(sobj_, (vector5{SPECIAL_OBJN, SPECIAL_OBJN + 1, 0, SPECIAL_OBJN + 3, 0}));
}

TEST_F(SortObjects, NoObjectsAtAllMissTheFirstTable) {
    EXPECT_EQ(sort_obj({}), -1);
    EXPECT_EQ(said_, "table \"LOB$\" obj# not found.\n");
    EXPECT_EQ(sobj_, vector5{});
}

TEST_F(SortObjects, FailedCheckLeavesTheFileTheCountAndTheSortedArray) {
    const std::vector<OBJ> objects{object(3, 5, "C"), object(1, 5, "A"), object(2, 5, "B")};
    g_ctx.sys.nobj = 4711;
    EXPECT_EQ(sort_obj(objects), -1);
    EXPECT_TRUE(read_file(path("obj")) == raw_records(objects));
    EXPECT_EQ(g_ctx.sys.nobj, 4711U);
    ASSERT_EQ(reinterpret_cast<std::uint8_t *>(g_ctx.obj), g_ctx.wrk);
    for (std::uint32_t i = 0; i < 3; i++)
        EXPECT_EQ(g_ctx.obj[i].objn, i + 1);
}

TEST_F(SortObjects, FailedCheckKeepsAHeapArrayThatTheNextSortReplaces) {
    std::vector<OBJ> objects(WORK_SIZE / sizeof(OBJ) + 1);
    for (std::uint32_t i = 0; i < objects.size(); i++)
        objects[i].objn = static_cast<std::uint32_t>(objects.size()) - i;
    EXPECT_EQ(sort_obj(objects), -1);
    ASSERT_NE(g_ctx.obj, nullptr);
    EXPECT_NE(reinterpret_cast<std::uint8_t *>(g_ctx.obj), g_ctx.wrk);
    EXPECT_EQ(g_ctx.obj[0].objn, 1U);
    EXPECT_EQ(sort_obj(special_objects()), 0);
    EXPECT_EQ(g_ctx.obj, nullptr);
}

} // namespace
} // namespace vexlo_test
