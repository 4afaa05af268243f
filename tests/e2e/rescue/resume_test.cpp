// Runs that are interrupted, and what --resume makes of them.
#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "rescue_program.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr unsigned TABLES = 40;

// The run gets the signal when it opens this output.
run_options signal_at(const std::string &signal, const std::string &output, int nth = 1) {
    run_options options;
    options.io_rules = "call=open,path=" + output + ",nth=" + std::to_string(nth) + ",signal=" + signal;
    return options;
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

    // The files of an output directory and what they are.
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
    const run_result killed = run_rescue(arguments("out"), signal_at("KILL", "SCOTT.T7.csv"));
    ASSERT_EQ(killed.end, ending::signalled) << killed.describe();
    const Json record = read_record(dir_.file("out"));
    EXPECT_TRUE(record["finished"].is_null());
    EXPECT_TRUE(record["exit_status"].is_null());
    std::map<std::string, ino_t> finished;
    for (const Json &entry : record["tables"])
        for (const Json &output : entry["outputs"])
            finished[output["path"]] = inodes("out").at(output["path"]);
    EXPECT_EQ(finished.size(), 6U);
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
    for (const char *signal : {"INT", "TERM", "HUP"}) {
        SCOPED_TRACE(signal);
        const run_result ended = run_rescue(arguments(signal), signal_at(signal, "SCOTT.T7.csv"));
        EXPECT_EQ(ended.status, 1) << ended.describe();
        EXPECT_EQ(ended.err, "vexlo-rescue: interrupted; --resume goes on\n");
        const Json record = read_record(dir_.file(signal));
        EXPECT_TRUE(record["finished"].is_null());
        EXPECT_EQ(record["exit_status"], 1);
        ASSERT_EQ(record["tables"].size(), TABLES);
        EXPECT_EQ(record["tables"][5]["status"], "complete");
        EXPECT_EQ(record["tables"][6]["reason"], "interrupted");
        EXPECT_EQ(record["tables"][7]["reason"], "not reached");
        EXPECT_EQ(read_outputs(dir_.file(signal)).size(), 6U);
        EXPECT_EQ(run_rescue(arguments(signal, {"--resume"})).status, 0);
        expect_whole(signal);
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

// What stands there without a record is nobody's to replace.
TEST_F(Resume, WithoutARecordNoOutputIsReplaced) {
    std::filesystem::create_directory(dir_.file("out"));
    write_text(dir_.file("out/SCOTT.T1.csv"), "of somebody else");
    const run_result result = run_rescue(arguments("out", {"--resume"}));
    EXPECT_EQ(result.status, 2) << result.describe();
    EXPECT_EQ(read_text(dir_.file("out/SCOTT.T1.csv")), "of somebody else");
    EXPECT_FALSE(file_exists(dir_.file("out/rescue.json")));
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

TEST_F(Resume, IsRefusedWhenAFileWasChangedInItsPlace) {
    EXPECT_EQ(run_rescue(arguments("out")).status, 0);
    const std::string path = dir_.file("db/users01.dbf");
    struct stat st;
    ASSERT_EQ(stat(path.c_str(), &st), 0);
    const Json file = read_record(dir_.file("out")).at("files").at(1);
    EXPECT_EQ(file.at("bytes"), st.st_size);
    const timespec later[] = {st.st_atim, {st.st_mtim.tv_sec, (st.st_mtim.tv_nsec + 1) % 1000000000}};
    ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), later, 0), 0);
    const run_result result = run_rescue(arguments("out", {"--resume"}));
    EXPECT_EQ(result.status, 2) << result.describe();
    EXPECT_EQ(result.err,
              "vexlo-rescue: the datafiles have changed since the run in " + dir_.file("out") + "\n");
}

TEST_F(Resume, GoesOnWhereNamesAndOptionsAreNoUtf8) {
    const std::vector<std::string> more = {"--null", "\xA7"};
    std::filesystem::rename(dir_.file("db"), dir_.file("db\xFF"));
    const auto run = [&](std::vector<std::string> options) {
        options.insert(options.end(), {"--quiet"});
        return run_rescue(unload_arguments(dir_.file("db\xFF"), dir_.file("out"), options));
    };
    EXPECT_EQ(run(more).status, 0);
    const run_result again = run({"--null", "\xA7", "--resume"});
    EXPECT_EQ(again.status, 0) << again.describe();
    EXPECT_EQ(run({"--null", "\xA8", "--resume"}).status, 2);
}

