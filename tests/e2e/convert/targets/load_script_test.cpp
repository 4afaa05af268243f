// The scripts that load all tables of a run, run by the programs they are for.
#include <sys/stat.h>

#include <filesystem>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "scratch_dir.h"
#include "target_fixtures.h"

using namespace vexlo_test;

namespace {

// Names that mean something to shells and to SQL.
const std::string ODD = "it's \"A\" $HOME `x`;", SPACES = " a  b ", PLAIN = "EMP";

std::string quoted(const std::string &name) {
    std::string text = "\"";
    for (const char c : name)
        text += c == '"' ? "\"\"" : std::string(1, c);
    return text + '"';
}

class LoadScript : public testing::Test {
protected:
    // A dump with tables of these names, each with a row that holds its name.
    std::string dump_of(const std::vector<std::string> &names, const std::string &owner = "SCOTT") {
        Dump dump;
        dump.owner = owner;
        for (const std::string &name : names)
            dump.tables.push_back(
                {.name = name,
                 .columns = {{"$ID", 2, 22}, {"na\"me", 1, 60}},
                 .rows = {row({value(ora_number("1")), value(name)}), row({value(ora_number("2"))})}});
        const std::string path = dir_ / (owner + ".dat");
        write_text(path, dump_bytes(dump));
        return path;
    }

    std::string dump_of_odd_names() { return dump_of({ODD, SPACES, PLAIN}); }

    ProgramResult convert(std::vector<std::string> options, const std::string &dump) {
        options.insert(options.end(), {"--output", out_, dump});
        const ProgramResult result = run_convert(options);
        EXPECT_EQ(result.status, 0) << result.err;
        return result;
    }

    // Runs a shell's command line in a directory.
    static ProgramResult shell(const std::string &line, const std::string &work_dir) {
        run_options options;
        options.work_dir = work_dir;
        return run_program({"/bin/sh", "-c", line}, options);
    }

