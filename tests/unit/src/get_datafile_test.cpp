// How the file of a block is found in the catalogue.
#include <utility>

#include "../clean_context.h"

namespace vexlo_test {
namespace {

class GetDatafile : public clean_context {
protected:
    // Puts files of the given tablespace and relative number into the catalogue.
    static void set_files(const std::vector<std::pair<std::uint32_t, std::uint32_t>> &files) {
        g_ctx.df = static_cast<DATAFILE *>(std::calloc(files.size(), sizeof(DATAFILE)));
        g_ctx.sys.nf = static_cast<std::uint32_t>(files.size());
        for (std::size_t i = 0; i < files.size(); i++) {
            g_ctx.df[i].fd = -1;
            g_ctx.df[i].tsn = files[i].first;
            g_ctx.df[i].rfn = files[i].second;
            g_ctx.df[i].flag = files[i].second == BIGFILE_RFN ? DF_BIGFILE : 0;
        }
    }
};

TEST_F(GetDatafile, FileIsFoundByTablespaceAndRelativeNumber) {
    set_files({{0, 1}, {6, 4}, {6, 5}, {7, 6}});
    EXPECT_EQ(get_datafile(6, 4), &g_ctx.df[1]);
    EXPECT_EQ(get_datafile(6, 5), &g_ctx.df[2]);
    EXPECT_EQ(get_datafile(6, 6), nullptr);
    EXPECT_EQ(get_datafile(7, 5), nullptr);
    EXPECT_EQ(get_datafile(0, 0), nullptr);
}

TEST_F(GetDatafile, BigfileHasEveryRelativeNumberOfItsTablespace) {
    set_files({{3, 4}, {9, 1024}});
    for (const std::uint32_t rfn : {0u, 1u, 4u, 1023u, 1024u})
        EXPECT_EQ(get_datafile(9, rfn), &g_ctx.df[1]);
    EXPECT_EQ(get_datafile(3, 1024), nullptr);
}

TEST_F(GetDatafile, OfSeveralMatchesTheFirstInListOrderWins) {
    set_files({{3, 4}, {3, 4}, {3, 1024}, {3, 5}});
    EXPECT_EQ(get_datafile(3, 4), &g_ctx.df[0]);
    EXPECT_EQ(get_datafile(3, 5), &g_ctx.df[2]);
}

// An earlier answer must never stand in for another file of the same tablespace or number.
TEST_F(GetDatafile, RepeatedLookupsInAnyOrderGiveTheSameFiles) {
    set_files({{0, 1}, {6, 4}, {7, 4}, {6, 4}, {9, 1024}});
    for (int round = 0; round < 3; round++) {
        EXPECT_EQ(get_datafile(6, 4), &g_ctx.df[1]);
        EXPECT_EQ(get_datafile(7, 4), &g_ctx.df[2]);
        EXPECT_EQ(get_datafile(7, 4), &g_ctx.df[2]);
        EXPECT_EQ(get_datafile(9, 4), &g_ctx.df[4]);
        EXPECT_EQ(get_datafile(9, 5), &g_ctx.df[4]);
        EXPECT_EQ(get_datafile(6, 5), nullptr);
        EXPECT_EQ(get_datafile(0, 1), &g_ctx.df[0]);
        EXPECT_EQ(get_datafile(0, 4), nullptr);
    }
}

TEST_F(GetDatafile, EmptyCatalogueHasNoFile) {
    EXPECT_EQ(get_datafile(0, 1), nullptr);
}

} // namespace
} // namespace vexlo_test
