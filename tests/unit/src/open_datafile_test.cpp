// What opening the listed datafiles takes from their headers, and what closing them leaves.
#include <fcntl.h>

#include <algorithm>
#include <utility>

#include "../clean_context.h"
#include "sample/datafile.h"

namespace vexlo_test {
namespace {

class OpenDatafile : public clean_context {
protected:
    // Writes a datafile and returns its path.
    std::string make_datafile(const std::string &name, sample::DatafileInfo info) const {
        info.path = path(name);
        const std::uint32_t rootdba = info.rootdba;
        sample::Datafile(std::move(info)).close(rootdba);
        return path(name);
    }

    static sample::DatafileInfo info(std::uint32_t fno, std::uint32_t rfn, std::uint32_t tsn) {
        sample::DatafileInfo made;
        made.fno = fno;
        made.rfn = rfn;
        made.tsn = tsn;
        made.rootdba = fno == 1 ? 0x00400009 : 0;
        return made;
    }

    // Lists the files and opens them.
    int open_files(const std::vector<std::string> &paths) const {
        std::string text;
        for (const std::string &p : paths)
            text += p + "\n";
        set_list(text);
        return load_datafile() < 0 ? -1 : open_datafile();
    }
};

TEST_F(OpenDatafile, TakesTheIdentityFromBothBlocks) {
    sample::DatafileInfo made = info(7, 3, 5);
    made.block_size = 4096;
    ASSERT_EQ(open_files({make_datafile("system01.dbf", info(1, 1, 0)), make_datafile("u.dbf", made)}), 0);
    const DATAFILE &df = g_ctx.df[1];
    EXPECT_EQ(df.flag, DF_MARKED);
    EXPECT_EQ(df.fno, 7u);
    EXPECT_EQ(df.rfn, 3u);
    EXPECT_EQ(df.tsn, 5u);
    EXPECT_EQ(df.blks, 10u);
    EXPECT_EQ(df.bsz, 4096u);
    EXPECT_EQ(df.blk0_sz, 4096u);
}

// The block of the operating system may be smaller than those of the database.
TEST_F(OpenDatafile, HeaderBlockStandsBehindBlock0WhateverItsSize) {
    for (const std::size_t size : {std::size_t{512}, std::size_t{40588}}) {
        SCOPED_TRACE(size);
        sample::DatafileInfo made = info(1, 1, 0);
        made.block_size = size;
        sample::Bytes file = sample::encode_block0(made);
        made.block_size = 8192;
        const sample::Bytes header = sample::encode_file_header(made);
        file.insert(file.end(), header.begin(), header.end());
        file.resize(std::max<std::size_t>(file.size(), 40960));
        write_file(path("odd.dbf"), file);
        ASSERT_EQ(open_files({path("odd.dbf")}), 0);
        EXPECT_EQ(g_ctx.df[0].blk0_sz, size);
        EXPECT_EQ(g_ctx.df[0].bsz, 8192u);
        EXPECT_EQ(g_ctx.sys.rootdba, 0x00400009u);
        close_datafile();
        free_dict_memory();
        g_ctx.sys = {};
    }
}

TEST_F(OpenDatafile, AbsoluteFileNumberIs16Bits) {
    const std::string file = make_datafile("u.dbf", info(0xFFFF, 3, 5));
    sample::patch_file(file, 8192, 1, 54, sample::Bytes{0xFF, 0xFF});
    ASSERT_EQ(open_files({make_datafile("system01.dbf", info(1, 1, 0)), file}), 0);
    EXPECT_EQ(g_ctx.df[1].fno, 0xFFFFu);
}

TEST_F(OpenDatafile, MarkerOfBlock0SetsBit0OnlyWhenExact) {
    sample::DatafileInfo unmarked = info(1, 1, 0);
    unmarked.marked = false;
    const std::string near = make_datafile("near.dbf", info(2, 2, 0));
    sample::patch_file(near, 8192, 0, 28, sample::Bytes{0x7D, 0x7C, 0x7B, 0x7A});
    ASSERT_EQ(open_files({make_datafile("a.dbf", unmarked), near, make_datafile("b.dbf", info(3, 3, 0))}), 0);
    EXPECT_EQ(g_ctx.df[0].flag, 0u);
    EXPECT_EQ(g_ctx.df[1].flag, 0u);
    EXPECT_EQ(g_ctx.df[2].flag, 1u);
}

TEST_F(OpenDatafile, RelativeNumber1024IsABigfile) {
    ASSERT_EQ(
        open_files({make_datafile("system01.dbf", info(1, 1, 0)), make_datafile("big.dbf", info(4, 1024, 3)),
                    make_datafile("small.dbf", info(5, 1023, 4))}),
        0);
    EXPECT_EQ(g_ctx.df[1].flag, 0x11u);
    EXPECT_EQ(g_ctx.df[2].flag, 0x1u);
}

TEST_F(OpenDatafile, LastFile1IsTheSystemFile) {
    sample::DatafileInfo first = info(1, 1, 0), last = info(1, 1, 0);
    first.rootdba = 0x00400111;
    last.rootdba = 0x00400222;
    ASSERT_EQ(open_files({make_datafile("a.dbf", first), make_datafile("b.dbf", last),
                          make_datafile("c.dbf", info(2, 2, 0))}),
              0);
    EXPECT_EQ(g_ctx.sysf, &g_ctx.df[1]);
    EXPECT_EQ(g_ctx.sys.rootdba, 0x00400222u);
}

TEST_F(OpenDatafile, FilesAreOpenedReadOnly) {
    ASSERT_EQ(open_files({make_datafile("system01.dbf", info(1, 1, 0))}), 0);
    const int flags = fcntl(g_ctx.df[0].fd, F_GETFL);
    ASSERT_NE(flags, -1);
    EXPECT_EQ(flags & O_ACCMODE, O_RDONLY);
}

TEST_F(OpenDatafile, FailedOpenLeavesEarlierFilesOpenForClose) {
    int result = 0;
    EXPECT_EQ(messages_of([&] {
                  result = open_files({make_datafile("system01.dbf", info(1, 1, 0)), "/nowhere/x.dbf",
                                       make_datafile("u.dbf", info(2, 2, 0))});
              }),
              "open /nowhere/x.dbf: No such file or directory\n");
    EXPECT_EQ(result, -1);
    EXPECT_NE(g_ctx.df[0].fd, -1);
    EXPECT_EQ(g_ctx.df[1].fd, -1);
    EXPECT_EQ(g_ctx.df[2].fd, -1);
}

TEST_F(OpenDatafile, CloseClosesEveryOpenFileOnceAndReturns0) {
    ASSERT_EQ(
        open_files({make_datafile("system01.dbf", info(1, 1, 0)), make_datafile("u.dbf", info(2, 2, 0))}), 0);
    const int first = g_ctx.df[0].fd, second = g_ctx.df[1].fd;
    EXPECT_EQ(close_datafile(), 0);
    for (const int fd : {first, second})
        EXPECT_EQ(fcntl(fd, F_GETFD), -1);
    EXPECT_EQ(g_ctx.df[0].fd, -1);
    EXPECT_EQ(g_ctx.df[1].fd, -1);
    EXPECT_EQ(close_datafile(), 0);
}

} // namespace
} // namespace vexlo_test