// The default input is every file of the directory, outputs among them.
TEST_F(Resume, GoesOnInTheDirectoryOfTheDatafiles) {
    run_options there;
    there.work_dir = dir_.file("db");
    const std::vector<std::string> command = {"unload", "--to", "csv", "--output", ".", "--quiet"};
    const auto run = [&](std::vector<std::string> more) {
        more.insert(more.begin(), command.begin(), command.end());
        return run_rescue(more, there);
    };
    EXPECT_EQ(run({}).status, 0);
    const std::string whole = read_text(dir_.file("db/SCOTT.T2.csv"));
    write_text(dir_.file("db/SCOTT.T2.csv"), "short");
    EXPECT_EQ(run({}).status, 2);
    const run_result resumed = run({"--resume"});
    EXPECT_EQ(resumed.status, 0) << resumed.describe();
    EXPECT_EQ(read_text(dir_.file("db/SCOTT.T2.csv")), whole);
    const run_result overwritten = run({"--overwrite"});
    EXPECT_EQ(overwritten.status, 0) << overwritten.describe();
    EXPECT_EQ(read_text(dir_.file("db/SCOTT.T2.csv")), whole);
}

TEST_F(Resume, AFileThatIsNamedAsAnInputIsNotReplaced) {
    std::filesystem::create_directory(dir_.file("out"));
    write_text(dir_.file("out/SCOTT.T2.csv"), "mine");
    const run_result result =
        run_rescue(arguments("out", {"--overwrite", "--files", dir_.file("out/SCOTT.T2.csv")}));
    EXPECT_EQ(result.status, 2) << result.describe();
    EXPECT_EQ(read_text(dir_.file("out/SCOTT.T2.csv")), "mine");
}

TEST_F(Resume, AFileThatLiesAmongTheInputsIsNotReplacedUnlessTheRunBeforeHasWrittenIt) {
    run_options there;
    there.work_dir = dir_.file("db");
    const auto run = [&](const std::string &table) {
        return run_rescue({"unload", table, "--to", "csv", "--output", ".", "--quiet", "--overwrite"}, there);
    };
    write_text(dir_.file("db/SCOTT.T2.csv"), "mine");
    const run_result refused = run("T2");
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(
        refused.err.ends_with("vexlo-rescue: ./SCOTT.T2.csv is one of the input files, and no output of "
                              "the run before\n"))
        << refused.err;
    EXPECT_EQ(read_text(dir_.file("db/SCOTT.T2.csv")), "mine");
    EXPECT_FALSE(file_exists(dir_.file("db/rescue.json")));
    EXPECT_EQ(run("T1").status, 0);
    EXPECT_EQ(run("T?").status, 2); // T1 is an output, T2 is not
    EXPECT_EQ(read_text(dir_.file("db/SCOTT.T2.csv")), "mine");
    EXPECT_EQ(run("T1").status, 0);
    std::filesystem::remove(dir_.file("db/SCOTT.T2.csv"));
    EXPECT_EQ(run("T?").status, 0);
    EXPECT_EQ(run("T*2").status, 0);
}

// Killed behind the first output and before the record of it, a run has left a file that its record does not
// name.
TEST_F(Resume, OutputsOfAKilledRunAmongTheInputsAreReplaced) {
    const std::vector<std::string> command = {"unload", "--to", "csv", "--output", ".", "--quiet"};
    run_options there = signal_at("KILL", "SCOTT.T7.csv");
    there.work_dir = dir_.file("db");
    EXPECT_NE(run_rescue(command, there).status, 0);
    write_text(dir_.file("db/SCOTT.T9.csv"), "left");
    run_options plain;
    plain.work_dir = dir_.file("db");
    std::vector<std::string> overwriting = command;
    overwriting.emplace_back("--overwrite");
    const run_result result = run_rescue(overwriting, plain);
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(read_text(dir_.file("db/SCOTT.T9.csv")), read_text(dir_.file("whole/SCOTT.T9.csv")));
}

TEST_F(Resume, ListsAndConfigurationsThatNameInputsAreNotReplaced) {
    std::filesystem::create_directory(dir_.file("out"));
    const std::string list = dir_.file("out/SCOTT.T2.csv"), config = dir_.file("out/SCOTT.T3.csv");
    const std::string lines = dir_.file("db/system01.dbf") + "\n" + dir_.file("db/users01.dbf") + "\n";
    const std::string settings = "datafiles = " + list + "\n";
    write_text(list, lines);
    write_text(config, settings);
    const auto refused = [&](const std::string &option, const std::string &file, const std::string &table) {
        return run_rescue({"unload", option, file, table, "--to", "csv", "--output", dir_.file("out"),
                           "--quiet", "--overwrite"})
            .err;
    };
    const std::string fault = " is one of the input files\n";
    EXPECT_EQ(refused("--list", list, "T2"), "vexlo-rescue: " + list + fault);
    EXPECT_EQ(refused("--config", config, "T2"), "vexlo-rescue: " + list + fault);
    EXPECT_EQ(refused("--config", config, "T3"), "vexlo-rescue: " + config + fault);
    EXPECT_EQ(read_text(list), lines);
    EXPECT_EQ(read_text(config), settings);
}

