// `unload`: what comes out, what is refused, and what the record says.
#include <filesystem>
#include <sstream>

#include <gtest/gtest.h>

#include "emp_csv.h"
#include "programs.h"
#include "rescue_program.h"
#include "sample/demo.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using namespace vexlo_test;

std::vector<std::string> names_of(const std::map<std::string, std::string> &outputs) {
    std::vector<std::string> names;
    for (const auto &[name, content] : outputs)
        names.push_back(name);
    return names;
}

TEST(Unload, EmployeesOfTheDemonstrationComeOutAsCsv) {
    const scratch_dir dir;
    write_demo(dir.file("db"), 8192);
    const run_result result =
        run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--eol", "lf", "scott.emp"}));
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "TABLE      STATUS    ROWS  SUSPECT  BLOCKS LOST  REASON\n"
                          "SCOTT.EMP  complete    14        0            0\n"
                          "1 table                14        0            0\n");
    EXPECT_EQ(read_outputs(dir.file("out")),
              (std::map<std::string, std::string>{{"SCOTT.EMP.csv", EMP_CSV}}));
}

TEST(Unload, TheRecordSaysWhatWasReadAndWhatCameOfIt) {
    const scratch_dir dir;
    SimpleDatabase simple(dir.file("db"), 1, 3);
    simple.db.finish();
    const run_result result =
        run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--eol", "lf", "--json"}));
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out, read_text(dir.file("out/rescue.json")));
    Json record = Json::parse(result.out);
    std::vector<std::string> members;
    for (const auto &member : record.items())
        members.push_back(member.key());
    EXPECT_EQ(members, (std::vector<std::string>{"program", "version", "command", "started", "finished",
                                                 "exit_status", "files", "dictionary", "tables"}));
    EXPECT_EQ(record["program"], "vexlo-rescue");
    EXPECT_EQ(record["exit_status"], 0);
    EXPECT_EQ(record["command"].back(), "--json");
    EXPECT_EQ(record["files"].size(), simple.db.datafiles().size());
    const Json &file = record["files"].back();
    EXPECT_EQ(file["path"], simple.db.datafiles().back().string());
    EXPECT_EQ(file["block_size"], 8192);
    EXPECT_EQ(file["status"], "used");
    const std::string csv = "ID,NAME\n1,row 1\n2,row 2\n3,row 3\n";
    const Json expected = {
        {"owner", "SCOTT"},
        {"table", "T1"},
        {"partition", nullptr},
        {"status", "complete"},
        {"reason", nullptr},
        {"rows", 3},
        {"suspect_rows", 0},
        {"null_values", 0},
        {"blocks", record["tables"][0]["blocks"]},
        {"losses", Json::array()},
        {"outputs", {{{"path", "SCOTT.T1.csv"}, {"bytes", csv.size()}, {"crc32", 3790905563U}}}},
        {"lobs", {{"not_whole", 0}, {"missing_bytes", 0}, {"files", Json::array()}}}};
    EXPECT_EQ(record["tables"], Json::array({expected}));
    EXPECT_EQ(record["tables"][0]["blocks"]["data"], 1);
    EXPECT_EQ(read_text(dir.file("out/SCOTT.T1.csv")), csv);
}

// A text that cannot be passed through is told before any table is written, wherever it stands.
TEST(Unload, ValuesThatTheOptionsDoNotAllowRefuseTheRun) {
    const scratch_dir dir;
    SimpleDatabase simple(dir.file("db"), 1, 3);
    ColumnDef national = varchar2_column("NATIONAL", 40);
    national.charset_form = 2;
    simple.db.add_table(table_def(simple.scott, "T2", simple.users, {number_column("ID"), national}));
    simple.db.finish();
    const run_result result = run_rescue(
        unload_arguments(dir.file("db"), dir.file("out"), {"--to", "sqlldr", "--encoding", "raw"}));
    EXPECT_EQ(result.status, 2) << result.describe();
    EXPECT_NE(result.err.find("column \"NATIONAL\" is in another character set than the rest"),
              std::string::npos)
        << result.err;
    EXPECT_FALSE(file_exists(dir.file("out/rescue.json")));
    EXPECT_TRUE(read_outputs(dir.file("out")).empty());
}