    scratch_dir dir_;
    std::string out_ = dir_ / "out";
};

class PsqlScript : public WithPostgresql<LoadScript> {
protected:
    void expect_odd_tables() {
        for (const std::string &name : {ODD, SPACES, PLAIN})
            EXPECT_EQ(query("SELECT * FROM " + quoted(name)), "1|" + name + "\n2|\n");
    }
};

// From any directory, because each script is found beside this one.
TEST_F(PsqlScript, ScriptsOfAllTables) {
    convert({"--to", "sql", "--dialect", "postgresql"}, dump_of_odd_names());
    const ProgramResult loaded = server_->run_script(database_, out_ + "/load.sql");
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_EQ(loaded.err, "");
    expect_odd_tables();
}

TEST_F(PsqlScript, AFailureInsideEndsItWithAStatus) {
    convert({"--to", "sql", "--dialect", "postgresql"}, dump_of_odd_names());
    query("CREATE TABLE " + quoted(SPACES) + " (x int)");
    EXPECT_EQ(server_->run_script(database_, out_ + "/load.sql").status, 3);
    EXPECT_EQ(query("SELECT count(*) FROM " + quoted(ODD)), "2\n");
    EXPECT_EQ(query("SELECT to_regclass('" + quoted(PLAIN) + "') IS NULL"), "t\n");
}

TEST_F(PsqlScript, CsvIsCopiedIntoTablesThatItCreates) {
    const std::string dump = dump_of_odd_names();
    int number = 0;
    for (const std::vector<std::string> &more : {std::vector<std::string>{},
                                                 {"--delimiter", "\\t", "--null", "it's NULL", "--no-header"},
                                                 {"--delimiter", "\x1F", "--null", "\\N", "--eol", "lf"},
                                                 {"--compress", "gzip"},
                                                 {"--compress", "zstd", "--delimiter", "|"}}) {
        database_ += "_" + std::to_string(++number);
        server_->create_database(database_);
        std::vector<std::string> options = {"--to", "csv", "--dialect", "postgresql"};
        options.insert(options.end(), more.begin(), more.end());
        convert(options, dump);
        const ProgramResult loaded = server_->run_script(database_, "load.sql", out_);
        EXPECT_EQ(loaded.status, 0) << loaded.err;
        EXPECT_EQ(loaded.err, "");
        expect_odd_tables();
    }
}

TEST_F(PsqlScript, CsvThatCannotBeLoadedEndsItWithAStatus) {
    convert({"--to", "csv", "--dialect", "postgresql"}, dump_of_odd_names());
    write_text(out_ + "/SCOTT.EMP.csv", "$ID,\"na\"\"me\"\r\nx,y\r\n");
    EXPECT_EQ(server_->run_script(database_, "load.sql", out_).status, 3);
    EXPECT_EQ(query("SELECT to_regclass('" + quoted(PLAIN) + "') IS NULL"), "t\n");
}

TEST_F(PsqlScript, CompressedScriptsGoThroughAShell) {
    for (const std::string compression : {"gzip", "zstd"}) {
        server_->create_database(database_ + compression);
        convert({"--to", "sql", "--dialect", "postgresql", "--compress", compression}, dump_of_odd_names());
        std::vector<std::string> command = {"/bin/sh", out_ + "/load.sh"};
        for (const std::string &word : server_->connection(database_ + compression))
            command.push_back(word);
        EXPECT_EQ(run_program(command).err, "");
        database_ += compression;
        expect_odd_tables();
        EXPECT_NE(run_program(command).status, 0);
        const std::string packed = out_ + "/SCOTT.EMP.sql" + (compression == "gzip" ? ".gz" : ".zst");
        std::filesystem::resize_file(packed, std::filesystem::file_size(packed) - 1);
        for (const std::string &name : {ODD, SPACES, PLAIN})
            query("DROP TABLE " + quoted(name));
        EXPECT_NE(run_program(command).status, 0);
        EXPECT_EQ(query("SELECT to_regclass('" + quoted(PLAIN) + "') IS NULL"), "t\n");
    }
}

TEST_F(PsqlScript, TablesOfSeveralOwnersGoIntoSchemasOfTheirNames) {
    const std::string scott = dump_of({"EMP"}), other = dump_of({"EMP"}, "o'ther \"x\"");
    for (const std::string format : {"sql", "csv"}) {
        database_ += "_" + format;
        server_->create_database(database_);
        convert({"--to", format, "--dialect", "postgresql", scott}, other);
        EXPECT_EQ(server_->run_script(database_, "load.sql", out_).err, "");
        for (const char *owner : {"SCOTT", "o'ther \"x\""})
            EXPECT_EQ(query("SELECT count(*) FROM " + quoted(owner) + ".\"EMP\""), "2\n");
    }
}

TEST_F(PsqlScript, TablesWhoseNamesDifferInCaseAloneDoNotMix) {
    const ProgramResult result =
        convert({"--to", "sql", "--dialect", "postgresql", "--lowercase"}, dump_of({"EMP", "Emp", "emp_2"}));
    const std::string prefix = "vexlo-convert: " + (dir_ / "SCOTT.dat") + ": table ";
    const std::string why = ": there is a table whose name differs at most in case\n";
    EXPECT_EQ(result.err, prefix + "\"Emp\": is named \"emp_2\"" + why + prefix +
                              "\"emp_2\": is named \"emp_2_2\"" + why);
    EXPECT_EQ(server_->run_script(database_, out_ + "/load.sql").err, "");
    EXPECT_EQ(query("SELECT * FROM emp_2"), "1|Emp\n2|\n");
    EXPECT_EQ(query("SELECT * FROM emp_2_2"), "1|emp_2\n2|\n");
}

// \copy ends with its line.
TEST_F(PsqlScript, NamesWithLineEndsAreCopiedInto) {
    const std::string name = "two\nlines", other = "three\r\n\nlines";
    convert({"--to", "csv", "--dialect", "postgresql"}, dump_of({name, other, PLAIN}));
    const ProgramResult loaded = server_->run_script(database_, "load.sql", out_);
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_EQ(loaded.err, "");
    for (const std::string &table : {name, other, PLAIN})
        EXPECT_EQ(query("SELECT count(*) FROM " + quoted(table)), "2\n");
}

// First the tables, then their rows, from files that do not replace each other.
TEST_F(PsqlScript, PartsOfScriptsStandSideBySide) {
    const std::string dump = dump_of_odd_names();
    convert({"--to", "sql", "--dialect", "postgresql", "--ddl-only"}, dump);
    convert({"--to", "sql", "--dialect", "postgresql", "--data-only"}, dump);
    EXPECT_EQ(server_->run_script(database_, out_ + "/load.ddl.sql").err, "");
    EXPECT_EQ(server_->run_script(database_, out_ + "/load.data.sql").err, "");
    expect_odd_tables();
}

class SqliteScript : public WithSqlite<LoadScript> {
protected:
    std::string query(const std::string &sql) { return query_file(database_, sql); }

