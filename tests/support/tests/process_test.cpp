#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <system_error>

#include <gtest/gtest.h>

#include "process.h"
#include "scratch_dir.h"

namespace vexlo_test {
namespace {

const std::string BANNER = "\nVexlo utilities.\n\nA notice of its own.\n\n";

TEST(RunConsole, TypesTheCommandsAndCollectsBothStreams) {
    const run_result r = run_console(TEST_CONSOLE, "x.ini", {"out one", "err two", "config"});
    EXPECT_EQ(r.end, ending::exited) << r.describe();
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "one\nconfig=x.ini\n");
    EXPECT_EQ(r.err, BANNER + "VEXLO> VEXLO> two\nVEXLO> VEXLO> ");
}

TEST(RunConsole, TakesADirectoryForItsConfigIni) {
    const scratch_dir dir;
    const run_result r = run_console(TEST_CONSOLE, dir.path(), {"config"});
    EXPECT_EQ(r.out, "config=" + dir.path() + "/config.ini\n");
}

TEST(RunConsole, ReportsTheExitStatus) {
    const run_result r = run_console(TEST_CONSOLE, "missing", {});
    EXPECT_EQ(r.end, ending::exited);
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(strip_banner(r.err), "open missing: No such file or directory\n");
}

TEST(RunVexlo, RunsTheProgramOfThisBuild) {
    const scratch_dir dir;
    const run_result r = run_vexlo(dir.file("none.ini"), {});
    EXPECT_EQ(r.end, ending::exited) << r.describe();
    EXPECT_EQ(r.status, 255);
    EXPECT_EQ(strip_banner(r.err), "open " + dir.file("none.ini") + ": No such file or directory\n");
}

TEST(RunProcess, KillsAnEndlessPromptAtTheOutputLimit) {
    run_options options;
    options.output_limit = 100000;
    const run_result r = run_process({TEST_CONSOLE}, options);
    EXPECT_EQ(r.end, ending::output_limit) << r.describe();
    EXPECT_EQ(r.signal, SIGKILL);
    EXPECT_GT(r.err.size(), 100000U);
    EXPECT_LT(r.err.size(), 100000U + 2 * 65536U);
}

TEST(RunProcess, KillsAtTheTimeLimit) {
    run_options options;
    options.time_limit = std::chrono::milliseconds(50);
    const run_result r = run_process({"/bin/sleep", "60"}, options);
    EXPECT_EQ(r.end, ending::time_limit) << r.describe();
    EXPECT_EQ(r.signal, SIGKILL);
}

TEST(RunProcess, KillsAtTheTimeLimitAChildThatHasClosedItsOutput) {
    run_options options;
    options.time_limit = std::chrono::milliseconds(50);
    const run_result r = run_process({"/bin/sh", "-c", "exec >&- 2>&-; sleep 60"}, options);
    EXPECT_EQ(r.end, ending::time_limit) << r.describe();
}

TEST(RunProcess, KillsTheWholeProcessGroup) {
    run_options options;
    options.time_limit = std::chrono::milliseconds(200);
    const run_result r = run_process({"/bin/sh", "-c", "sleep 60 & echo $!; wait"}, options);
    ASSERT_EQ(r.end, ending::time_limit) << r.describe();
    const pid_t grandchild = std::stoi(r.out);
    const std::string stat = "/proc/" + std::to_string(grandchild) + "/stat";
    // Killed, it vanishes, or stands as a zombie until its new parent collects it. On a busy machine that
    // takes a while.
    const std::string state = "s=$(cut -d' ' -f3 " + stat + " 2>&-)";
    const run_result last =
        run_process({"/bin/sh", "-c",
                     "n=0; while " + state +
                         " && [ $s != Z ] && [ $n -lt 100 ]; do n=$((n+1)); sleep 0.1; done; echo \"$s\""});
    EXPECT_TRUE(last.out == "Z\n" || last.out == "\n") << last.out;
}

TEST(RunProcess, SurvivesMoreInputAndOutputThanAPipeHolds) {
    run_options options;
    options.input = std::string(3000000, 'a');
    const run_result r = run_process({"/bin/sh", "-c", "tee /dev/stderr"}, options);
    EXPECT_EQ(r.end, ending::exited);
    EXPECT_EQ(r.out, options.input);
    EXPECT_EQ(r.err, options.input);
}

TEST(RunProcess, MergedStreamsKeepTheOrderOfWriting) {
    run_options options;
    options.mode = capture::merged;
    options.input = "alternate\nexit\n";
    const run_result r = run_process({TEST_CONSOLE}, options);
    EXPECT_EQ(r.out, BANNER + "VEXLO> out0\nerr0\nout1\nerr1\nout2\nerr2\nVEXLO> ");
    EXPECT_EQ(r.err, "");
}

TEST(RunProcess, ReportsTheSignal) {
    const run_result r = run_console(TEST_CONSOLE, "x.ini", {"abort"});
    EXPECT_EQ(r.end, ending::signalled) << r.describe();
    EXPECT_EQ(r.signal, SIGABRT);
    EXPECT_NE(r.describe().find("signal 6"), std::string::npos);
}

TEST(RunProcess, SetsWorkingDirectoryAndEnvironment) {
    const scratch_dir dir;
    run_options options;
    options.work_dir = dir.path();
    options.env = {{"VEXLO_TEST_VALUE", "a b"}};
    const run_result r = run_console(TEST_CONSOLE, "x.ini", {"cwd", "env VEXLO_TEST_VALUE"}, options);
    EXPECT_EQ(r.out, dir.path() + "\na b\n");
}

TEST(RunProcess, FileSizeLimitMakesWritesFailRatherThanKill) {
    const scratch_dir dir;
    run_options options;
    options.file_size = 5000;
    const run_result r = run_console(TEST_CONSOLE, "x.ini", {"fill " + dir.file("big")}, options);
    EXPECT_EQ(r.end, ending::exited) << r.describe();
    EXPECT_EQ(r.out, "EFBIG\n");
    EXPECT_EQ(read_file(dir.file("big")).size(), 5000U);
}

TEST(RunProcess, OpenFileLimitReachesTheChild) {
    run_options options;
    options.open_files = 10;
    const run_result r = run_process({"/bin/sh", "-c", "ulimit -n"}, options);
    EXPECT_EQ(r.out, "10\n");
}

TEST(RunProcess, TheChildInheritsTheStandardStreamsAlone) {
    const int extra = open("/dev/null", O_RDONLY);
    run_options options;
    options.open_files = 10;
    const run_result r = run_console(TEST_CONSOLE, "x.ini", {"handles"}, options);
    close(extra);
    EXPECT_EQ(r.out, "7\n");
}

TEST(RunProcess, AddressSpaceLimitReachesTheChild) {
    run_options options;
    options.address_space = 64UL << 20;
    const run_result r = run_process({"/bin/sh", "-c", "ulimit -v"}, options);
    EXPECT_EQ(r.out, "65536\n");
}

TEST(RunProcess, ThrowsWhenTheProgramCannotBeStarted) {
    EXPECT_THROW(run_process({"/nonexistent/program"}), std::system_error);
    run_options options;
    options.work_dir = "/nonexistent";
    EXPECT_THROW(run_process({"/bin/true"}, options), std::system_error);
}

TEST(SplitConsole, CutsAtThePrompts) {
    const console_text split = split_console(BANNER + "start\nVEXLO> VEXLO> a\nb\nVEXLO> ");
    EXPECT_EQ(split.startup, "start\n");
    EXPECT_EQ(split.commands, (std::vector<std::string>{"", "a\nb\n", ""}));
}

TEST(SplitConsole, WithoutAPromptAllIsStartUp) {
    const console_text split = split_console(BANNER + "open x\n");
    EXPECT_EQ(split.startup, "open x\n");
    EXPECT_TRUE(split.commands.empty());
}

TEST(StripBanner, TakesAnyNoticeLine) {
    EXPECT_EQ(strip_banner("\nVexlo utilities.\n\nwhatever\n\nrest"), "rest");
}

TEST(StripBanner, RejectsAnotherStart) {
    EXPECT_THROW(strip_banner(""), std::invalid_argument);
    EXPECT_THROW(strip_banner("Vexlo utilities.\n\nnotice\n\n"), std::invalid_argument);
    EXPECT_THROW(strip_banner("\nVexlo utilities.\n\n\n\n"), std::invalid_argument);
    EXPECT_THROW(strip_banner("\nVexlo utilities.\n\nnotice\nrest"), std::invalid_argument);
}

TEST(StripPrompts, RemovesEveryPrompt) {
    EXPECT_EQ(strip_prompts("VEXLO> aVEXLO> VEXLO> b\n"), "ab\n");
    EXPECT_EQ(strip_prompts("none\n"), "none\n");
}

} // namespace
} // namespace vexlo_test
