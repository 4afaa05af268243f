// Runs that are interrupted, and what --resume makes of them.
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include "rescue_program.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr unsigned TABLES = 40;

// Starts vexlo-rescue with its console streams closed.
pid_t start_rescue(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VEXLO_RESCUE_PROGRAM);
    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        const int null = open("/dev/null", O_RDWR);
        dup2(null, STDOUT_FILENO);
        dup2(null, STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    return child;
}

size_t count_complete(const std::string &output) {
    if (!file_exists(output + "/rescue.json"))
        return 0;
    size_t complete = 0;
    const Json record = read_record(output);
    for (const Json &entry : record["tables"])
        complete += entry["status"] == "complete";
    return complete;
}

// Sends the signal once some tables are complete; returns how the child ended, as waitpid() tells.
int interrupt(pid_t child, const std::string &output, int signal) {
    int status = 0;
    while (count_complete(output) < 3) {
        if (waitpid(child, &status, WNOHANG) == child)
            return status; // it ended by itself
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    kill(child, signal);
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return status;
}

class Resume : public testing::Test {
protected:
    Resume() {
        SimpleDatabase(dir_.file("db"), TABLES, 300).db.finish();
        EXPECT_EQ(run_rescue(arguments("whole")).status, 0);
    }

    std::vector<std::string> arguments(const std::string &output, std::vector<std::string> more = {}) const {
        more.insert(more.begin(), "--quiet");
        return unload_arguments(dir_.file("db"), dir_.file(output), more);
    }

    // The files that were there before and are still the same.
    std::map<std::string, ino_t> inodes(const std::string &output) const {
        std::map<std::string, ino_t> inodes;
        for (const auto &entry : std::filesystem::directory_iterator(dir_.file(output))) {
            struct stat st;
            if (stat(entry.path().c_str(), &st) == 0)
                inodes[entry.path().filename()] = st.st_ino;
        }
        return inodes;
    }

    void expect_whole(const std::string &output) {
        EXPECT_TRUE(read_outputs(dir_.file(output)) == read_outputs(dir_.file("whole")));
        EXPECT_EQ(read_record(dir_.file(output))["tables"], read_record(dir_.file("whole"))["tables"]);
        EXPECT_EQ(read_record(dir_.file(output))["exit_status"], 0);
    }

    scratch_dir dir_;
};

TEST_F(Resume, GoesOnAfterAKillAndKeepsWhatIsFinished) {
    const pid_t child = start_rescue(arguments("out", {"--jobs", "1"}));
    const int status = interrupt(child, dir_.file("out"), SIGKILL);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the run was over before it was killed";
    const Json record = read_record(dir_.file("out"));
    EXPECT_TRUE(record["finished"].is_null());
    EXPECT_TRUE(record["exit_status"].is_null());
    std::map<std::string, ino_t> finished;
    for (const Json &entry : record["tables"])
        for (const Json &output : entry["outputs"])
            finished[output["path"]] = inodes("out").at(output["path"]);
    EXPECT_EQ(run_rescue(arguments("out", {"--resume", "--jobs", "2"})).status, 0);
    expect_whole("out");
    for (const auto &[name, inode] : finished)
        EXPECT_EQ(inodes("out").at(name), inode) << name;
}

TEST_F(Resume, ClearsAwayWhatAKilledRunLeftUnfinished) {
    EXPECT_EQ(run_rescue(arguments("out")).status, 0);
    write_text(dir_.file("out/.SCOTT.T1.csv.1234.part"), "half");
    write_text(dir_.file("out/.rescue.json.77.part"), "half");
    write_text(dir_.file("out/.SCOTT.OTHER.csv.1234.part"), "not ours");
    write_text(dir_.file("out/.SCOTT.T1.csv.x.part"), "not ours");
    EXPECT_EQ(run_rescue(arguments("out", {"--resume"})).status, 0);
    EXPECT_FALSE(file_exists(dir_.file("out/.SCOTT.T1.csv.1234.part")));
    EXPECT_FALSE(file_exists(dir_.file("out/.rescue.json.77.part")));
    EXPECT_TRUE(file_exists(dir_.file("out/.SCOTT.OTHER.csv.1234.part")));
    EXPECT_TRUE(file_exists(dir_.file("out/.SCOTT.T1.csv.x.part")));
}

TEST_F(Resume, SignalsLeaveARecordToResumeFrom) {
    for (const int signal : {SIGINT, SIGTERM}) {
        const std::string output = "out" + std::to_string(signal);
        const pid_t child = start_rescue(arguments(output, {"--jobs", "1"}));
        const int status = interrupt(child, dir_.file(output), signal);
        ASSERT_TRUE(WIFEXITED(status));
        EXPECT_EQ(WEXITSTATUS(status), 1);
        const Json record = read_record(dir_.file(output));
        EXPECT_TRUE(record["finished"].is_null());
        EXPECT_EQ(record["exit_status"], 1);
        EXPECT_EQ(record["tables"].size(), TABLES);
        EXPECT_EQ(record["tables"].back()["status"], "failed");
        for (const auto &[name, content] : read_outputs(dir_.file(output)))
            EXPECT_FALSE(name.ends_with(".part")) << name;
        EXPECT_EQ(run_rescue(arguments(output, {"--resume"})).status, 0);
        expect_whole(output);
    }
}

TEST_F(Resume, WritesAgainWhatIsNotAsItWasWritten) {
    EXPECT_EQ(run_rescue(arguments("out")).status, 0);
    std::string changed = read_text(dir_.file("out/SCOTT.T2.csv"));
    changed[changed.size() / 2] ^= 1;
    write_text(dir_.file("out/SCOTT.T2.csv"), changed);
    write_text(dir_.file("out/SCOTT.T3.csv"), "short");
    std::filesystem::remove(dir_.file("out/SCOTT.T4.csv"));
    const auto before = inodes("out");
    EXPECT_EQ(run_rescue(arguments("out", {"--resume"})).status, 0);
    expect_whole("out");
    EXPECT_EQ(inodes("out").at("SCOTT.T1.csv"), before.at("SCOTT.T1.csv"));
}

TEST_F(Resume, StartsFromTheBeginningWithoutARecord) {
    EXPECT_EQ(run_rescue(arguments("out", {"--resume"})).status, 0);
    expect_whole("out");
}

TEST_F(Resume, IsRefusedWhenOptionsOrInputsHaveChanged) {
    EXPECT_EQ(run_rescue(arguments("out", {"scott.t1"})).status, 0);
    const auto refused = [&](const std::vector<std::string> &more, const std::string &what) {
        const run_result result = run_rescue(arguments("out", more));
        EXPECT_EQ(result.status, 2);
        EXPECT_TRUE(result.err.ends_with("vexlo-rescue: " + what + " the run in " + dir_.file("out") + "\n"))
            << result.err;
    };
    refused({"--resume"}, "the options differ from those of");
    refused({"--resume", "scott.t1", "--eol", "lf"}, "the options differ from those of");
    EXPECT_EQ(run_rescue(arguments("out", {"--resume", "scott.t1", "--jobs", "3"})).status, 0);
    const std::string extra = dir_.file("db/copy.dbf");
    std::filesystem::copy_file(dir_.file("db/system01.dbf"), extra);
    refused({"--resume", "scott.t1"}, "the datafiles have changed since");
}

TEST_F(Resume, ARecordThatCannotBeReadIsRefused) {
    EXPECT_EQ(run_rescue(arguments("out")).status, 0);
    write_text(dir_.file("out/rescue.json"), "{\"program\"");
    const run_result result = run_rescue(arguments("out", {"--resume"}));
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(
        result.err.starts_with("vexlo-rescue: " + dir_.file("out/rescue.json") + ": is no record of a run: "))
        << result.err;
}

} // namespace
