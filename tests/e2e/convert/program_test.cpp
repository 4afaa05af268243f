// What the program does on its command line, and the scripts whose readers are not at hand.
#include <filesystem>
#include <iterator>
#include <set>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "programs.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

DumpTable employees(const std::string &name = "EMP") {
    return {.name = name,
            .columns = {{"ID", 2, 22}, {"NAME", 1, 30}},
            .rows = {row({value(ora_number("1")), value("KING")}), row({value(ora_number("2"))})}};
}

class Program : public testing::Test {
protected:
    std::string dump_file(const Dump &dump, const std::string &name = "SCOTT.dat") {
        write_text(dir_ / name, dump_bytes(dump));
        return dir_ / name;
    }

    std::string one_table(const DumpTable &table) {
        Dump dump;
        dump.tables = {table};
        return dump_file(dump);
    }

    std::string output(const std::string &name) { return read_text(dir_ / ("out/" + name)); }

    ProgramResult convert(const std::string &format, const std::string &file,
                          std::vector<std::string> more = {}) {
        more.insert(more.begin(), {"--to", format, "--output", dir_ / "out", file});
        return run_convert(more);
    }

    scratch_dir dir_;
};

TEST_F(Program, CsvBytes) {
    EXPECT_EQ(convert("csv", one_table(employees())).status, 0);
    EXPECT_EQ(output("SCOTT.EMP.csv"), "ID,NAME\r\n1,KING\r\n2,\r\n");
}

TEST_F(Program, OneTableToStandardOutput) {
    const ProgramResult result = run_convert({"--to", "csv", "--output", "-", one_table(employees())});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, "ID,NAME\r\n1,KING\r\n2,\r\n");
}

// Where the program runs may be a place that nobody can write to.
TEST_F(Program, StandardOutputLeavesNothingInTheDirectory) {
    const std::string file = one_table(employees());
    std::filesystem::create_directory(dir_ / "empty");
    run_options options;
    options.work_dir = dir_ / "empty";
    for (const std::vector<std::string> &format : {std::vector<std::string>{"csv"},
                                                   {"csv", "--dialect", "postgresql"},
                                                   {"csv", "--compress", "gzip"},
                                                   {"jsonl"},
                                                   {"sql"},
                                                   {"sql", "--dialect", "postgresql"}}) {
        std::vector<std::string> arguments = {"--output", "-", file, "--to"};
        arguments.insert(arguments.end(), format.begin(), format.end());
        EXPECT_EQ(run_convert(arguments, options).status, 0) << format.back();
        EXPECT_TRUE(std::filesystem::is_empty(dir_ / "empty")) << format.back();
    }
}

TEST_F(Program, StandardOutputTakesOneTableOnly) {
    Dump dump;
    dump.tables = {employees("A"), employees("B")};
    const std::string file = dump_file(dump);
    EXPECT_EQ(run_convert({"--to", "csv", "--output", "-", file}).status, 2);
    EXPECT_EQ(run_convert({"--to", "csv", "--output", "-", "--table", "B", file}).out,
              "ID,NAME\r\n1,KING\r\n2,\r\n");
    EXPECT_EQ(run_convert({"--to", "sqlite", "--output", "-", "--table", "B", file}).status, 2);
}

TEST_F(Program, SelectedTables) {
    Dump dump;
    dump.tables = {employees("A"), employees("B"), employees("C")};
    const std::string file = dump_file(dump);
    EXPECT_EQ(convert("csv", file, {"--table", "A", "--table", "C"}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(dir_ / "out/SCOTT.A.csv"));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "out/SCOTT.B.csv"));
    EXPECT_TRUE(std::filesystem::exists(dir_ / "out/SCOTT.C.csv"));
    const ProgramResult missing = convert("csv", file, {"--table", "NONE"});
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err,
              "vexlo-convert: --table NONE: no such table in the files; there is SCOTT.A, SCOTT.B, "
              "SCOTT.C\n");
}

TEST_F(Program, TableNameNeverLeavesTheDirectory) {
    EXPECT_EQ(convert("csv", one_table(employees("/../../EVIL"))).status, 0);
    EXPECT_TRUE(std::filesystem::exists(dir_ / "out/SCOTT.%2F..%2F..%2FEVIL.csv"));
}

// What the list says of the dump itself.
std::string list_head(const std::string &file) {
    return file + ": owner SCOTT, character set AL32UTF8, national character set AL16UTF16, NLS_LANG "
                  "AMERICAN_AMERICA.AL32UTF8, 1 tables\n";
}

const std::string LISTED_COLUMNS = "    ID                             NUMBER\n"
                                   "    NAME                           VARCHAR2(30)\n";

TEST_F(Program, List) {
    DumpTable table = employees();
    table.columns.push_back({"NOTE", 1, 40, true});
    table.flag = 0x3;
    const std::string file = one_table(table);
    const ProgramResult result = run_convert({"--list", file});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.out, list_head(file) +
                              "  table EMP: 2 rows recorded, 2 found, LONG yes, LOB yes, complete\n" +
                              LISTED_COLUMNS + "    NOTE                           NVARCHAR2(40)\n");
    EXPECT_EQ(result.err, "");
}

