// Start-up up to the prompt: the banner, the argument, the order of the steps and the status of each failure.
#include <gtest/gtest.h>

#include "files_fixture.h"
#include "programs.h"

namespace vexlo_test {
namespace {

constexpr char NOT_FOUND[] = "No such file or directory";
constexpr char PROMPT[] = "VEXLO> ";

class ShellStartup : public testing::Test {
protected:
    run_result start(const std::vector<std::string> &args, run_options options = {}) const {
        std::vector<std::string> argv{program_path("vexlo")};
        argv.insert(argv.end(), args.begin(), args.end());
        options.input = "exit\n";
        return run_process(argv, options);
    }

    // A path of exactly `length` characters that leads to the configuration.
    std::string config_of_length(std::size_t length) const {
        return std::string(length - site_.config_path().size(), '/') + site_.config_path();
    }

    site site_;
};

void expect_prompt_and_exit(const run_result &result) {
    expect_clean_run(result);
    EXPECT_EQ(strip_banner(result.err), PROMPT);
    EXPECT_EQ(result.out, "");
}

TEST_F(ShellStartup, BannerIsTitleAndOneNoticeLineBetweenEmptyLinesOnStandardError) {
    const run_result result = site_.run();
    const std::string title = "\nVexlo utilities.\n\n";
    ASSERT_TRUE(result.err.starts_with(title)) << result.describe();
    const std::string rest = result.err.substr(title.size());
    const std::size_t notice = rest.find('\n');
    ASSERT_NE(notice, std::string::npos);
    EXPECT_GT(notice, 0u);
    EXPECT_EQ(rest.substr(notice), std::string("\n\n") + PROMPT);
    EXPECT_EQ(result.out, "");
}

TEST_F(ShellStartup, WithoutArgumentConfigurationIsConfigIniOfWorkingDirectory) {
    run_options options;
    options.work_dir = site_.path("");
    expect_prompt_and_exit(start({}, options));
}

TEST_F(ShellStartup, WithoutArgumentMissingConfigurationIsNamedWithItsDirectory) {
    run_options options;
    options.work_dir = site_.dict_dir();
    expect_start_failure(start({}, options), std::string("open ./config.ini: ") + NOT_FOUND + "\n");
}

TEST_F(ShellStartup, ArgumentWithoutEqualsGivesUsageWithProgramPath) {
    for (const char *argument : {"-h", "", "config", "--help"})
        expect_start_failure(start({argument}), "usage: " + program_path("vexlo") + " config=filename\n\n");
}

TEST_F(ShellStartup, OnlyFirstArgumentIsLookedAt) {
    expect_start_failure(start({"-v", "config=" + site_.config_path()}),
                         "usage: " + program_path("vexlo") + " config=filename\n\n");
    expect_prompt_and_exit(start({"config=" + site_.config_path(), "config=/nowhere", "-h"}));
}

TEST_F(ShellStartup, WordBeforeEqualsIsNotChecked) {
    for (const char *word : {"foo", "", "CONFIG", "-c "})
        expect_prompt_and_exit(start({word + ("=" + site_.config_path())}));
}

TEST_F(ShellStartup, PathBeginsBehindFirstEquals) {
    const std::string path = site_.path("a=b.ini");
    write_text(path, read_text(site_.config_path()));
    expect_prompt_and_exit(start({"config=" + path}));
}

TEST_F(ShellStartup, EmptyPathIsOpenedAsItIs) {
    expect_start_failure(start({"config="}), std::string("open : ") + NOT_FOUND + "\n");
}

TEST_F(ShellStartup, ConfigurationPathKeeps511Characters) {
    expect_prompt_and_exit(start({"config=" + config_of_length(511)}));
    const std::string longer = config_of_length(512);
    expect_start_failure(start({"config=" + longer}),
                         "open " + longer.substr(0, 511) + ": " + NOT_FOUND + "\n");
}

TEST_F(ShellStartup, WorkBufferOf8MiBThatCannotBeAllocatedIsFatal) {
    run_options options;
    options.io_rules = "call=malloc,min=8388608,errno=ENOMEM";
    expect_start_failure(site_.run({}, options), "allocate work memory error: Cannot allocate memory\n");
}

TEST_F(ShellStartup, WorkBufferIsAskedForInOnePieceOf8MiB) {
    run_options options;
    options.io_rules = "call=malloc,min=8388609,errno=ENOMEM";
    expect_prompt_and_exit(site_.run({}, options));
}

// One failure of every step: the message of the first that fails, nothing of the later ones.
TEST_F(ShellStartup, FirstFailingStepEndsTheProgramWithStatus255) {
    run_options no_memory;
    no_memory.io_rules = "call=malloc,min=8388608,errno=ENOMEM";

    site_.set_files({"/nowhere/a.dbf"});
    expect_start_failure(site_.run(),
                         std::string("open /nowhere/a.dbf: ") + NOT_FOUND + "\nopen data files error.\n");
    site_.set_config("datafiles=/nowhere/list\n");
    expect_start_failure(site_.run(), std::string("open /nowhere/list: ") + NOT_FOUND + "\n");
    expect_start_failure(site_.run({}, no_memory), "allocate work memory error: Cannot allocate memory\n");
    site_.set_config("datafiles /nowhere/list\n");
    expect_start_failure(site_.run({}, no_memory), "parameter format error: datafiles /nowhere/list\n");
    expect_start_failure(start({"-h"}, no_memory),
                         "usage: " + program_path("vexlo") + " config=filename\n\n");
}

TEST_F(ShellStartup, CommandsAreNotReadWhenStartFails) {
    site_.set_list("");
    expect_start_failure(site_.run({"help"}),
                         "SYSTEM tablespace file not configured.\nopen data files error.\n");
}

TEST_F(ShellStartup, NothingIsWrittenIntoTheDictionaryDirectoryByStartAndExit) {
    expect_prompt_and_exit(site_.run());
    run_options options;
    options.work_dir = site_.dict_dir();
    const run_result listing = run_process({"/bin/ls", "-A"}, options);
    EXPECT_EQ(listing.status, 0);
    EXPECT_EQ(listing.out, "");
}

} // namespace
} // namespace vexlo_test
