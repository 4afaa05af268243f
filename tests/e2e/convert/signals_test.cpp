// What a signal leaves of outputs that are not complete. The program is held where it tells of a value that
// it cannot decode: its standard error is a pipe that is full.
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "programs.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

namespace fs = std::filesystem;

class FullPipe {
public:
    FullPipe() {
        if (pipe2(ends_, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        const std::string block(4096, 'x');
        fcntl(writer(), F_SETFL, O_NONBLOCK);
        while (write(writer(), block.data(), block.size()) > 0) {
        }
        fcntl(writer(), F_SETFL, 0);
    }
    ~FullPipe() {
        close(ends_[0]);
        close(ends_[1]);
    }

    int writer() const { return ends_[1]; }
    // Makes room, again and again, until the child has ended; returns how that was, as waitpid() tells.
    int drain_until_end(pid_t child) const {
        fcntl(ends_[0], F_SETFL, O_NONBLOCK);
        int status = 0;
        char block[4096];
        while (waitpid(child, &status, WNOHANG) == 0)
            if (read(ends_[0], block, sizeof block) <= 0)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return status;
    }

private:
    int ends_[2];
};

class Signals : public testing::Test {
protected:
    Signals() {
        Dump dump;
        for (const char *name : {"A", "B"}) {
            DumpTable table{.name = name, .columns = {{"S", 1, 40}, {"D", 12, 7}}};
            table.rows.assign(20000, row({value("some text that fills more than one buffer")}));
            table.rows.push_back(row({null(), value(ora_date(2000, 13, 1))}));
            dump.tables.push_back(table);
        }
        write_text(dir_ / "SCOTT.dat", dump_bytes(dump));
        fs::create_directory(dir_ / "out");
    }

    // Starts the program and waits until it has so many unfinished outputs.
    pid_t start(std::vector<std::string> options, size_t unfinished, int ignored_signal = 0) {
        options.insert(options.begin(), program_path("vexlo-convert"));
        options.insert(options.end(), {"--output", dir_ / "out", dir_ / "SCOTT.dat"});
        std::vector<char *> argv;
        for (std::string &word : options)
            argv.push_back(word.data());
        argv.push_back(nullptr);
        const pid_t child = fork();
        if (child == 0) {
            for (const int taken : {SIGINT, SIGTERM, SIGHUP}) // though the test driver ignores them
                signal(taken, SIG_DFL);
            if (ignored_signal != 0)
                signal(ignored_signal, SIG_IGN);
            dup2(pipe_.writer(), STDERR_FILENO);
            execv(argv[0], argv.data());
            _exit(127);
        }
        const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(2);
        while (parts() < unfinished && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        EXPECT_EQ(parts(), unfinished);
        return child;
    }

    size_t parts() const {
        const fs::directory_iterator files(dir_ / "out");
        return static_cast<size_t>(
            std::count_if(begin(files), end(files), [](const fs::directory_entry &file) {
                return file.path().extension() == ".part";
            }));
    }

    // The signal ends the program as it does by default, and nothing but `left` is in the directory.
    void expect_end(pid_t child, int signal, const std::vector<std::string> &left = {}) {
        kill(child, signal);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFSIGNALED(status)) << status;
        EXPECT_EQ(WTERMSIG(status), signal);
        std::vector<std::string> files;
        for (const auto &entry : fs::directory_iterator(dir_ / "out"))
            files.push_back(entry.path().filename());
        EXPECT_EQ(files, left);
    }

    scratch_dir dir_;
    FullPipe pipe_;
};

TEST_F(Signals, EachOfThemRemovesWhatIsNotCompleteAndEndsTheProgram) {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        expect_end(start({"--to", "csv"}, 1), signal);
}

TEST_F(Signals, OutputsOfAllThreadsGo) {
    expect_end(start({"--to", "csv", "--jobs", "2"}, 2), SIGTERM);
    expect_end(start({"--to", "sqlldr", "--jobs", "2"}, 4), SIGINT);
}

TEST_F(Signals, DatabasesGoWithWhatStandsBesideThem) {
    if (run_convert({"--to", "sqlite", "--output", dir_ / "other", dir_ / "SCOTT.dat"}).status == 2)
        GTEST_SKIP() << "built without SQLite";
    expect_end(start({"--to", "sqlite"}, 1), SIGTERM);
}

TEST_F(Signals, OutputsOfAnEarlierRunStay) {
    write_text(dir_ / "out/SCOTT.A.csv", "old");
    expect_end(start({"--to", "csv"}, 1), SIGINT, {"SCOTT.A.csv"});
    EXPECT_EQ(read_text(dir_ / "out/SCOTT.A.csv"), "old");
}

// As nohup starts it.
TEST_F(Signals, OneThatIsIgnoredStaysIgnored) {
    const pid_t child = start({"--to", "csv"}, 1, SIGHUP);
    kill(child, SIGHUP);
    const int status = pipe_.drain_until_end(child);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_TRUE(fs::exists(dir_ / "out/SCOTT.A.csv"));
    EXPECT_TRUE(fs::exists(dir_ / "out/SCOTT.B.csv"));
    EXPECT_EQ(parts(), 0U);
}

} // namespace