TEST_F(Program, ListAsJson) {
    DumpTable table = employees("A\"\\B");
    table.nrows = 3;
    const std::string file = one_table(table);
    const ProgramResult result = run_convert({"--list", "--json", file});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out,
              "{\"files\":[\n {\"path\":\"" + file +
                  "\",\"owner\":\"SCOTT\",\"character_set\":\"AL32UTF8\",\"national_character_set\":"
                  "\"AL16UTF16\",\"nls_lang\":\"AMERICAN_AMERICA.AL32UTF8\",\"tables\":[\n"
                  "  {\"name\":\"A\\\"\\\\B\",\"rows_recorded\":3,\"rows_found\":2,\"complete\":false,"
                  "\"long\":false,\"lob\":false,\"columns\":[\n"
                  "   {\"name\":\"ID\",\"type\":\"NUMBER\",\"length\":22},\n"
                  "   {\"name\":\"NAME\",\"type\":\"VARCHAR2(30)\",\"length\":30}]}]}]}\n");
}

// The rows are not read: that the table is cut off is not seen.
TEST_F(Program, QuickListTrustsTheCounts) {
    DumpTable table = employees();
    table.nrows = 7;
    table.end_mark = false;
    const std::string file = one_table(table);
    const ProgramResult result = run_convert({"--list", "--quick", file});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(result.out,
              list_head(file) + "  table EMP: 7 rows recorded, LONG no, LOB no\n" + LISTED_COLUMNS);
    EXPECT_EQ(run_convert({"--list", "--quick", "--json", file}).out,
              "{\"files\":[\n {\"path\":\"" + file +
                  "\",\"owner\":\"SCOTT\",\"character_set\":\"AL32UTF8\",\"national_character_set\":"
                  "\"AL16UTF16\",\"nls_lang\":\"AMERICAN_AMERICA.AL32UTF8\",\"tables\":[\n"
                  "  {\"name\":\"EMP\",\"rows_recorded\":7,\"long\":false,\"lob\":false,\"columns\":[\n"
                  "   {\"name\":\"ID\",\"type\":\"NUMBER\",\"length\":22},\n"
                  "   {\"name\":\"NAME\",\"type\":\"VARCHAR2(30)\",\"length\":30}]}]}]}\n");
}

// Without a directory nothing is recorded.
TEST_F(Program, SalvagedTablesHaveNoRecordedRows) {
    const std::string file = one_table(employees());
    std::string bytes = read_text(file);
    bytes.replace(0, 1536, std::string(1536, '\0'));
    write_text(file, bytes);
    const ProgramResult text = run_convert({"--list", "--salvage", file});
    EXPECT_NE(text.out.find("table TABLE_1: no rows recorded, 2 found,"), std::string::npos) << text.out;
    const ProgramResult json = run_convert({"--list", "--json", "--salvage", file});
    EXPECT_NE(json.out.find("\"rows_recorded\":null,\"rows_found\":2,"), std::string::npos) << json.out;
}

TEST_F(Program, ListThatCannotBeWrittenFails) {
    const std::string command = std::string("exec '") + program_path("vexlo-convert") + "' --list '" +
                                one_table(employees()) + "' >/dev/full";
    const ProgramResult result = run_program({"/bin/sh", "-c", command});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "vexlo-convert: standard output: cannot be written: No space left on device\n");
}

TEST_F(Program, ListTellsWhatIsNotComplete) {
    DumpTable table = employees();
    table.nrows = 7;
    table.end_mark = false;
    const std::string file = one_table(table);
    const ProgramResult result = run_convert({"--list", file});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, list_head(file) +
                              "  table EMP: 7 rows recorded, 2 found, LONG no, LOB no, not complete\n" +
                              LISTED_COLUMNS);
    const std::string prefix = "vexlo-convert: " + file + ": table \"EMP\": ";
    EXPECT_EQ(result.err, prefix +
                              "row 3, offset 1650: the end mark is missing, the table is not complete\n" +
                              prefix + "the directory says 7 rows, 2 were found\n");
}

