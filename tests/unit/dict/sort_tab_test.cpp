// The vectors of special tables that the sort of tables fills, and what the listings say after checks that
// failed.
#include <algorithm>

#include "command_map.h"
#include "special_tables.h"

namespace vexlo_test {
namespace {

class SortTables : public SpecialTables {};

TEST_F(SortTables, EntriesHoldClusterTableNumberAndHeaderAddress) {
    std::vector<TAB> tables = special_tabs();
    std::reverse(tables.begin(), tables.end());
    ASSERT_EQ(sort_tab(tables), 0);
    EXPECT_EQ(said_, "");
    EXPECT_EQ(tabn_, (vector5{10, 11, 12, 13, 14}));
    EXPECT_EQ(rdba_, ALL_ADDRESSES);
}

TEST_F(SortTables, AddressIsFileShiftedBy22OrBlock) {
    std::vector<TAB> tables = special_tabs();
    tables[0].fno = 1023;
    tables[0].blk = 0x3FFFFF;
    tables[1].fno = 0;
    tables[1].blk = 0xC0000001; // a block number that reaches into the file bits
    tables[2].fno = 1024 + 3;   // only the low ten bits of a file number stay
    ASSERT_EQ(sort_tab(tables), 0);
    EXPECT_EQ(rdba_, (vector5{0xFFFFFFFF, 0xC0000001, 3U << 22 | 102, 4U << 22 | 103, 5U << 22 | 104}));
}

TEST_F(SortTables, TableWithoutSegmentHeaderCountsAsMissing) {
    std::vector<TAB> tables = special_tabs();
    tables[3].fno = tables[3].blk = 0;
    EXPECT_EQ(sort_tab(tables), -1);
    EXPECT_EQ(said_, "\"TABCOMPART$\" not found in tab$.\n");
}

TEST_F(SortTables, EachMissingTableHasItsMessage) {
    for (std::size_t k = 0; k < SPECIAL_TABLES; k++) {
        std::vector<TAB> tables = special_tabs();
        tables.erase(tables.begin() + static_cast<std::ptrdiff_t>(k));
        EXPECT_EQ(sort_tab(tables), -1);
        EXPECT_EQ(said_, std::string("\"") + special_tables[k]->table + "\" not found in tab$.\n");
    }
}

TEST_F(SortTables, AddressesAreClearedFirstAndClusterTableNumbersAreNot) {
    EXPECT_EQ(sort_tab({}), -1);
    EXPECT_EQ(said_, "\"LOB$\" not found in tab$.\n");
    EXPECT_EQ(rdba_, vector5{});
    EXPECT_EQ(tabn_, (vector5{81, 82, 83, 84, 85}));
}

TEST_F(SortTables, OfTwoRecordsWithOneNumberTheLastInSortedOrderCounts) {
    std::vector<TAB> tables = special_tabs();
    TAB second = tables[4];
    second.fno = 9;
    second.blk = 9;
    second.tabn = 99;
    tables.push_back(second);
    ASSERT_EQ(sort_tab(tables), 0);
    EXPECT_EQ(rdba_[4], 9U << 22 | 9);
    EXPECT_EQ(tabn_[4], 99U);
}

TEST_F(SortTables, FirstOfTwoEqualObjectNumbersTakesTheRecord) {
    const vector5 wanted{SPECIAL_OBJN, SPECIAL_OBJN + 1, SPECIAL_OBJN + 1, SPECIAL_OBJN + 3,
                         SPECIAL_OBJN + 4};
    store("tab", special_tabs());
    said_ = messages_of([&] { EXPECT_EQ(sort_tab_by_objn(wanted.data(), tabn_.data(), rdba_.data()), -1); });
    EXPECT_EQ(said_, "\"TABSUBPART$\" not found in tab$.\n");
    EXPECT_EQ(rdba_[1], 2U << 22 | 101);
}

TEST_F(SortTables, FailedCheckLeavesTheFileTheCountAndTheSortedArray) {
    std::vector<TAB> tables = special_tabs();
    tables.pop_back();
    std::reverse(tables.begin(), tables.end());
    g_ctx.sys.ntab = 4711;
    EXPECT_EQ(sort_tab(tables), -1);
    EXPECT_TRUE(read_file(path("tab")) == raw_records(tables));
    EXPECT_EQ(g_ctx.sys.ntab, 4711U);
    ASSERT_EQ(reinterpret_cast<std::uint8_t *>(g_ctx.tab), g_ctx.wrk);
    for (std::uint32_t i = 0; i < 4; i++)
        EXPECT_EQ(g_ctx.tab[i].objn, SPECIAL_OBJN + i);
}

// Every listing with the arrays that failed checks left behind. The counts may be larger than the arrays.
class AfterFailedChecks : public SpecialTables {
protected:
    // Runs the handler and returns both of its streams.
    static std::string run(int (*handler)(char *), const char *text) {
        char args[512];
        std::snprintf(args, sizeof args, "%s", text);
        testing::internal::CaptureStdout();
        const std::string err = messages_of([&] { handler(args); });
        return testing::internal::GetCapturedStdout() + err;
    }

    template <class REC>
    static std::vector<REC> larger_than_work_buffer() {
        std::vector<REC> records(WORK_SIZE / sizeof(REC) + 1);
        for (std::uint32_t i = 0; i < records.size(); i++)
            std::memset(&records[i], 0x41, sizeof(REC));
        return records;
    }

    static void expect_not_loaded() {
        g_ctx.sys.nobj = g_ctx.sys.ntab = 0x7FFFFFFF;
        EXPECT_EQ(run(list_handle, "objects"), "dictionary data not loaded.\n");
        EXPECT_EQ(run(list_handle, "tables"), "dictionary data not loaded.\n");
        EXPECT_EQ(run(list_handle, "users"), "User information not loaded.\n");
        EXPECT_EQ(run(list_handle, "parts A.B"), "Table Partition information not loaded.\n");
        EXPECT_EQ(run(desc_handle, "A.B"), "Table column information not loaded.\n");
    }
};

TEST_F(AfterFailedChecks, ListingsWithTheArraysInTheWorkBuffer) {
    sort_obj({object(3, 5, "C")});
    sort_tab(std::vector<TAB>(4));
    expect_not_loaded();
}

TEST_F(AfterFailedChecks, ListingsWithTheArraysOnTheHeap) {
    EXPECT_EQ(sort_obj(larger_than_work_buffer<OBJ>()), -1);
    EXPECT_EQ(sort_tab(larger_than_work_buffer<TAB>()), -1);
    expect_not_loaded();
}

TEST_F(AfterFailedChecks, LoadThatStopsEarlyBesideAHeapArrayOfObjects) {
    EXPECT_EQ(sort_obj(larger_than_work_buffer<OBJ>()), -1);
    store("user", std::vector<USER>{USER{.uid = 0, .status = 0, .dts = 0, .tts = 0, .name = "SYS"}});
    char args[] = "dict";
    messages_of([&] { EXPECT_EQ(load_dict_handle(args), -1); });
    g_ctx.sys.nobj = 0x7FFFFFFF; // a count that a failed export may have left
    EXPECT_EQ(run(list_handle, "objects sys"),
              "OWNER                           OBJECT_NAME                     TYPE\n");
    EXPECT_EQ(run(list_handle, "tables"), "Table information not loaded.\n");
}

} // namespace
} // namespace vexlo_test