TEST(Unload, NamesThatAreNotTheStoredOnesAreTold) {
    const scratch_dir dir;
    SimpleDatabase simple(dir.file("db"), 1, 3);
    simple.db.add_table(
        table_def(simple.scott, "t1", simple.users, {number_column("A"), number_column("a")}));
    simple.db.finish();
    for (const auto &[format, name] : {std::pair{"csv", "SCOTT.t1_2"}, {"sqlite", "SCOTT.t1_2"}}) {
        const run_result result =
            run_rescue(unload_arguments(dir.file("db"), dir.file(format), {"--to", format, "--quiet"}));
        EXPECT_EQ(result.status, 0) << result.describe();
        EXPECT_EQ(result.err, "vexlo-rescue: SCOTT: table \"t1\": column \"a\" is named \"a_2\"\n"
                              "vexlo-rescue: SCOTT: table \"t1\": is named \"" +
                                  std::string(name) +
                                  "\": there is a table whose name differs at most in case\n");
    }
}

TEST(Unload, OraclesOwnTablesComeWhenAskedFor) {
    const scratch_dir dir;
    SimpleDatabase(dir.file("db"), 1, 3).db.finish();
    EXPECT_EQ(run_rescue(unload_arguments(dir.file("db"), dir.file("by-default"))).status, 0);
    EXPECT_EQ(names_of(read_outputs(dir.file("by-default"))), std::vector<std::string>{"SCOTT.T1.csv"});
    run_rescue(unload_arguments(dir.file("db"), dir.file("all"), {"--all-owners"}));
    EXPECT_TRUE(read_outputs(dir.file("all")).contains("SYS.OBJ$.csv"));
    EXPECT_TRUE(read_outputs(dir.file("all")).contains("SCOTT.T1.csv"));
    run_rescue(unload_arguments(dir.file("db"), dir.file("named"), {"sys.ts$"}));
    EXPECT_EQ(names_of(read_outputs(dir.file("named"))), std::vector<std::string>{"SYS.TS$.csv"});
}

TEST(Unload, PartitionsComeInOneFileOrInOneEach) {
    const scratch_dir dir;
    write_demo(dir.file("db"), 8192);
    const std::vector<std::string> sales = {"--eol", "lf", "hr.sales"};
    EXPECT_EQ(run_rescue(unload_arguments(dir.file("db"), dir.file("whole"), sales)).status, 0);
    EXPECT_EQ(run_rescue(unload_arguments(dir.file("db"), dir.file("parts"),
                                          {"--eol", "lf", "hr.sales", "--by-partition"}))
                  .status,
              0);
    const auto whole = read_outputs(dir.file("whole")), parts = read_outputs(dir.file("parts"));
    ASSERT_EQ(names_of(whole), std::vector<std::string>{"HR.SALES.csv"});
    ASSERT_GT(parts.size(), 1U);
    const std::string text = whole.at("HR.SALES.csv");
    const std::string header = text.substr(0, text.find('\n') + 1);
    std::string rows;
    const Json record = read_record(dir.file("parts"));
    for (const Json &entry : record["tables"]) {
        const std::string partition = entry["partition"];
        const std::string &content = parts.at("HR.SALES/" + partition + ".csv");
        EXPECT_TRUE(content.starts_with(header));
        rows += content.substr(header.size());
    }
    EXPECT_EQ(header + rows, text);
}

TEST(Unload, ASqliteDatabaseHoldsTheTablesOfAllOwners) {
    const scratch_dir dir;
    write_demo(dir.file("db"), 8192);
    const run_result result =
        run_rescue({"unload", "--files", dir.file("db/*.dbf"), "--to", "sqlite", "--output", dir.file("out"),
                    "scott.emp", "scott.dept", "hr.sales"});
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(names_of(read_outputs(dir.file("out"))), std::vector<std::string>{"rescue.sqlite"});
    const run_result rows = run_process(
        {PYTHON_PROGRAM, READ_BACK_SCRIPT, "sqlite", dir.file("out/rescue.sqlite"), "SCOTT.DEPT"});
    EXPECT_EQ(rows.out, "[\"DEPTNO\",\"DNAME\",\"LOC\"]\n[\"10\",\"ACCOUNTING\",\"NEW YORK\"]\n"
                        "[\"20\",\"RESEARCH\",\"DALLAS\"]\n[\"30\",\"SALES\",\"CHICAGO\"]\n"
                        "[\"40\",\"OPERATIONS\",\"BOSTON\"]\n");
    const Json record = read_record(dir.file("out"));
    for (const Json &entry : record["tables"])
        EXPECT_EQ(entry["outputs"], record["tables"][0]["outputs"]);
    EXPECT_EQ(record["tables"][0]["outputs"][0]["path"], "rescue.sqlite");
    EXPECT_EQ(record["tables"][0]["outputs"][0]["bytes"], read_text(dir.file("out/rescue.sqlite")).size());
}