    std::string database_ = dir_ / "x.db";
};

TEST_F(SqliteScript, ScriptsOfAllTables) {
    convert({"--to", "sql", "--dialect", "sqlite"}, dump_of_odd_names());
    const std::string line = "sqlite3 '" + database_ + "' <load.sql";
    const ProgramResult loaded = shell(line, out_);
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_EQ(loaded.err, "");
    for (const std::string &name : {ODD, SPACES, PLAIN})
        EXPECT_EQ(query("SELECT * FROM " + quoted(name)), "1|" + name + "\n2|\n");
    EXPECT_NE(shell(line, out_).status, 0);
    EXPECT_EQ(query("SELECT count(*) FROM EMP"), "2\n");
}

TEST_F(SqliteScript, CompressedScriptsGoThroughAShell) {
    convert({"--to", "sql", "--dialect", "sqlite", "--compress", "gzip"}, dump_of_odd_names());
    const std::vector<std::string> command = {"/bin/sh", out_ + "/load.sh", database_};
    const ProgramResult loaded = run_program(command);
    EXPECT_EQ(loaded.status, 0) << loaded.err;
    EXPECT_EQ(query("SELECT count(*) FROM " + quoted(ODD)), "2\n");
    EXPECT_NE(run_program(command).status, 0);
    const ProgramResult nothing = run_program({"/bin/sh", out_ + "/load.sh"});
    EXPECT_EQ(nothing.status, 2);
    EXPECT_EQ(nothing.err, "usage: " + out_ + "/load.sh DATABASE\n");
}

TEST_F(SqliteScript, TablesWhoseNamesDifferInCaseAloneDoNotMix) {
    const std::string dump = dump_of({"EMP", "Emp"});
    const std::string told = "vexlo-convert: " + dump +
                             ": table \"Emp\": is named \"Emp_2\": there is a table whose "
                             "name differs at most in case\n";
    EXPECT_EQ(convert({"--to", "sql", "--dialect", "sqlite"}, dump).err, told);
    EXPECT_EQ(shell("sqlite3 '" + database_ + "' <load.sql", out_).err, "");
    EXPECT_EQ(query("SELECT * FROM EMP UNION ALL SELECT * FROM Emp_2"), "1|EMP\n2|\n1|Emp\n2|\n");
    EXPECT_EQ(convert({"--to", "sqlite"}, dump).err, told);
    database_ = out_ + "/SCOTT.sqlite";
    EXPECT_EQ(query("SELECT * FROM EMP UNION ALL SELECT * FROM Emp_2"), "1|EMP\n2|\n1|Emp\n2|\n");
}

// Stand-ins for Oracle's programs write down what they are called with.
class OracleLoadScript : public LoadScript {
protected:
    OracleLoadScript() {
        std::filesystem::create_directory(dir_ / "bin");
        for (const char *name : {"sqlplus", "sqlldr"}) {
            const std::string path = dir_ / (std::string("bin/") + name);
            write_text(
                path,
                std::string("#!/bin/sh\n{\necho \"[") + name +
                    "]\"\nfor word; do echo \"<$word>\"; done\necho \"$NLS_LANG $NLS_NUMERIC_CHARACTERS "
                    "$(basename \"$PWD\")\"\n" +
                    (name[3] == 'p' ? "cat\n" : "") + "} >>'" + (dir_ / "log") + "'\n[ ! -e '" +
                    (dir_ / "fail") + "' ]\n");
            chmod(path.c_str(), 0755);
        }
    }

    ProgramResult load(const std::string &arguments) {
        return shell("PATH='" + (dir_ / "bin") + "':$PATH sh out/load.sh " + arguments, dir_.path());
    }