// One line says what is wrong, and nothing is written.
TEST_F(Program, UsageErrors) {
    const std::string file = one_table(employees());
    const std::string out = dir_ / "out";
    const auto expect_refused = [&](const std::vector<std::string> &arguments, const std::string &line) {
        const ProgramResult result = run_convert(arguments);
        EXPECT_EQ(result.status, 2) << line;
        EXPECT_EQ(result.err, "vexlo-convert: " + line + "\n");
        EXPECT_EQ(result.out, "") << line;
        EXPECT_FALSE(std::filesystem::exists(out)) << line;
    };
    expect_refused({}, "FILE is required");
    expect_refused({file}, "either --list or --to is needed");
    expect_refused({"--list", "--to", "csv", file}, "either --list or --to is needed");
    expect_refused({"--to", "csv", "--output", out, file, "--eel"},
                   "The following argument was not expected: --eel");
    expect_refused({"--to", "csv", "--output", out, file, "--charset", "NO-SUCH"},
                   "character set \"NO-SUCH\" is not known");
    expect_refused({"--to", "sqlite", "--output", "-", file}, "--to sqlite cannot write to standard output");
    expect_refused({"--to", "csv", "--output", out, file, "--json"}, "--json does not apply to --to csv");
    expect_refused({"--to", "csv", "--output", out, file, "--quick"}, "--quick does not apply to --to csv");
    expect_refused({"--to", "jsonl", "--output", out, file, "--eol", "lf"},
                   "--eol does not apply to --to jsonl");
    expect_refused({"--list", "--output", out, file}, "--output does not apply to --list");
    expect_refused({"--list", "--jobs", "2", file}, "--jobs does not apply to --list");
    expect_refused({"--to", "csv", "--output", out, "-", "-"}, "standard input can be read once");
    expect_refused({"--to", "csv", "--output", out, file, "--jobs", "0"},
                   "--jobs: Value 0 not in range 1 to 64");
    expect_refused({"--to", "csv", "--output", out, file, "--table", "A.B.C"},
                   "pattern \"A.B.C\" has more than one \".\" outside double quotes");
    expect_refused({"--to", "csv", "--output", out, file, "--exclude", "\"A"},
                   "pattern \"\"A\" has a double quote without its end");
    expect_refused({"--to", "csv", "--output", out, file, "--table", "SCOTT."},
                   "\"SCOTT.\" is no pattern of the form OWNER.TABLE");
    expect_refused({"--to", "xml", file}, "--to: xml not in {csv,jsonl,sql,sqlldr,sqlite}");
    expect_refused({"--to", "sql", "--dialect", "db2", file},
                   "--dialect: db2 not in {oracle,postgresql,sqlite}");
}

TEST_F(Program, HelpAndVersionGoToStandardOutput) {
    for (const char *option : {"--help", "--version"}) {
        const ProgramResult result = run_convert({option});
        EXPECT_EQ(result.status, 0) << option;
        EXPECT_EQ(result.err, "") << option;
        EXPECT_EQ(result.out.find("vexlo-convert"),
                  option[2] == 'v' ? 0U : result.out.find("vexlo-convert [OPTIONS]"));
        EXPECT_TRUE(result.out.ends_with('\n')) << option;
    }
}

// Several tables of one dump and of two owners.
class Selection : public Program {
protected:
    Selection() {
        Dump scott, blake;
        scott.tables = {employees("EMP"), employees("EMP_OLD"), employees("Emp"), employees("DEPT")};
        blake.owner = "BLAKE";
        blake.tables = {employees("EMP")};
        dump_file(scott, "SCOTT.dat");
        dump_file(blake, "BLAKE.dat");
    }

    // The files that the options leave, sorted and without their extension.
    std::string converted(std::vector<std::string> options) {
        std::filesystem::remove_all(dir_ / "out");
        options.insert(options.end(),
                       {"--to", "csv", "--output", dir_ / "out", dir_ / "SCOTT.dat", dir_ / "BLAKE.dat"});
        last_ = run_convert(options);
        std::set<std::string> names;
        if (std::filesystem::exists(dir_ / "out"))
            for (const auto &entry : std::filesystem::directory_iterator(dir_ / "out"))
                names.insert(entry.path().stem());
        std::string text;
        for (const std::string &name : names)
            text += name + " ";
        return text;
    }

    ProgramResult last_;
};

TEST_F(Selection, NamesMatchInAnyCaseUnlessQuoted) {
    EXPECT_EQ(converted({"--table", "dept"}), "SCOTT.DEPT ");
    EXPECT_EQ(converted({"--table", "emp"}), "BLAKE.EMP SCOTT.EMP SCOTT.Emp_2 ");
    EXPECT_EQ(converted({"--table", "\"Emp\""}), "SCOTT.Emp ");
    EXPECT_EQ(converted({"--table", "\"emp\""}), "");
    EXPECT_EQ(last_.status, 2);
}

TEST_F(Selection, OwnerBeforeTheDot) {
    EXPECT_EQ(converted({"--table", "blake.emp"}), "BLAKE.EMP ");
    EXPECT_EQ(converted({"--table", "*.dept"}), "SCOTT.DEPT ");
    EXPECT_EQ(converted({"--table", "\"BLAKE\".\"EMP\""}), "BLAKE.EMP ");
    EXPECT_EQ(converted({"--table", "\"blake\".emp"}), "");
}

TEST_F(Selection, StarsAndQuestionMarks) {
    EXPECT_EQ(converted({"--table", "EMP_*"}), "SCOTT.EMP_OLD ");
    EXPECT_EQ(converted({"--table", "d??t"}), "SCOTT.DEPT ");
    EXPECT_EQ(converted({"--table", "d?t"}), "");
    EXPECT_EQ(converted({"--table", "*p*o*d"}), "SCOTT.EMP_OLD ");
    EXPECT_EQ(converted({"--table", "\"EMP_*\""}), "");
}