class UnloadFormats : public testing::TestWithParam<std::vector<std::string>> {};

TEST_P(UnloadFormats, AreTheSameForAnyNumberOfJobs) {
    const scratch_dir dir;
    SimpleDatabase simple(dir.file("db"), 3, 20000, 2);
    simple.db.finish();
    for (const char *block : {"40", "41", "150"})
        patch_file(simple.db.datafiles().back(), 8192, static_cast<uint32_t>(std::stoul(block)), 4000,
                   Bytes(50, 0x5A), false);
    std::map<std::string, std::string> first;
    for (const char *jobs : {"1", "2", "4", "7"}) {
        std::vector<std::string> arguments = {"unload",       "--files", dir.file("db"), "--output",
                                              dir.file(jobs), "--jobs",  jobs,           "--quiet"};
        arguments.insert(arguments.end(), GetParam().begin(), GetParam().end());
        const run_result result = run_rescue(arguments);
        EXPECT_EQ(result.status, 1) << result.describe();
        const auto outputs = read_outputs(dir.file(jobs));
        if (first.empty())
            first = outputs;
        EXPECT_TRUE(outputs == first) << jobs;
        const Json record = read_record(dir.file(jobs));
        EXPECT_EQ(record["tables"], read_record(dir.file("1"))["tables"]) << jobs;
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, UnloadFormats,
                         testing::Values(std::vector<std::string>{"--to", "csv"},
                                         std::vector<std::string>{"--to", "jsonl"},
                                         std::vector<std::string>{"--to", "sql", "--dialect", "postgresql"},
                                         std::vector<std::string>{"--to", "sqlldr"},
                                         std::vector<std::string>{"--to", "sqlite"}));

TEST(Unload, RowsThatTheTargetWouldRefuseHaveTheirNumberInTheTable) {
    constexpr int ROWS = 5000;
    const scratch_dir dir;
    SimpleDatabase simple(dir.file("db"), 0, 0);
    const size_t t = simple.db.add_table(
        table_def(simple.scott, "T", simple.users, {number_column("ID"), varchar2_column("NAME", 300)}));
    for (int i = 1; i <= ROWS; ++i)
        simple.db.insert(
            t, {number(i), text(i == 3 || i == 4900 ? std::string("a\0b", 3) : std::string(250, 'n'))});
    simple.db.finish();
    for (const char *jobs : {"1", "3"}) {
        const std::string out = dir.file(jobs);
        const run_result result =
            run_rescue({"unload", "--files", dir.file("db/*.dbf"), "--to", "csv", "--dialect", "postgresql",
                        "--output", out, "--quiet", "--jobs", jobs});
        EXPECT_EQ(result.status, 1) << result.describe();
        std::vector<Json> rejected;
        std::istringstream lines(read_text(out + "/SCOTT.T.csv.rejected"));
        for (std::string line; std::getline(lines, line);)
            rejected.push_back(Json::parse(line));
        ASSERT_EQ(rejected.size(), 2U);
        EXPECT_EQ(rejected[0].items().begin().key(), "_ROW");
        EXPECT_EQ(rejected[0]["_ROW"], 3);
        EXPECT_EQ(rejected[0]["ID"], 3);
        EXPECT_EQ(rejected[1]["_ROW"], 4900);
        EXPECT_EQ(rejected[1]["ID"], 4900);
        EXPECT_NE(result.err.find("row 4900, offset "), std::string::npos) << result.err;
        const Json entry = record_of(read_record(out), "SCOTT", "T");
        EXPECT_EQ(entry["status"], "partial");
        EXPECT_EQ(entry["reason"], "2 rows rejected");
        EXPECT_EQ(entry["rows"], ROWS - 2);
        EXPECT_EQ(entry["null_values"], 0);
    }
}

TEST(Unload, ScriptsCanHaveTheTablesAloneOrTheRowsAlone) {
    const scratch_dir dir;
    SimpleDatabase(dir.file("db"), 1, 3).db.finish();
    const auto unload = [&](const std::string &part, const std::string &file) {
        const run_result result =
            run_rescue({"unload", "--files", dir.file("db/*.dbf"), "--to", "sql", "--dialect", "sqlite",
                        "--output", dir.file(part), "--quiet", "--" + part});
        EXPECT_EQ(result.status, 0) << result.describe();
        return read_text(dir.file(part) + "/" + file);
    };
    const std::string tables = unload("ddl-only", "SCOTT.T1.ddl.sql");
    const std::string rows = unload("data-only", "SCOTT.T1.data.sql");
    EXPECT_NE(tables.find("CREATE TABLE"), std::string::npos);
    EXPECT_EQ(tables.find("INSERT"), std::string::npos);
    EXPECT_EQ(rows.find("CREATE TABLE"), std::string::npos);
    EXPECT_NE(rows.find("'row 3'"), std::string::npos);
    EXPECT_EQ(record_of(read_record(dir.file("ddl-only")), "SCOTT", "T1")["rows"], 0);
}

TEST(Unload, CompressedOutputsAreRecordedAndResumed) {
    const scratch_dir dir;
    SimpleDatabase(dir.file("db"), 2, 3000).db.finish();
    const std::vector<std::string> compressed = {"--quiet", "--eol", "lf", "--compress", "gzip"};
    const run_result result = run_rescue(unload_arguments(dir.file("db"), dir.file("out"), compressed));
    EXPECT_EQ(result.status, 0) << result.describe();
    const auto outputs = read_outputs(dir.file("out"));
    EXPECT_EQ(names_of(outputs), (std::vector<std::string>{"SCOTT.T1.csv.gz", "SCOTT.T2.csv.gz"}));
    const Json entry = record_of(read_record(dir.file("out")), "SCOTT", "T1");
    EXPECT_EQ(entry["outputs"][0]["path"], "SCOTT.T1.csv.gz");
    EXPECT_EQ(entry["outputs"][0]["bytes"], outputs.at("SCOTT.T1.csv.gz").size());
    EXPECT_TRUE(run_process({"/usr/bin/env", "gzip", "-dc", dir.file("out/SCOTT.T1.csv.gz")})
                    .out.starts_with("ID,NAME\n1,row 1\n2,row 2\n"));
    std::vector<std::string> resumed = compressed;
    resumed.insert(resumed.end(), {"--resume", "--jobs", "2"});
    std::filesystem::remove(dir.file("out/SCOTT.T2.csv.gz"));
    EXPECT_EQ(run_rescue(unload_arguments(dir.file("db"), dir.file("out"), resumed)).status, 0);
    EXPECT_TRUE(read_outputs(dir.file("out")) == outputs);
}

TEST(Unload, OutputsThatExistAreRefusedUnlessOverwritten) {
    const scratch_dir dir;
    SimpleDatabase(dir.file("db"), 2, 3).db.finish();
    const auto arguments = [&](std::vector<std::string> more) {
        return unload_arguments(dir.file("db"), dir.file("out"), more);
    };
    dir.make_dir("out");
    for (const char *name : {"SCOTT.T2.csv", "SCOTT.T1.suspect.csv", "rescue.json"}) {
        const std::string path = dir.file(std::string("out/") + name);
        write_text(path, "mine");
        const run_result refused = run_rescue(arguments({}));
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.err,
                  "vexlo-rescue: " + path + " exists already (--overwrite replaces it, --resume goes on)\n");
        EXPECT_EQ(read_text(path), "mine");
        std::filesystem::remove(path);
    }
    EXPECT_EQ(run_rescue(arguments({})).status, 0);
    write_text(dir.file("out/SCOTT.T1.csv"), "mine");
    write_text(dir.file("out/SCOTT.T1.suspect.csv"), "of an earlier run");
    write_text(dir.file("out/other.txt"), "mine");
    EXPECT_EQ(run_rescue(arguments({"--overwrite"})).status, 0);
    EXPECT_EQ(read_text(dir.file("out/SCOTT.T1.csv")), "ID,NAME\r\n1,row 1\r\n2,row 2\r\n3,row 3\r\n");
    EXPECT_FALSE(file_exists(dir.file("out/SCOTT.T1.suspect.csv")));
    EXPECT_EQ(read_text(dir.file("out/other.txt")), "mine");
}

