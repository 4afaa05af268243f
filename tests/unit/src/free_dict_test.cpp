// What the release of the context frees and what it leaves.
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "dict_array.h"

namespace vexlo_test {
namespace {

class FreeDict : public testing::Test {
protected:
    FreeDict() { g_ctx = ZUKCTX{}; }
    ~FreeDict() override { g_ctx = ZUKCTX{}; }
};

template <class REC>
REC *new_records() {
    return static_cast<REC *>(std::calloc(1, sizeof(REC)));
}

TEST_F(FreeDict, OfAnEmptyContextDoesNothing) {
    EXPECT_EQ(free_dict_memory(), 0);
    EXPECT_EQ(free_dict_memory(), 0);
    EXPECT_EQ(g_ctx.df, nullptr);
    EXPECT_EQ(g_ctx.usr, nullptr);
}

TEST_F(FreeDict, FreesEveryArrayAndClearsItsPointer) {
    fill_slot(USER_TABLE, new_records<USER>(), 1);
    fill_slot(TS_TABLE, new_records<TS>(), 1);
    g_ctx.df = new_records<DATAFILE>();
    fill_slot(OBJ_TABLE, new_records<OBJ>(), 1);
    fill_slot(TAB_TABLE, new_records<TAB>(), 1);
    fill_slot(COL_TABLE, new_records<COL>(), 1);
    fill_slot(TABPART_TABLE, new_records<TABPART>(), 1);
    fill_slot(TABCOMPART_TABLE, new_records<TABPART>(), 1);
    fill_slot(TABSUBPART_TABLE, new_records<TABSUBPART>(), 1);
    fill_slot(LOB_TABLE, new_records<LOB>(), 1);
    fill_slot(IND_TABLE, new_records<LOBIDX>(), 1);
    EXPECT_EQ(free_dict_memory(), 0);
    const std::vector<const void *> slots{g_ctx.usr, g_ctx.ts,  g_ctx.df,  g_ctx.obj, g_ctx.tab, g_ctx.col,
                                          g_ctx.tp,  g_ctx.tcp, g_ctx.tsp, g_ctx.lob, g_ctx.lidx};
    for (std::size_t i = 0; i < slots.size(); i++)
        EXPECT_EQ(slots[i], nullptr) << i;
}

TEST_F(FreeDict, LeavesWhatItDoesNotOwnAndAllCounts) {
    std::uint8_t work = 0, reserved = 0;
    DATAFILE file{};
    g_ctx.wrk = &work;
    g_ctx.prsv = &reserved;
    g_ctx.sysf = &file;
    g_ctx.sys = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12};
    EXPECT_EQ(free_dict_memory(), 0);
    EXPECT_EQ(g_ctx.wrk, &work);
    EXPECT_EQ(g_ctx.prsv, &reserved);
    EXPECT_EQ(g_ctx.sysf, &file);
    const ZUKSYS &sys = g_ctx.sys;
    const std::vector<std::uint32_t> counts{sys.nf,  sys.nu,   sys.nts,  sys.nobj, sys.ntab, sys.ncol,
                                            sys.ntp, sys.ntcp, sys.ntsp, sys.nlob, sys.nidx, sys.rootdba};
    for (std::size_t i = 0; i < counts.size(); i++)
        EXPECT_EQ(counts[i], i + 1);
}

} // namespace
} // namespace vexlo_test