TEST_F(Selection, ExcludedTablesAreLeftOut) {
    EXPECT_EQ(converted({"--exclude", "emp*"}), "SCOTT.DEPT ");
    EXPECT_EQ(last_.status, 0);
    EXPECT_EQ(converted({"--table", "scott.*", "--exclude", "\"Emp\"", "--exclude", "dept"}),
              "SCOTT.EMP SCOTT.EMP_OLD ");
    EXPECT_EQ(converted({"--exclude", "nothing"}),
              "BLAKE.EMP SCOTT.DEPT SCOTT.EMP SCOTT.EMP_OLD SCOTT.Emp_2 ");
    EXPECT_EQ(last_.status, 0);
    EXPECT_NE(last_.err.find("--exclude nothing: no such table in the files; there is "), std::string::npos);
}

TEST_F(Selection, NothingSelectedIsAFailureWithAHint) {
    EXPECT_EQ(converted({"--table", "SCOTT.DEPTS"}), "");
    EXPECT_EQ(last_.status, 2);
    EXPECT_EQ(last_.err,
              "vexlo-convert: --table SCOTT.DEPTS: no such table in the files; there is SCOTT.DEPT, "
              "SCOTT.EMP, SCOTT.Emp, SCOTT.EMP_OLD, BLAKE.EMP\n");
    EXPECT_EQ(converted({"--exclude", "*"}), "");
    EXPECT_EQ(last_.status, 2);
    EXPECT_EQ(last_.err, "vexlo-convert: no table is selected\n");
}

TEST_F(Selection, SummaryCountsTablesRowsAndLosses) {
    converted({});
    EXPECT_EQ(last_.summary, "5 tables, 10 rows, 0 losses");
    converted({"--quiet"});
    EXPECT_EQ(last_.summary, "");
}

TEST_F(Selection, JobsGiveTheSameFiles) {
    const std::string one = converted({});
    EXPECT_EQ(converted({"--jobs", "4"}), one);
    EXPECT_EQ(last_.summary, "5 tables, 10 rows, 0 losses");
    EXPECT_EQ(output("SCOTT.DEPT.csv"), "ID,NAME\r\n1,KING\r\n2,\r\n");
}

TEST_F(Program, StandardInputIsADumpFromAPipeOrAFile) {
    const std::string file = one_table(employees());
    vexlo_test::run_options pipe;
    pipe.input = read_text(file);
    const ProgramResult piped = run_convert({"--to", "csv", "--output", "-", "-"}, pipe);
    EXPECT_EQ(piped.status, 0);
    EXPECT_EQ(piped.out, "ID,NAME\r\n1,KING\r\n2,\r\n");
    const ProgramResult redirected = run_program(
        {"/bin/sh", "-c",
         std::string("exec '") + program_path("vexlo-convert") + "' --to csv --output - - <'" + file + "'"});
    EXPECT_EQ(redirected.out, piped.out);
}

// A database of an earlier run stays as it is until the new one is complete.
TEST_F(Program, OutputIsNotTouchedBeforeItsFirstTableIsKnown) {
    const std::string file = one_table(employees());
    if (convert("sqlite", file).err.find("without the SQLite") != std::string::npos)
        GTEST_SKIP() << "built without SQLite";
    const Bytes before = output("SCOTT.sqlite");
    EXPECT_EQ(convert("sqlite", file, {"--table", "NONE"}).status, 2);
    EXPECT_EQ(output("SCOTT.sqlite"), before);
    DumpTable broken = employees();
    broken.ncol = 5000;
    EXPECT_EQ(convert("sqlite", one_table(broken)).status, 1);
    EXPECT_EQ(output("SCOTT.sqlite"), before);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_ / "out"), {}), 1);
}

TEST_F(Program, OutputDirectoryIsCreatedWithItsParents) {
    const std::string file = one_table(employees());
    EXPECT_EQ(run_convert({"--to", "csv", "--output", dir_ / "a/b/c", file}).status, 0);
    EXPECT_TRUE(std::filesystem::exists(dir_ / "a/b/c/SCOTT.EMP.csv"));
    EXPECT_EQ(run_convert({"--to", "csv", "--output", dir_ / "d/e", "--table", "NONE", file}).status, 2);
    EXPECT_FALSE(std::filesystem::exists(dir_ / "d"));
}

TEST_F(Program, DumpWithoutTablesIsALoss) {
    const std::string file = dump_file({});
    const std::string line = "vexlo-convert: " + file + ": holds no tables: its unload did not finish\n";
    for (const std::vector<std::string> &command :
         {std::vector<std::string>{"--list", file}, {"--list", "--quick", file}, {"--to", "csv", file}}) {
        const ProgramResult result = run_convert(command);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, line);
    }
}

TEST_F(Program, FilesThatAreNoDumpsAreSkippedAmongSeveral) {
    const std::string good = one_table(employees());
    write_text(dir_ / "long_tmp.dat", "some text");
    const std::string line = "vexlo-convert: " + (dir_ / "long_tmp.dat") + ": not a dump file";
    const ProgramResult several = convert("csv", dir_ / "long_tmp.dat", {good});
    EXPECT_EQ(several.status, 1);
    EXPECT_EQ(several.err, line + ", skipped\n");
    EXPECT_EQ(several.summary, "1 tables, 2 rows, 1 losses");
    const ProgramResult alone = convert("csv", dir_ / "long_tmp.dat");
    EXPECT_EQ(alone.status, 2);
    EXPECT_EQ(alone.err, line + "\nvexlo-convert: no dump file was given\n");
}