TEST(Unload, AnOutputNeverTouchesAnInput) {
    const scratch_dir dir;
    SimpleDatabase simple(dir.file("db"), 1, 3);
    simple.db.finish();
    dir.make_dir("out");
    const std::filesystem::path input = simple.db.datafiles().back();
    const std::string content = read_text(input);
    for (const bool symbolic : {false, true}) {
        const std::string output = dir.file("out/SCOTT.T1.csv");
        std::filesystem::remove(output);
        if (symbolic)
            std::filesystem::create_symlink(input, output);
        else
            std::filesystem::create_hard_link(input, output);
        const run_result refused =
            run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--overwrite"}));
        EXPECT_EQ(refused.status, 2);
        EXPECT_EQ(refused.err, "vexlo-rescue: " + output + " is one of the input files\n");
        EXPECT_EQ(read_text(input), content);
        EXPECT_FALSE(file_exists(dir.file("out/rescue.json")));
    }
}

TEST(Unload, InputsAreOpenedForReadingAlone) {
    const scratch_dir dir;
    SimpleDatabase simple(dir.file("db"), 1, 3);
    simple.db.finish();
    for (const auto &path : simple.db.datafiles())
        set_file_mode(path, 0444);
    std::map<std::string, std::filesystem::file_time_type> times;
    for (const auto &path : simple.db.datafiles())
        times[path] = std::filesystem::last_write_time(path);
    EXPECT_EQ(run_rescue(unload_arguments(dir.file("db"), dir.file("db"))).status, 0);
    for (const auto &path : simple.db.datafiles())
        EXPECT_EQ(std::filesystem::last_write_time(path), times[path]);
}

