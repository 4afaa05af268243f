// The global context: the order of its fields, what its release frees and what it leaves, and the command
// table.
#include "command_map.h"
#include "dict_array.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <gtest/gtest.h>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

namespace vexlo_test {
namespace {

class ShellContext : public testing::Test {
protected:
    ShellContext() { g_ctx = ZUKCTX{}; }
    ~ShellContext() override { g_ctx = ZUKCTX{}; }
};

template <class REC>
REC *new_records() {
    return static_cast<REC *>(std::calloc(1, sizeof(REC)));
}

TEST_F(ShellContext, FieldsStandInTheirOrder) {
    const std::vector<std::size_t> offsets{
        offsetof(ZUKCTX, fd),   offsetof(ZUKCTX, par),    offsetof(ZUKCTX, sys), offsetof(ZUKCTX, wrk),
        offsetof(ZUKCTX, usr),  offsetof(ZUKCTX, ts),     offsetof(ZUKCTX, df),  offsetof(ZUKCTX, sysf),
        offsetof(ZUKCTX, obj),  offsetof(ZUKCTX, tab),    offsetof(ZUKCTX, col), offsetof(ZUKCTX, tp),
        offsetof(ZUKCTX, tcp),  offsetof(ZUKCTX, tsp),    offsetof(ZUKCTX, lob), offsetof(ZUKCTX, lidx),
        offsetof(ZUKCTX, prsv), offsetof(ZUKCTX, cur_usr)};
    EXPECT_EQ(offsets[0], 0u);
    EXPECT_TRUE(std::is_sorted(offsets.begin(), offsets.end()));
    EXPECT_EQ(sizeof g_ctx.cur_usr, 32u);
}

TEST_F(ShellContext, CountsAreTwelve32BitFieldsInTheirOrder) {
    const std::vector<std::size_t> offsets{
        offsetof(ZUKSYS, nf),   offsetof(ZUKSYS, nu),   offsetof(ZUKSYS, nts),  offsetof(ZUKSYS, nobj),
        offsetof(ZUKSYS, ntab), offsetof(ZUKSYS, ncol), offsetof(ZUKSYS, ntp),  offsetof(ZUKSYS, ntcp),
        offsetof(ZUKSYS, ntsp), offsetof(ZUKSYS, nlob), offsetof(ZUKSYS, nidx), offsetof(ZUKSYS, rootdba)};
    for (std::size_t i = 0; i < offsets.size(); i++)
        EXPECT_EQ(offsets[i], 4 * i);
    EXPECT_EQ(sizeof(ZUKSYS), 48u);
}

TEST_F(ShellContext, ConfigurationIsFlagReservedAndTwoDirectoriesOf1024Bytes) {
    EXPECT_EQ(offsetof(CFGPAR, flag), 0u);
    EXPECT_EQ(offsetof(CFGPAR, rsv), 4u);
    EXPECT_EQ(offsetof(CFGPAR, dict_dir), 8u);
    EXPECT_EQ(offsetof(CFGPAR, data_dir), 1032u);
    EXPECT_EQ(sizeof(CFGPAR), 2056u);
    EXPECT_EQ(sizeof g_cfgname, 1024u);
    EXPECT_EQ(sizeof g_dbfile_list, 1024u);
}

TEST_F(ShellContext, ReleaseOfAnEmptyContextDoesNothing) {
    EXPECT_EQ(free_dict_memory(), 0);
    EXPECT_EQ(free_dict_memory(), 0);
    EXPECT_EQ(g_ctx.df, nullptr);
    EXPECT_EQ(g_ctx.usr, nullptr);
}

TEST_F(ShellContext, ReleaseFreesEveryArrayAndClearsItsPointer) {
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

TEST_F(ShellContext, ReleaseLeavesWhatItDoesNotOwnAndAllCounts) {
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

TEST(ShellCommandMap, HasEightCommandsInOrderAndAnEmptyEntry) {
    const std::vector<std::pair<std::string, cmd_handle>> expected{
        {"help", help_handle},     {"export", export_dict_handle}, {"load", load_dict_handle},
        {"set", set_user_handle},  {"show", show_user_handle},     {"list", list_handle},
        {"unload", unload_handle}, {"desc", desc_handle},          {"", nullptr}};
    ASSERT_EQ(std::size(command_map), expected.size());
    for (std::size_t i = 0; i < expected.size(); i++) {
        EXPECT_EQ(command_map[i].cmd_name, expected[i].first);
        EXPECT_EQ(command_map[i].cmd_function, expected[i].second);
    }
    EXPECT_EQ(sizeof command_map[0].cmd_name, 32u);
}

} // namespace
} // namespace vexlo_test