    std::string log() { return read_text(dir_ / "log"); }
};

TEST_F(OracleLoadScript, ScriptsAreStandardInputOfSqlplus) {
    convert({"--to", "sql"}, dump_of({ODD, PLAIN}));
    const ProgramResult result = load("'scott/ti ger@db'");
    EXPECT_EQ(result.status, 0) << result.err;
    const std::string call = "[sqlplus]\n<-S>\n<-L>\n<scott/ti ger@db>\nAMERICAN_AMERICA.AL32UTF8 ., out\n";
    EXPECT_EQ(log(), call + read_text(out_ + "/SCOTT.it%27s %22A%22 $HOME `x`;.sql") + call +
                         read_text(out_ + "/SCOTT.EMP.sql"));
}

TEST_F(OracleLoadScript, SqlLoaderGetsTablesThatAreCreatedBefore) {
    convert({"--to", "sqlldr"}, dump_of({SPACES, "A$B"}));
    EXPECT_EQ(load("scott/tiger").status, 0);
    const auto calls = [](const std::string &table) {
        return "[sqlplus]\n<-S>\n<-L>\n<scott/tiger>\nAMERICAN_AMERICA.AL32UTF8 ., out\n"
               "WHENEVER SQLERROR EXIT FAILURE ROLLBACK\nSET DEFINE OFF\nCREATE TABLE \"" +
               table +
               "\" (\n  \"$ID\" NUMBER,\n  \"na\"\"me\" VARCHAR2(60 BYTE)\n);\n"
               "[sqlldr]\n<userid=scott/tiger>\n<control='SCOTT." +
               table + ".ctl'>\nAMERICAN_AMERICA.AL32UTF8 ., out\n";
    };
    EXPECT_EQ(log(), calls(SPACES) + calls("A$B"));
}

TEST_F(OracleLoadScript, StopsAtTheFirstFailureAndWithoutAConnectString) {
    convert({"--to", "sql"}, dump_of({"A", "B"}));
    EXPECT_EQ(load("").status, 2);
    write_text(dir_ / "fail", "");
    EXPECT_EQ(load("scott/tiger").status, 1);
    EXPECT_EQ(log(), "[sqlplus]\n<-S>\n<-L>\n<scott/tiger>\nAMERICAN_AMERICA.AL32UTF8 ., out\n" +
                         read_text(out_ + "/SCOTT.A.sql"));
}

// A script of an earlier run is replaced, a file of the user's is not.
TEST_F(LoadScript, AFileThatIsNoneStays) {
    const std::string dump = dump_of({"EMP"});
    const std::vector<std::string> options = {"--to", "sql", "--dialect", "sqlite"};
    convert(options, dump);
    const std::string script = "-- Loads what was converted into this directory: run it there, as in sqlite3 "
                               "DATABASE <load.sql\n.bail on\n.read 'SCOTT.EMP.sql'\n";
    EXPECT_EQ(read_text(out_ + "/load.sql"), script);
    convert({"--to", "sql", "--dialect", "postgresql"}, dump);
    EXPECT_EQ(convert(options, dump).err, "");
    EXPECT_EQ(read_text(out_ + "/load.sql"), script);
    write_text(out_ + "/load.sql", "SELECT 1;\n");
    EXPECT_EQ(convert(options, dump).err,
              "vexlo-convert: " + out_ + "/load.sql: not written by this program, stays as it is\n");
    EXPECT_EQ(read_text(out_ + "/load.sql"), "SELECT 1;\n");
}

TEST_F(LoadScript, HasTheOrderOfTheDumpWhateverTheThreads) {
    std::vector<std::string> names;
    std::string expected;
    for (int i = 0; i < 20; ++i) {
        names.push_back("T" + std::to_string(i));
        expected += ".read 'SCOTT." + names.back() + ".sql'\n";
    }
    convert({"--to", "sql", "--dialect", "sqlite", "--jobs", "4"}, dump_of(names));
    const std::string script = read_text(out_ + "/load.sql");
    EXPECT_EQ(script.substr(script.find(".read")), expected);
}

TEST_F(LoadScript, FormatsWithoutATargetHaveNone) {
    const std::string dump = dump_of({"EMP"});
    convert({"--to", "csv"}, dump);
    convert({"--to", "jsonl"}, dump);
    EXPECT_FALSE(std::filesystem::exists(out_ + "/load.sql"));
    EXPECT_FALSE(std::filesystem::exists(out_ + "/load.sh"));
}

} // namespace