struct Refusal {
    std::vector<std::string> arguments;
    std::string line;
};

TEST(Unload, WhatCannotBeDoneIsOneLineAndStatusTwo) {
    const scratch_dir dir;
    SimpleDatabase(dir.file("db"), 1, 3).db.finish();
    dir.make_dir("empty");
    write_text(dir.file("file"), "text");
    const auto refused = [&](std::vector<std::string> arguments, const std::string &out,
                             const std::string &text) {
        arguments.insert(arguments.begin(), {"unload", "--to", "csv", "--output", out});
        const run_result result = run_rescue(arguments);
        EXPECT_EQ(result.status, 2) << result.describe();
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err.find(text), std::string::npos) << result.err;
        EXPECT_EQ(result.err.find("\n"), result.err.size() - 1) << result.err;
    };
    const std::string db = dir.file("db/*.dbf");
    refused({"--files", dir.file("nothing")}, dir.file("out"), dir.file("nothing"));
    refused({"--files", dir.file("empty")}, dir.file("out"), dir.file("empty"));
    refused({"--files", db, "nobody.*"}, dir.file("out"), "no table is selected");
    refused({"--files", db, "--charset", "NOSUCH"}, dir.file("out"), "NOSUCH");
    refused({"--files", db}, dir.file("file"), dir.file("file") + ": cannot be created: ");
    refused({"--files", db}, dir.file("file/below"), dir.file("file/below") + ": cannot be created: ");
    EXPECT_FALSE(file_exists(dir.file("out/rescue.json")));
}

TEST(Unload, AWriteThatFailsIsStatusTwoAndKeepsTheRecord) {
    const scratch_dir dir;
    SimpleDatabase(dir.file("db"), 2, 3000).db.finish();
    run_options limits;
    limits.io_rules = "call=write,path=SCOTT.T1.csv,errno=ENOSPC";
    const run_result result =
        run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--quiet"}), limits);
    EXPECT_EQ(result.status, 2) << result.describe();
    EXPECT_EQ(result.err, "vexlo-rescue: " + dir.file("out") +
                              "/SCOTT.T1.csv: cannot be written: No space left on device\n");
    EXPECT_EQ(names_of(read_outputs(dir.file("out"))), std::vector<std::string>{"SCOTT.T2.csv"});
    const Json record = read_record(dir.file("out"));
    EXPECT_EQ(record["exit_status"], 2);
    EXPECT_EQ(record["tables"][0]["status"], "failed");
    EXPECT_EQ(record["tables"][1]["status"], "complete");
}

TEST(Unload, TwoRunsNeverShareADirectory) {
    const scratch_dir dir;
    SimpleDatabase(dir.file("db"), 1, 3).db.finish();
    dir.make_dir("out");
    const run_result held =
        run_process({"/usr/bin/flock", dir.file("out"), program_path("vexlo-rescue"), "unload", "--files",
                     dir.file("db/*.dbf"), "--to", "csv", "--output", dir.file("out")});
    EXPECT_EQ(held.status, 2);
    EXPECT_EQ(held.err, "vexlo-rescue: " + dir.file("out") + ": another run writes there\n");
}

TEST(Unload, WhatIsNotRecoveredIsNamedAndSkipped) {
    const scratch_dir dir;
    write_demo(dir.file("db"), 8192);
    const run_result result = run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--quiet"}));
    EXPECT_EQ(result.status, 1) << result.describe();
    size_t skipped = 0;
    const Json record = read_record(dir.file("out"));
    for (const Json &entry : record["tables"])
        if (entry["status"] == "skipped") {
            ++skipped;
            EXPECT_FALSE(entry["reason"].is_null());
            EXPECT_EQ(entry["outputs"], Json::array());
        }
    EXPECT_GT(skipped, 0U);
}

} // namespace