// Text, numbers, a program, zeros, nothing: no column list is in any of them.
TEST_F(Program, SalvageOfFilesThatAreNoDumps) {
    const std::string good = one_table(employees());
    Bytes numbers;
    for (unsigned i = 0; i < 30000; ++i)
        numbers += static_cast<char>(i * i >> 3);
    const std::pair<const char *, Bytes> others[] = {{"text", "some text\nand more\n"},
                                                     {"numbers", numbers},
                                                     {"zeros", Bytes(200000, '\0')},
                                                     {"nothing", ""},
                                                     {"program", read_text("/bin/sh")}};
    for (const auto &[name, bytes] : others) {
        write_text(dir_ / name, bytes);
        const std::string line =
            "vexlo-convert: " + (dir_ / name) + ": not a dump file, and no column lists are in it";
        const ProgramResult alone = convert("csv", dir_ / name, {"--salvage"});
        EXPECT_EQ(alone.status, 2) << name;
        EXPECT_EQ(alone.err, line + "\nvexlo-convert: no dump file was given\n");
        EXPECT_FALSE(std::filesystem::exists(dir_ / "out"));
        const ProgramResult among = convert("csv", dir_ / name, {"--salvage", good});
        EXPECT_EQ(among.status, 1) << name;
        EXPECT_EQ(among.err, line + ", skipped\n");
        EXPECT_EQ(output("SCOTT.EMP.csv"), "ID,NAME\r\n1,KING\r\n2,\r\n");
        std::filesystem::remove_all(dir_ / "out");
    }
}

TEST_F(Program, UnreadableInputDoesNotStopTheNext) {
    const std::string good = one_table(employees());
    const ProgramResult result = convert("csv", dir_ / "missing.dat", {good});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(output("SCOTT.EMP.csv"), "ID,NAME\r\n1,KING\r\n2,\r\n");
}

TEST_F(Program, CharacterSets) {
    DumpTable table = employees();
    table.rows = {row({value(ora_number("1")), value("\xCF\xF0\xE8")})};
    Dump dump;
    dump.nls_lang = "RUSSIAN_CIS.CL8MSWIN1251";
    dump.tables = {table};
    const std::string file = dump_file(dump);
    convert("csv", file);
    EXPECT_EQ(output("SCOTT.EMP.csv"), "ID,NAME\r\n1,При\r\n");
    convert("csv", file, {"--charset", "CL8KOI8R"});
    EXPECT_EQ(output("SCOTT.EMP.csv"), "ID,NAME\r\n1,оПХ\r\n");
    EXPECT_EQ(convert("csv", file, {"--encoding", "raw"}).status, 0);
    EXPECT_EQ(output("SCOTT.EMP.csv"), "ID,NAME\r\n1,\xCF\xF0\xE8\r\n");
}

TEST_F(Program, UnknownCharacterSetIsToldAndReadAsUtf8) {
    Dump dump;
    dump.nls_lang = "__.";
    dump.tables = {employees()};
    const ProgramResult result = convert("csv", dump_file(dump));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "vexlo-convert: " + (dir_ / "SCOTT.dat") +
                              ": character set \"\" is not known, text is read as UTF-8 (see --charset)\n");
    EXPECT_EQ(output("SCOTT.EMP.csv"), "ID,NAME\r\n1,KING\r\n2,\r\n");
}

TEST_F(Program, LobsAreNullAndTold) {
    DumpTable table = employees();
    table.columns.push_back({"DOC", 112, 0});
    table.rows = {row({value(ora_number("1")), value("A"), lob()})};
    const ProgramResult result = convert("csv", one_table(table));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "vexlo-convert: " + (dir_ / "SCOTT.dat") +
                  ": table \"EMP\": column \"DOC\": 1 LOB values are not in the dump, taken as NULL\n");
    EXPECT_EQ(output("SCOTT.EMP.csv"), "ID,NAME,DOC\r\n1,A,\r\n");
}

TEST_F(Program, DuplicateAndEmptyColumnNames) {
    DumpTable table = employees();
    table.columns = {{"A", 2, 22}, {"a", 1, 30}, {"", 1, 30}};
    const std::string file = one_table(table);
    const ProgramResult result = convert("csv", file);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(output("SCOTT.EMP.csv").substr(0, 14), "A,a_2,COLUMN_3");
    const std::string prefix = "vexlo-convert: " + file + ": table \"EMP\": column ";
    EXPECT_EQ(result.err, prefix + "\"a\" is named \"a_2\"\n" + prefix + "\"\" is named \"COLUMN_3\"\n");
}

