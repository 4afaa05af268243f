// The global context: the order and the sizes of its fields.
#include <algorithm>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "vexlo.h"

namespace vexlo_test {
namespace {

TEST(Context, FieldsStandInTheirOrder) {
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

TEST(Context, CountsAreTwelve32BitFieldsInTheirOrder) {
    const std::vector<std::size_t> offsets{
        offsetof(ZUKSYS, nf),   offsetof(ZUKSYS, nu),   offsetof(ZUKSYS, nts),  offsetof(ZUKSYS, nobj),
        offsetof(ZUKSYS, ntab), offsetof(ZUKSYS, ncol), offsetof(ZUKSYS, ntp),  offsetof(ZUKSYS, ntcp),
        offsetof(ZUKSYS, ntsp), offsetof(ZUKSYS, nlob), offsetof(ZUKSYS, nidx), offsetof(ZUKSYS, rootdba)};
    for (std::size_t i = 0; i < offsets.size(); i++)
        EXPECT_EQ(offsets[i], 4 * i);
    EXPECT_EQ(sizeof(ZUKSYS), 48u);
}

TEST(Context, ConfigurationIsFlagReservedAndTwoDirectoriesOf1024Bytes) {
    EXPECT_EQ(offsetof(CFGPAR, flag), 0u);
    EXPECT_EQ(offsetof(CFGPAR, rsv), 4u);
    EXPECT_EQ(offsetof(CFGPAR, dict_dir), 8u);
    EXPECT_EQ(offsetof(CFGPAR, data_dir), 1032u);
    EXPECT_EQ(sizeof(CFGPAR), 2056u);
    EXPECT_EQ(sizeof g_cfgname, 1024u);
    EXPECT_EQ(sizeof g_dbfile_list, 1024u);
}

} // namespace
} // namespace vexlo_test
