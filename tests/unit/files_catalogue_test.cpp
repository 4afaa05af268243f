// The catalogue of datafiles: what the list and the headers leave in it, and how a file is found in it.
#include "files_context.h"
#include "sample/datafile.h"

#include <algorithm>
#include <cstddef>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <utility>
#include <vector>

namespace vexlo_test {
namespace {

class FilesCatalogue : public files_context {
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

TEST_F(FilesCatalogue, RecordIs1056BytesWithItsFieldsInOrder) {
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

TEST_F(FilesCatalogue, LoadListsPathsAsClosedFiles) {
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

TEST_F(FilesCatalogue, EmptyListIsACatalogueOfNoFiles) {
    set_list("# nothing\n\n");
    EXPECT_EQ(load_datafile(), 0);
    EXPECT_EQ(g_ctx.sys.nf, 0u);
}

TEST_F(FilesCatalogue, LoadOfMoreThan7943PathsKeepsThemAll) {
    std::string text;
    for (int i = 0; i < 7950; i++)
        text += "/f" + std::to_string(i) + "\n";
    set_list(text);
    EXPECT_EQ(load_datafile(), 0);
    ASSERT_EQ(g_ctx.sys.nf, 7950u);
    for (const int i : {0, 7942, 7943, 7949})
        EXPECT_EQ(g_ctx.df[i].name, "/f" + std::to_string(i));
}

TEST_F(FilesCatalogue, MissingListFails) {
    std::snprintf(g_dbfile_list, DIR_SIZE, "%s", path("none.txt").c_str());
    int result = 0;
    EXPECT_EQ(messages_of([&] { result = load_datafile(); }),
              "open " + path("none.txt") + ": No such file or directory\n");
    EXPECT_EQ(result, -1);
}

TEST_F(FilesCatalogue, OpenTakesTheIdentityFromBothBlocks) {
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
TEST_F(FilesCatalogue, HeaderBlockStandsBehindBlock0WhateverItsSize) {
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

TEST_F(FilesCatalogue, AbsoluteFileNumberIs16Bits) {
    const std::string file = make_datafile("u.dbf", info(0xFFFF, 3, 5));
    sample::patch_file(file, 8192, 1, 54, sample::Bytes{0xFF, 0xFF});
    ASSERT_EQ(open_files({make_datafile("system01.dbf", info(1, 1, 0)), file}), 0);
    EXPECT_EQ(g_ctx.df[1].fno, 0xFFFFu);
}

TEST_F(FilesCatalogue, MarkerOfBlock0SetsBit0OnlyWhenExact) {
    sample::DatafileInfo unmarked = info(1, 1, 0);
    unmarked.marked = false;
    const std::string near = make_datafile("near.dbf", info(2, 2, 0));
    sample::patch_file(near, 8192, 0, 28, sample::Bytes{0x7D, 0x7C, 0x7B, 0x7A});
    ASSERT_EQ(open_files({make_datafile("a.dbf", unmarked), near, make_datafile("b.dbf", info(3, 3, 0))}), 0);
    EXPECT_EQ(g_ctx.df[0].flag, 0u);
    EXPECT_EQ(g_ctx.df[1].flag, 0u);
    EXPECT_EQ(g_ctx.df[2].flag, 1u);
}

TEST_F(FilesCatalogue, RelativeNumber1024IsABigfile) {
    ASSERT_EQ(
        open_files({make_datafile("system01.dbf", info(1, 1, 0)), make_datafile("big.dbf", info(4, 1024, 3)),
                    make_datafile("small.dbf", info(5, 1023, 4))}),
        0);
    EXPECT_EQ(g_ctx.df[1].flag, 0x11u);
    EXPECT_EQ(g_ctx.df[2].flag, 0x1u);
}

TEST_F(FilesCatalogue, LastFile1IsTheSystemFile) {
    sample::DatafileInfo first = info(1, 1, 0), last = info(1, 1, 0);
    first.rootdba = 0x00400111;
    last.rootdba = 0x00400222;
    ASSERT_EQ(open_files({make_datafile("a.dbf", first), make_datafile("b.dbf", last),
                          make_datafile("c.dbf", info(2, 2, 0))}),
              0);
    EXPECT_EQ(g_ctx.sysf, &g_ctx.df[1]);
    EXPECT_EQ(g_ctx.sys.rootdba, 0x00400222u);
}

TEST_F(FilesCatalogue, FilesAreOpenedReadOnly) {
    ASSERT_EQ(open_files({make_datafile("system01.dbf", info(1, 1, 0))}), 0);
    const int flags = fcntl(g_ctx.df[0].fd, F_GETFL);
    ASSERT_NE(flags, -1);
    EXPECT_EQ(flags & O_ACCMODE, O_RDONLY);
}

TEST_F(FilesCatalogue, FailedOpenLeavesEarlierFilesOpenForClose) {
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

TEST_F(FilesCatalogue, CloseClosesEveryOpenFileOnceAndReturns0) {
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

class FilesLookup : public files_context {
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

TEST_F(FilesLookup, FileIsFoundByTablespaceAndRelativeNumber) {
    set_files({{0, 1}, {6, 4}, {6, 5}, {7, 6}});
    EXPECT_EQ(get_datafile(6, 4), &g_ctx.df[1]);
    EXPECT_EQ(get_datafile(6, 5), &g_ctx.df[2]);
    EXPECT_EQ(get_datafile(6, 6), nullptr);
    EXPECT_EQ(get_datafile(7, 5), nullptr);
    EXPECT_EQ(get_datafile(0, 0), nullptr);
}

TEST_F(FilesLookup, BigfileHasEveryRelativeNumberOfItsTablespace) {
    set_files({{3, 4}, {9, 1024}});
    for (const std::uint32_t rfn : {0u, 1u, 4u, 1023u, 1024u})
        EXPECT_EQ(get_datafile(9, rfn), &g_ctx.df[1]);
    EXPECT_EQ(get_datafile(3, 1024), nullptr);
}

TEST_F(FilesLookup, OfSeveralMatchesTheFirstInListOrderWins) {
    set_files({{3, 4}, {3, 4}, {3, 1024}, {3, 5}});
    EXPECT_EQ(get_datafile(3, 4), &g_ctx.df[0]);
    EXPECT_EQ(get_datafile(3, 5), &g_ctx.df[2]);
}

// An earlier answer must never stand in for another file of the same tablespace or number.
TEST_F(FilesLookup, RepeatedLookupsInAnyOrderGiveTheSameFiles) {
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

TEST_F(FilesLookup, EmptyCatalogueHasNoFile) {
    EXPECT_EQ(get_datafile(0, 1), nullptr);
}

} // namespace
} // namespace vexlo_test