TEST_F(Program, NamesThatAreNotValidAreTold) {
    DumpTable table = employees("T\xFF");
    table.columns[1].name = "N\xFE";
    const std::string file = one_table(table);
    const ProgramResult result = convert("csv", file);
    EXPECT_EQ(result.status, 1);
    const std::string prefix = "vexlo-convert: " + file + ": table \"T\xEF\xBF\xBD\": ";
    EXPECT_EQ(result.err, prefix +
                              "characters of its name or its owner's are not valid in their character set\n" +
                              prefix +
                              "column \"N\xEF\xBF\xBD\": characters of its name are not valid in their "
                              "character set\n");
}

// A replaced character leaves a value that is not quite right, NULL one that is gone: they are told and
// counted apart.
TEST_F(Program, ReplacedCharactersAndValuesTakenAsNullAreToldApart) {
    DumpTable table = employees();
    table.columns = {{"D", 12, 7}, {"S", 1, 9}, {"L", 112, 0}};
    table.rows = {row({value(ora_date(2000, 13, 1)), value("a\xFF\xFE"), lob()}),
                  row({value(ora_date(2000, 14, 1)), value("b\xFD")})};
    const std::string file = one_table(table);
    const ProgramResult result = convert("csv", file);
    EXPECT_EQ(result.status, 1);
    const std::string prefix = "vexlo-convert: " + file + ": table \"EMP\"";
    EXPECT_EQ(result.err,
              prefix +
                  ", row 1, offset 1680: column \"D\": 7 bytes 78640D01010101 are no DATE, taken as NULL\n" +
                  prefix +
                  ", row 2, offset 1698: column \"D\": 7 bytes 78640E01010101 are no DATE, taken as NULL\n" +
                  prefix + ": column \"D\": 2 values could not be decoded, taken as NULL\n" + prefix +
                  ": column \"S\": 3 characters not valid in AL32UTF8 replaced by U+FFFD\n" + prefix +
                  ": column \"L\": 1 LOB values are not in the dump, taken as NULL\n");
    EXPECT_EQ(result.summary, "1 tables, 2 rows, 4 losses, 3 values taken as NULL, 3 characters replaced");
}

// What becomes of names for a target is told, but not that letters are in the case that was asked for.
TEST_F(Program, NamesThatTheTargetChangesAreTold) {
    DumpTable table = employees("SQLITE_T");
    table.columns[0].name = "XMIN";
    const std::string file = one_table(table);
    const std::string prefix = "vexlo-convert: " + file + ": table \"";
    EXPECT_EQ(convert("sql", file, {"--dialect", "sqlite"}).err,
              prefix + "SQLITE_T\": is named \"_SQLITE_T\"\n");
    EXPECT_EQ(convert("sql", file, {"--dialect", "postgresql", "--lowercase"}).err,
              prefix + "SQLITE_T\": column \"XMIN\" is named \"xmin_\"\n");
    EXPECT_EQ(convert("csv", file, {"--lowercase"}).err, "");
}

// A binary value whose form is the text that stands for NULL is no NULL.
TEST_F(Program, BinaryValuesAreNotTakenForNull) {
    DumpTable table = employees();
    table.columns = {{"R", 23, 4}};
    table.rows = {row({value("\xAB")}), row({value("\xAC")}), row({})};
    const std::string file = one_table(table);
    EXPECT_EQ(convert("csv", file, {"--null", "AB", "--eol", "lf"}).status, 0);
    EXPECT_EQ(output("SCOTT.EMP.csv"), "R\n\"AB\"\nAC\nAB\n");
    EXPECT_EQ(convert("csv", file, {"--null", "\\xAB", "--eol", "lf", "--dialect", "postgresql"}).status, 0);
    EXPECT_EQ(output("SCOTT.EMP.csv"), "R\n\"\\xAB\"\n\\xAC\n\\xAB\n");
}

// Text that cannot be passed through is known before anything is written.
TEST_F(Program, RawTextThatDoesNotSuitATableEndsTheRunBeforeItsFirstOutput) {
    Dump dump;
    dump.tables = {employees("A"), employees("B")};
    dump.tables[1].columns[1].national = true;
    const std::string file = dump_file(dump);
    for (const char *jobs : {"1", "8", "8", "8", "8", "8"}) { // whichever thread is the first
        const ProgramResult result = convert("sql", file, {"--encoding", "raw", "--jobs", jobs});
        EXPECT_EQ(result.status, 2);
        EXPECT_EQ(
            result.err,
            "vexlo-convert: --encoding raw does not go with --to sql of table \"B\": column \"NAME\" is "
            "in another character set than the rest\n");
        EXPECT_FALSE(std::filesystem::exists(dir_ / "out"));
    }
}

TEST_F(Program, RejectedRowsCountOnceAndStayWhereTablesAloneAreWritten) {
    DumpTable table = employees();
    table.columns[1].clen = 3;
    const std::string file = one_table(table);
    const std::vector<std::string> postgresql = {"--dialect", "postgresql"};
    EXPECT_EQ(convert("sql", file, postgresql).summary, "1 tables, 2 rows, 1 losses");
    const std::string rejected = output("SCOTT.EMP.sql.rejected");
    EXPECT_EQ(rejected, "{\"_ROW\":1,\"_REASON\":\"column \\\"NAME\\\": 4 characters are more than the 3 "
                        "declared\",\"ID\":1,\"NAME\":\"KING\"}\n");
    EXPECT_EQ(convert("sql", file, {"--dialect", "postgresql", "--ddl-only"}).status, 0);
    EXPECT_EQ(output("SCOTT.EMP.sql.rejected"), rejected);
}

