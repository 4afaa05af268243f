// The catalogue of datafiles as their list leaves it.
#include <cstddef>

#include "../clean_context.h"

namespace vexlo_test {
namespace {

class LoadDatafile : public clean_context {};

TEST_F(LoadDatafile, RecordIs1056BytesWithItsFieldsInOrder) {
    EXPECT_EQ(sizeof(DATAFILE), 1056u);
    EXPECT_EQ(offsetof(DATAFILE, flag), 0u);
    EXPECT_EQ(offsetof(DATAFILE, fd), 4u);
    EXPECT_EQ(offsetof(DATAFILE, fno), 8u);
    EXPECT_EQ(offsetof(DATAFILE, rfn), 12u);
    EXPECT_EQ(offsetof(DATAFILE, tsn), 16u);
    EXPECT_EQ(offsetof(DATAFILE, blks), 20u);
    EXPECT_EQ(offsetof(DATAFILE, bsz), 24u);
    EXPECT_EQ(offsetof(DATAFILE, blk0_sz), 28u);
    EXPECT_EQ(offsetof(DATAFILE, name), 32u);
}

TEST_F(LoadDatafile, ListsPathsAsClosedFiles) {
    set_list("/a.dbf\n# none\n /b c.dbf # second\n/dropped.dbf");
    EXPECT_EQ(load_datafile(), 0);
    ASSERT_EQ(g_ctx.sys.nf, 2u);
    EXPECT_STREQ(g_ctx.df[0].name, "/a.dbf");
    EXPECT_STREQ(g_ctx.df[1].name, "/b c.dbf");
    for (int i = 0; i < 2; i++) {
        EXPECT_EQ(g_ctx.df[i].flag, 0u);
        EXPECT_EQ(g_ctx.df[i].fd, -1);
    }
}

TEST_F(LoadDatafile, EmptyListIsACatalogueOfNoFiles) {
    set_list("# nothing\n\n");
    EXPECT_EQ(load_datafile(), 0);
    EXPECT_EQ(g_ctx.sys.nf, 0u);
}

TEST_F(LoadDatafile, OfMoreThan7943PathsKeepsThemAll) {
    std::string text;
    for (int i = 0; i < 7950; i++)
        text += "/f" + std::to_string(i) + "\n";
    set_list(text);
    EXPECT_EQ(load_datafile(), 0);
    ASSERT_EQ(g_ctx.sys.nf, 7950u);
    for (const int i : {0, 7942, 7943, 7949})
        EXPECT_EQ(g_ctx.df[i].name, "/f" + std::to_string(i));
}

TEST_F(LoadDatafile, MissingListFails) {
    std::snprintf(g_dbfile_list, DIR_SIZE, "%s", path("none.txt").c_str());
    int result = 0;
    EXPECT_EQ(messages_of([&] { result = load_datafile(); }),
              "open " + path("none.txt") + ": No such file or directory\n");
    EXPECT_EQ(result, -1);
}

} // namespace
} // namespace vexlo_test
