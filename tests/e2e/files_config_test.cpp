// The configuration file as the user meets it: what ends the start, and which settings take effect.
#include <gtest/gtest.h>

#include "files_fixture.h"
#include "programs.h"

namespace vexlo_test {
namespace {

class FilesConfig : public testing::Test {
protected:
    site site_;
};

TEST_F(FilesConfig, MissingFileEndsTheStart) {
    const run_result result = run_vexlo(site_.path("none.ini"), {});
    expect_start_failure(result, "open " + site_.path("none.ini") + ": No such file or directory\n");
}

TEST_F(FilesConfig, RefusedFileEndsTheStart) {
    run_options options;
    options.io_rules = "call=open,path=config.ini,errno=EACCES";
    expect_start_failure(site_.run({}, options), "open " + site_.config_path() + ": Permission denied\n");
}

TEST_F(FilesConfig, DirectoryOpensAndCannotBeRead) {
    const run_result result = run_process({program_path("vexlo"), "config=" + site_.dict_dir()});
    expect_start_failure(result, "read " + site_.dict_dir() + ": Is a directory\n");
}

TEST_F(FilesConfig, ReadErrorEndsTheStart) {
    run_options options;
    options.io_rules = "call=read,path=config.ini,errno=EIO";
    expect_start_failure(site_.run({}, options), "read " + site_.config_path() + ": Input/output error\n");
}

TEST_F(FilesConfig, ReadErrorBehindTheFirstLinesEndsTheStart) {
    site_.set_config(read_text(site_.config_path()) + "#" + std::string(20000, '-') + "\n");
    run_options options;
    options.io_rules = "call=read,path=config.ini,nth=2,errno=EIO";
    expect_start_failure(site_.run({}, options), "read " + site_.config_path() + ": Input/output error\n");
}

TEST_F(FilesConfig, ShortReadsLoseNothing) {
    run_options options;
    options.io_rules = "call=read,path=config.ini,count=3;call=read,path=files.txt,count=5";
    expect_clean_run(site_.run({}, options));
}

TEST_F(FilesConfig, FileIsClosedAfterReading) {
    run_options options;
    options.io_rules = "call=close,path=config.ini;call=close,path=files.txt";
    options.io_log = site_.path("io.log");
    expect_clean_run(site_.run({}, options));
    EXPECT_EQ(read_text(options.io_log), "call=close,path=config.ini calls=1 bytes=0\n"
                                         "call=close,path=files.txt calls=1 bytes=0\n");
}

TEST_F(FilesConfig, KeyWithoutEqualsEndsTheStartWithTheTrimmedLine) {
    const std::vector<std::pair<std::string, std::string>> lines{
        {"datadir /x\n", "datadir /x"},
        {"dictdir", "dictdir"},
        {"  datafiles\tlist  # = \n", "datafiles\tlist"},
        {"checksum on\r\n", "checksum on"},
        {"dictdir#=/a\n", "dictdir"},
        {"dictdir %s %n\n", "dictdir %s %n"},
    };
    const std::string sound = read_text(site_.config_path());
    for (const auto &[line, shown] : lines) {
        site_.set_config(sound + line);
        expect_start_failure(site_.run(), "parameter format error: " + shown + "\n");
    }
}

TEST_F(FilesConfig, MissingDatafilesKeyShowsAsAnEmptyListPath) {
    for (const char *text : {"", "# nothing but comments\n\n  # here\n", "dictdir=/a\n", "Datafiles=/x\n"}) {
        site_.set_config(text);
        expect_start_failure(site_.run(), "open : No such file or directory\n");
    }
}

TEST_F(FilesConfig, DirectoriesNeedNotExistForAStart) {
    site_.set_config("dictdir=/nowhere/dict\ndatadir=/nowhere/data\ndatafiles=" + site_.list_path() + "\n");
    expect_clean_run(site_.run());
}

TEST_F(FilesConfig, DictionaryPathsAreJoinedWithOneSlash) {
    const std::vector<std::pair<std::string, std::string>> lines{
        {"dictdir=/nowhere/d\n", "/nowhere/d/user.dat"},
        {"dictdir=/nowhere/d/\n", "/nowhere/d/user.dat"},
        {"dictdir=/nowhere/d//\n", "/nowhere/d//user.dat"},
        {"", "/user.dat"},
        {"dictdir=/\n", "/user.dat"},
    };
    const std::string label = ". . load   user$       " + std::string(41, '.');
    for (const auto &[line, path] : lines) {
        site_.set_config(line + "datafiles=" + site_.list_path() + "\n");
        const run_result result = site_.run({"load dict"});
        expect_clean_run(result);
        EXPECT_EQ(replies(result).at(0), label + "open " + path + ": No such file or directory\n" +
                                             "Command \"load\" execute error.\n");
    }
}

} // namespace
} // namespace vexlo_test