class Databases : public Program {
protected:
    void SetUp() override {
        if (convert("sqlite", one_table(employees())).err.find("without the SQLite") != std::string::npos)
            GTEST_SKIP() << "built without SQLite";
    }
};

// Pages of an older database that its user left in files beside it are none of the new one.
TEST_F(Databases, FilesBesideAnOlderOneGoWithIt) {
    const std::string database = dir_ / "out/SCOTT.sqlite";
    for (const char *extension : {"-wal", "-shm", "-journal"})
        write_text(database + extension, "pages");
    EXPECT_EQ(convert("sqlite", dir_ / "SCOTT.dat").status, 0);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_ / "out"), {}), 1);
    EXPECT_EQ(read_back("sqlite", database, "EMP"), "[\"ID\",\"NAME\"]\n[\"1\",\"KING\"]\n[\"2\",null]\n");
}

TEST_F(Databases, ATableThatCannotBeCreatedIsLeftOutAlone) {
    Dump dump;
    dump.tables = {employees("A"), {.name = "WIDE"}, employees("B")};
    for (int i = 0; i < 2001; ++i)
        dump.tables[1].columns.push_back({"C" + std::to_string(i), 2, 22});
    const ProgramResult result = convert("sqlite", dump_file(dump));
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("too many columns on WIDE"), std::string::npos);
    for (const char *name : {"A", "B"})
        EXPECT_EQ(read_back("sqlite", dir_ / "out/SCOTT.sqlite", name),
                  "[\"ID\",\"NAME\"]\n[\"1\",\"KING\"]\n[\"2\",null]\n");
}

TEST_F(Program, JsonNumbersStayExact) {
    DumpTable table = employees();
    table.rows = {row({value(ora_number("0.1234567890123456789012345678901234567891")), value("\x01\"")}),
                  row({value(ora_number("-Infinity"))})};
    convert("jsonl", one_table(table));
    EXPECT_EQ(output("SCOTT.EMP.jsonl"),
              "{\"ID\":0.1234567890123456789012345678901234567891,\"NAME\":\"\\u0001\\\"\"}\n"
              "{\"ID\":\"-Infinity\",\"NAME\":null}\n");
}

TEST_F(Program, PostgresqlScript) {
    DumpTable table = employees("it's \"x\"");
    table.columns = {{"ID", 2, 22}, {"NAME", 1, 30}, {"BORN", 12, 7}, {"BIN", 23, 4}, {"D", 101, 8}};
    table.rows = {row({value(ora_number("Infinity")), value("O'Hara\\"), value(ora_date(-44, 3, 15)),
                       value("\x01\xAB"), value(ora_binary_double(1.5))})};
    EXPECT_EQ(convert("sql", one_table(table), {"--dialect", "postgresql"}).status, 0);
    EXPECT_EQ(output("SCOTT.it%27s %22x%22.sql"),
              "\\set ON_ERROR_STOP on\n"
              "SET client_encoding = 'UTF8';\nSET standard_conforming_strings = on;\nBEGIN;\n"
              "CREATE TABLE \"it's \"\"x\"\"\" (\n  \"ID\" numeric,\n  \"NAME\" varchar(30),\n"
              "  \"BORN\" timestamp(0),\n  \"BIN\" bytea,\n  \"D\" double precision\n);\n"
              "COPY \"it's \"\"x\"\"\" (\"ID\", \"NAME\", \"BORN\", \"BIN\", \"D\") FROM stdin;\n"
              "Infinity\tO'Hara\\\\\t0045-03-15 00:00:00 BC\t\\\\x01AB\t1.5\n\\.\n"
              "COMMIT;\n");
}

TEST_F(Program, OracleScript) {
    DumpTable table = employees();
    table.columns = {{"ID", 2, 22},  {"NAME", 1, 30}, {"BORN", 12, 7},
                     {"Z", 181, 13}, {"F", 100, 4},   {"BIN", 23, 4}};
    table.rows = {row({value(ora_number("1E125")), value("a'b\nc"), value(ora_date(2024, 2, 29)),
                       value(ora_zoned(ora_date(2024, 6, 1, 12), 5, 60)), value(ora_binary_float(1.5F)),
                       value("\xFF")})};
    EXPECT_EQ(convert("sql", one_table(table)).status, 0);
    EXPECT_EQ(
        output("SCOTT.EMP.sql"),
        "-- This script is in the character set AL32UTF8: run it with NLS_LANG=AMERICAN_AMERICA.AL32UTF8\n"
        "WHENEVER SQLERROR EXIT FAILURE ROLLBACK\nWHENEVER OSERROR EXIT FAILURE ROLLBACK\n"
        "SET FEEDBACK OFF\nSET DEFINE OFF\nSET SQLBLANKLINES ON\n"
        "CREATE TABLE \"EMP\" (\n  \"ID\" NUMBER,\n  \"NAME\" VARCHAR2(30 BYTE),\n  \"BORN\" DATE,\n"
        "  \"Z\" TIMESTAMP(9) WITH TIME ZONE,\n  \"F\" BINARY_FLOAT,\n  \"BIN\" RAW(4)\n);\n"
        "BEGIN\nINSERT INTO \"EMP\" VALUES (1E+125,\n'a''b'||\nCHR(10)||\n'c',\n"
        "TO_DATE('2024-02-29 00:00:00','SYYYY-MM-DD HH24:MI:SS'),\n"
        "TO_TIMESTAMP_TZ('2024-06-01 13:00:00.000000005 +01:00','SYYYY-MM-DD HH24:MI:SS.FF9 TZH:TZM'),\n"
        "1.5f,\nHEXTORAW('FF'));\nEND;\n/\nCOMMIT;\n");
}

