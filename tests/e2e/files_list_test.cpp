// The datafile list: which of its lines count, and what ends the start while it is read.
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "files_fixture.h"
#include "programs.h"

namespace vexlo_test {
namespace {

constexpr char NOTHING_LISTED[] = "SYSTEM tablespace file not configured.\nopen data files error.\n";

class FilesList : public testing::Test {
protected:
    FilesList() : users_(site_.make_datafile("users01.dbf", datafile_info(4))) {}

    // Expects the catalogue to hold these datafiles, as file number and path, in this order.
    void expect_catalogue(const std::vector<std::pair<std::uint32_t, std::string>> &files,
                          run_options options = {}) const {
        std::string expected = FILE_LIST_HEADER;
        for (const auto &[fno, path] : files)
            expected += file_row(datafile_info(fno), path);
        const run_result result = site_.run({"list files"}, std::move(options));
        expect_clean_run(result);
        EXPECT_EQ(result.out, expected);
    }

    // A path of exactly `length` characters that leads to `path`.
    static std::string lengthened(const std::string &path, std::size_t length) {
        return std::string(length - path.size(), '/') + path;
    }

    site site_;
    std::string system_ = site_.system_path();
    std::string users_;
};

TEST_F(FilesList, OrderOfTheLinesIsTheOrderOfTheCatalogue) {
    site_.set_files({users_, system_});
    expect_catalogue({{4, users_}, {1, system_}});
    site_.set_files({system_, users_});
    expect_catalogue({{1, system_}, {4, users_}});
}

TEST_F(FilesList, FileListedTwiceIsTwoEntries) {
    site_.set_files({system_, users_, system_});
    expect_catalogue({{1, system_}, {4, users_}, {1, system_}});
}

TEST_F(FilesList, LastLineWithoutNewlineIsDropped) {
    site_.set_list(system_ + "\n" + users_);
    expect_catalogue({{1, system_}});
    site_.set_list(system_ + "\n/nowhere/not.dbf");
    expect_catalogue({{1, system_}});
    site_.set_list(system_);
    expect_start_failure(site_.run(), NOTHING_LISTED);
}

TEST_F(FilesList, CommentsBlanksAndEmptyLinesAreNoEntries) {
    site_.set_list("# all files\n\n \t \n\r\n" + system_ + " # the dictionary\n#" + users_ +
                   "\n   # end\n\t" + users_ + "\t#\n");
    expect_catalogue({{1, system_}, {4, users_}});
}

TEST_F(FilesList, LinesAreTrimmedAndInnerBlanksKept) {
    const std::string spaced = site_.make_datafile("my users 01.dbf", datafile_info(5));
    site_.set_list(" \t" + system_ + " \t\r\n\r " + spaced + "\r\n");
    expect_catalogue({{1, system_}, {5, spaced}});
}

TEST_F(FilesList, ListWithoutPathsHasNoSystemFile) {
    for (const char *text : {"", "\n", "# nothing\n\n   \n# else\n", "\n\n\n"}) {
        site_.set_list(text);
        expect_start_failure(site_.run(), NOTHING_LISTED);
    }
}

TEST_F(FilesList, PathOf1023CharactersIsKeptWhole) {
    const std::string path = lengthened(users_, 1023);
    site_.set_files({system_, path});
    expect_catalogue({{1, system_}, {4, path}});
}

TEST_F(FilesList, LastLineOf1023CharactersWithoutANewlineIsDropped) {
    site_.set_list(system_ + "\n" + lengthened(users_, 1023));
    expect_catalogue({{1, system_}});
}

TEST_F(FilesList, LastLineOf1023CharactersIsKeptWithItsNewline) {
    for (const size_t length : {1021U, 1022U, 1023U}) {
        const std::string path = lengthened(users_, length);
        site_.set_list(system_ + "\n" + path + "\n");
        expect_catalogue({{1, system_}, {4, path}});
    }
}

TEST_F(FilesList, NulEndsALineAndNotTheList) {
    site_.set_list(system_ + "\n" + users_ + std::string("\0rest\n", 6));
    expect_catalogue({{1, system_}, {4, users_}});
}

TEST_F(FilesList, LongerLineIsTakenInPiecesOf1023Characters) {
    const std::string first = lengthened(system_, 1023), second = lengthened(users_, 1023);
    site_.set_files({first + second + users_});
    expect_catalogue({{1, first}, {4, second}, {4, users_}});
}

TEST_F(FilesList, PieceBehindALongCommentIsNoComment) {
    site_.set_list("#" + std::string(1022, '-') + system_ + "\n");
    expect_catalogue({{1, system_}});
}

TEST_F(FilesList, MissingListEndsTheStart) {
    std::filesystem::remove(site_.list_path());
    expect_start_failure(site_.run(), "open " + site_.list_path() + ": No such file or directory\n");
}

TEST_F(FilesList, DirectoryOpensAndCannotBeRead) {
    site_.set_config("datafiles=" + site_.dict_dir() + "\n");
    expect_start_failure(site_.run(), "read " + site_.dict_dir() + ": Is a directory\n");
}

TEST_F(FilesList, ReadErrorEndsTheStart) {
    run_options options;
    options.io_rules = "call=read,path=files.txt,errno=EIO";
    expect_start_failure(site_.run({}, options), "read " + site_.list_path() + ": Input/output error\n");
}

TEST_F(FilesList, ReadErrorBehindTheFirstLinesEndsTheStart) {
    site_.set_list(system_ + "\n" + std::string(20000, '\n'));
    run_options options;
    options.io_rules = "call=read,path=files.txt,nth=2,errno=EIO";
    expect_start_failure(site_.run({}, options), "read " + site_.list_path() + ": Input/output error\n");
}

// Of the large allocations the work buffer is the first.
TEST_F(FilesList, CatalogueThatCannotBeAllocatedEndsTheStart) {
    site_.set_files(std::vector<std::string>(200, system_));
    run_options options;
    options.io_rules = "call=malloc,min=100000,nth=2+,errno=ENOMEM";
    expect_start_failure(site_.run({}, options),
                         "allocate memory for datafile error: Cannot allocate memory\n");
}

// Lowers the soft limit of descriptors and keeps the hard one, then runs the program with "list files".
run_result list_with_soft_limit(const site &here, unsigned long soft, const run_options &base) {
    run_options options = base;
    options.input = "list files\nexit\n";
    return run_process({"/bin/sh", "-c", "ulimit -S -n " + std::to_string(soft) + " && exec \"$0\" \"$1\"",
                        program_path("vexlo"), "config=" + here.config_path()},
                       options);
}

std::string listing_of(const std::vector<std::string> &paths) {
    std::string text = FILE_LIST_HEADER;
    for (const std::string &path : paths)
        text += file_row(datafile_info(1), path);
    return text;
}

TEST_F(FilesList, SoftDescriptorLimitDoesNotBound) {
    const std::vector<std::string> paths(100, system_);
    site_.set_files(paths);
    const run_result result = list_with_soft_limit(site_, 64, {});
    expect_clean_run(result);
    EXPECT_EQ(result.out, listing_of(paths));
}

TEST_F(FilesList, HardDescriptorLimitIsReportedWithTheFirstFileBeyondIt) {
    std::vector<std::string> paths;
    for (int i = 0; i < 40; i++) {
        paths.push_back(site_.path("f" + std::to_string(i) + ".dbf"));
        std::filesystem::create_hard_link(system_, paths.back());
    }
    site_.set_files(paths);
    run_options options;
    options.open_files = 23; // the standard streams and twenty datafiles
    expect_start_failure(site_.run({}, options),
                         "open " + paths[20] + ": Too many open files\nopen data files error.\n");
}

TEST_F(FilesList, TenThousandFilesAreAllOpened) {
    constexpr std::size_t count = 10000;
    run_options options;
    rlimit limit;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    if (limit.rlim_max < count + 16) {
        if (geteuid() != 0)
            GTEST_SKIP() << "the hard limit of descriptors is " << limit.rlim_max;
        options.open_files = count + 16;
    }
    std::vector<std::string> paths;
    for (std::size_t i = 0; i < count; i++) {
        paths.push_back(site_.path(std::to_string(i) + ".dbf"));
        std::filesystem::create_symlink(system_, paths.back());
    }
    site_.set_files(paths);
    const run_result result = list_with_soft_limit(site_, 1024, options);
    expect_clean_run(result);
    EXPECT_EQ(result.out, listing_of(paths));
}

} // namespace
} // namespace vexlo_test