TEST_F(Resume, ADatafileThatIsNamedLikeAnUnfinishedOutputIsNotRemoved) {
    const std::string file = dir_.file("db/.SCOTT.T2.csv.17.part");
    std::filesystem::rename(dir_.file("db/users01.dbf"), file);
    const run_result result = run_rescue(
        {"unload", "T2", "--files", dir_.file("db"), "--to", "csv", "--output", dir_.file("db"), "--quiet"});
    EXPECT_EQ(result.status, 2);
    EXPECT_TRUE(result.err.ends_with("vexlo-rescue: " + file + " is one of the input files\n")) << result.err;
    EXPECT_TRUE(file_exists(file));
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

// The same with one database for all tables.
class ResumeDatabase : public Resume {
protected:
    static std::vector<std::string> to_sqlite(std::vector<std::string> arguments) {
        *std::ranges::find(arguments, "csv") = "sqlite";
        return arguments;
    }
    run_result run(const std::string &output, const std::vector<std::string> &more = {},
                   const run_options &options = {}) const {
        return run_rescue(to_sqlite(arguments(output, more)), options);
    }

    // What a script prints. It has the time that a machine under load takes to start it.
    static std::string run_python(const std::vector<std::string> &command) {
        run_options patient;
        patient.time_limit = std::chrono::minutes(2);
        const run_result result = run_process(command, patient);
        EXPECT_EQ(result.status, 0) << result.describe();
        return result.out;
    }
    // What the statements print on the database at `path`.
    static std::string query(const std::string &path, const std::string &sql) {
        constexpr char SCRIPT[] = "import sqlite3, sys\n"
                                  "d = sqlite3.connect(sys.argv[1])\n"
                                  "for r in d.execute(sys.argv[2]): print(*r, sep='|')\n"
                                  "d.commit()\n";
        return run_python({PYTHON_PROGRAM, "-c", SCRIPT, path, sql});
    }
    static std::string dump(const std::string &path) {
        constexpr char SCRIPT[] = "import sqlite3, sys\n"
                                  "d = sqlite3.connect(sys.argv[1])\n"
                                  "print('\\n'.join(sorted(d.iterdump())))\n";
        return run_python({PYTHON_PROGRAM, "-c", SCRIPT, path});
    }

    // The file beside its place that an interrupted run has left.
    std::string unfinished(const std::string &output) const {
        for (const auto &[name, content] : read_outputs(dir_.file(output)))
            if (name.starts_with(".rescue.sqlite.") && name.ends_with(".part"))
                return dir_.file(output) + "/" + name;
        ADD_FAILURE() << "no unfinished database";
        return "";
    }

    void expect_whole_database(const std::string &output) {
        const auto outputs = read_outputs(dir_.file(output));
        ASSERT_EQ(outputs.size(), 1U) << outputs.begin()->first << ", " << outputs.rbegin()->first;
        if (whole_.empty()) {
            EXPECT_EQ(run("whole-database").status, 0);
            whole_ = dump(dir_.file("whole-database/rescue.sqlite"));
        }
        EXPECT_TRUE(dump(dir_.file(output) + "/rescue.sqlite") == whole_);
        const Json record = read_record(dir_.file(output));
        EXPECT_EQ(record["exit_status"], 0);
        for (const Json &entry : record["tables"]) {
            EXPECT_EQ(entry["status"], "complete");
            EXPECT_EQ(entry["outputs"], record["tables"][0]["outputs"]);
        }
        EXPECT_EQ(record["tables"][0]["outputs"][0]["bytes"], outputs.begin()->second.size());
    }

    std::string whole_;
};

TEST_F(ResumeDatabase, KeepsTheTablesThatWereFinishedBeforeAKill) {
    // The record is written once before the first table: its eighth writing is the one with T7.
    const run_result killed = run("out", {}, signal_at("KILL", "rescue.json", 8));
    ASSERT_EQ(killed.end, ending::signalled) << killed.describe();
    query(unfinished("out"), "UPDATE \"SCOTT.T6\" SET NAME = 'kept' WHERE ID = 1");
    query(unfinished("out"), "UPDATE \"SCOTT.T7\" SET NAME = 'not in the record' WHERE ID = 1");
    EXPECT_EQ(run("out", {"--resume"}).status, 0);
    const std::string path = dir_.file("out/rescue.sqlite");
    EXPECT_EQ(query(path, "SELECT NAME FROM \"SCOTT.T6\" WHERE ID = 1"), "kept\n");
    EXPECT_EQ(query(path, "SELECT NAME FROM \"SCOTT.T7\" WHERE ID = 1"), "row 1\n");
    query(path, "UPDATE \"SCOTT.T6\" SET NAME = 'row 1' WHERE ID = 1");
    EXPECT_TRUE(dump(path) == (run("whole-database"), dump(dir_.file("whole-database/rescue.sqlite"))));
}

TEST_F(ResumeDatabase, GoesOnWhereverAKillCame) {
    for (const int write : {1, 2, 3, 5, 9, 30, 100, 300, 500}) {
        SCOPED_TRACE(write);
        const std::string output = "out" + std::to_string(write);
        run_options options;
        options.io_rules =
            "call=write|pwrite,path=rescue.sqlite,nth=" + std::to_string(write) + ",signal=KILL";
        const run_result killed = run(output, {}, options);
        ASSERT_EQ(killed.end, ending::signalled) << killed.describe();
        EXPECT_EQ(run(output, {"--resume"}).status, 0);
        expect_whole_database(output);
    }
}

// Its rows need not be on the disk before that.
TEST_F(ResumeDatabase, TheRecordNamesTheLastTableWhenTheDatabaseIsComplete) {
    const run_result killed = run("out", {}, signal_at("KILL", "out/rescue.sqlite"));
    ASSERT_EQ(killed.end, ending::signalled) << killed.describe();
    const Json record = read_record(dir_.file("out"));
    EXPECT_EQ(record["tables"][TABLES - 2]["status"], "complete");
    EXPECT_EQ(record["tables"][TABLES - 1]["status"], "failed");
    EXPECT_EQ(run("out", {"--resume"}).status, 0);
    expect_whole_database("out");
}

// It would be taken for that of the new database.
TEST_F(ResumeDatabase, TheJournalOfAnEarlierDatabaseDoesNotStay) {
    EXPECT_EQ(run("out").status, 0);
    write_text(dir_.file("out/rescue.sqlite-journal"), "of an earlier database");
    EXPECT_EQ(run("out", {"--overwrite"}).status, 0);
    expect_whole_database("out");
}

TEST_F(ResumeDatabase, GoesOnAfterASignalAndAgain) {
    for (const int nth : {4, 5}) {
        const run_result ended =
            run("out", nth == 4 ? std::vector<std::string>{} : std::vector<std::string>{"--resume"},
                signal_at("TERM", "rescue.json", nth));
        EXPECT_EQ(ended.status, 1) << ended.describe();
        EXPECT_FALSE(file_exists(dir_.file("out/rescue.sqlite")));
    }
    EXPECT_EQ(run("out", {"--resume"}).status, 0);
    expect_whole_database("out");
}

TEST_F(ResumeDatabase, ADatabaseThatIsWholeStaysAsItIs) {
    EXPECT_EQ(run("out").status, 0);
    const auto before = inodes("out").at("rescue.sqlite");
    EXPECT_EQ(run("out", {"--resume"}).status, 0);
    EXPECT_EQ(inodes("out").at("rescue.sqlite"), before);
    expect_whole_database("out");
}

TEST_F(ResumeDatabase, TablesThatFailedAreAddedToAFinishedDatabase) {
    run_options options;
    options.io_rules = "call=pwrite,path=rescue.sqlite,nth=40,errno=ENOSPC";
    const run_result failed = run("out", {}, options);
    EXPECT_EQ(failed.status, 2) << failed.describe();
    EXPECT_TRUE(file_exists(dir_.file("out/rescue.sqlite")));
    query(dir_.file("out/rescue.sqlite"), "SELECT count(*) FROM \"SCOTT.T1\"");
    EXPECT_EQ(run("out", {"--resume"}).status, 0);
    expect_whole_database("out");
}

TEST_F(ResumeDatabase, ADatabaseThatIsDamagedIsWrittenAnew) {
    const run_result killed = run("out", {}, signal_at("KILL", "rescue.json", 8));
    ASSERT_EQ(killed.end, ending::signalled) << killed.describe();
    std::string content = read_text(unfinished("out"));
    for (size_t at = 4096; at < content.size(); at += 4096)
        content.replace(at, 64, std::string(64, '\x5A'));
    write_text(unfinished("out"), content);
    EXPECT_EQ(run("out", {"--resume"}).status, 0);
    expect_whole_database("out");
}

} // namespace