// No line of the script is longer than SQL*Plus reads, and long values are LOB expressions.
TEST_F(Program, OracleScriptOfLongValues) {
    DumpTable table{.name = "L", .columns = {{"T", 8, 0}, {"R", 24, 0}}};
    table.rows = {row({long_mark()}) + long_block({Bytes(20000, '\'')}),
                  row({null(), long_mark()}) + long_block({Bytes(5000, '\x01')})};
    EXPECT_EQ(convert("sql", one_table(table)).status, 0);
    const std::string script = output("SCOTT.L.sql");
    EXPECT_NE(script.find("VALUES (TO_CLOB('"), std::string::npos);
    EXPECT_NE(script.find("DECLARE\nb2 BLOB;\nBEGIN\nDBMS_LOB.CREATETEMPORARY(b2, TRUE);\n"),
              std::string::npos);
    EXPECT_NE(script.find("VALUES (NULL,\nb2);\nEND;\nEND;\n/\n"), std::string::npos);
    size_t at = 0;
    for (size_t end; (end = script.find('\n', at)) != std::string::npos; at = end + 1)
        EXPECT_LE(end - at, 2499U);
}

TEST_F(Program, InfiniteNumbersCannotGoToOracle) {
    DumpTable table = employees();
    table.rows = {row({value(ora_number("Infinity"))})};
    const std::string file = one_table(table);
    EXPECT_EQ(convert("sql", file).status, 1);
    EXPECT_NE(output("SCOTT.EMP.sql").find("VALUES (NULL,\nNULL)"), std::string::npos);
    EXPECT_EQ(convert("sqlldr", file).status, 1);
}

TEST_F(Program, SqlLoaderControlFile) {
    DumpTable table = employees();
    table.columns.push_back({"AT", 180, 11});
    table.rows = {
        row({value(ora_number("12")), value("KING"), value(ora_timestamp(ora_date(2024, 1, 1), 0))})};
    EXPECT_EQ(convert("sqlldr", one_table(table)).status, 0);
    const std::string control = output("SCOTT.EMP.ctl");
    EXPECT_NE(control.find("CHARACTERSET AL32UTF8\n"), std::string::npos);
    EXPECT_NE(control.find("INFILE 'SCOTT.EMP.ldr' \"VAR 10\"\n"), std::string::npos);
    EXPECT_NE(control.find("  \"NAME\" VARCHARC(6,4),\n"), std::string::npos);
    EXPECT_NE(control.find("\"TO_TIMESTAMP(:\\\"AT\\\",'SYYYY-MM-DD HH24:MI:SS.FF9')\""), std::string::npos);
    EXPECT_EQ(output("SCOTT.EMP.ldr"), "0000000045000002"
                                       "12000004KING0000212024-01-01 00:00:00.0");
}

TEST_F(Program, TableThatFailedIsToldAndTheNextConverted) {
    Dump dump;
    dump.tables = {employees("A"), employees("FAILED"), employees("B")};
    dump.tables[1].without_data = true;
    dump.tables[1].nrows = 0;
    const ProgramResult result = convert("csv", dump_file(dump));
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err,
              "vexlo-convert: " + (dir_ / "SCOTT.dat") + ": table \"FAILED\": has no data at offset 1652\n");
    EXPECT_TRUE(std::filesystem::exists(dir_ / "out/SCOTT.B.csv"));
    EXPECT_FALSE(std::filesystem::exists(dir_ / "out/SCOTT.FAILED.csv"));
}

TEST_F(Program, SqliteHoldsAllTablesOfADump) {
    Dump dump;
    dump.tables = {employees("A"), employees("SQLITE_B")};
    const ProgramResult result = convert("sqlite", dump_file(dump));
    if (result.err.find("without the SQLite") != std::string::npos)
        GTEST_SKIP() << "built without SQLite";
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(read_back("sqlite", dir_ / "out/SCOTT.sqlite", "A"),
              "[\"ID\",\"NAME\"]\n[\"1\",\"KING\"]\n[\"2\",null]\n");
    EXPECT_EQ(read_back("sqlite", dir_ / "out/SCOTT.sqlite", "_SQLITE_B"),
              "[\"ID\",\"NAME\"]\n[\"1\",\"KING\"]\n[\"2\",null]\n");
}

} // namespace
