// The options that choose the forms of values and names.
#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

class FormatOptionsTest : public testing::Test {
protected:
    ProgramResult convert(const DumpTable &table, std::vector<std::string> options) {
        dump_.tables = {table};
        write_text(dir_ / "SCOTT.dat", dump_bytes(dump_));
        options.insert(options.end(), {"--output", dir_ / "out", dir_ / "SCOTT.dat"});
        return run_convert(options);
    }

    std::string converted(const DumpTable &table, const std::vector<std::string> &options,
                          const std::string &file) {
        const ProgramResult result = convert(table, options);
        EXPECT_EQ(result.status, 0) << result.err;
        return read_text(dir_ / ("out/" + file));
    }

    // The options are refused with one line and status 2.
    void expect_refused(const std::vector<std::string> &options, const DumpTable &table) {
        const ProgramResult result = convert(table, options);
        std::string words;
        for (const std::string &option : options)
            words += option + " ";
        EXPECT_EQ(result.status, 2) << words;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << words << result.err;
        EXPECT_FALSE(std::filesystem::exists(dir_ / "out/SCOTT.T.csv"));
    }

    static DumpTable texts(const std::vector<Bytes> &values) {
        DumpTable table{.name = "T", .columns = {{"A", 1, 40}, {"B", 2, 22}}};
        for (const Bytes &text : values)
            table.rows.push_back(row({value(text), value(ora_number("1.5"))}));
        return table;
    }

    static DumpTable moments() {
        return {.name = "T",
                .columns = {{"D", 12, 7}, {"S", 180, 11}, {"Z", 181, 13}},
                .rows = {row({value(ora_date(2024, 2, 29, 13, 4, 5)),
                              value(ora_timestamp(ora_date(-43, 3, 15), 5000)),
                              value(ora_zoned(ora_date(2024, 6, 1, 12), 0, -90))})}};
    }

    Dump dump_;
    scratch_dir dir_;
};

TEST_F(FormatOptionsTest, NullHasATextThatNoValueIsTakenFor) {
    DumpTable table = texts({"NA", "x"});
    table.rows.push_back(row({null(), null()}));
    EXPECT_EQ(converted(table, {"--to", "csv", "--eol", "lf", "--null", "NA"}, "SCOTT.T.csv"),
              "A,B\n\"NA\",1.5\nx,1.5\nNA,NA\n");
    EXPECT_EQ(converted(table, {"--to", "csv", "--eol", "lf", "--null", "1.5"}, "SCOTT.T.csv"),
              "A,B\nNA,\"1.5\"\nx,\"1.5\"\n1.5,1.5\n");
    EXPECT_EQ(converted(table, {"--to", "csv", "--eol", "lf", "--null", "\\N"}, "SCOTT.T.csv"),
              "A,B\nNA,1.5\nx,1.5\n\\N,\\N\n");
}

TEST_F(FormatOptionsTest, FieldsWithTheDelimiterAreQuoted) {
    const DumpTable table = texts({"a;b", "a,b", "a\tb"});
    EXPECT_EQ(converted(table, {"--to", "csv", "--eol", "lf", "--delimiter", ";"}, "SCOTT.T.csv"),
              "A;B\n\"a;b\";1.5\na,b;1.5\na\tb;1.5\n");
    EXPECT_EQ(converted(table, {"--to", "csv", "--eol", "lf", "--delimiter", "\\t"}, "SCOTT.T.csv"),
              "A\tB\na;b\t1.5\na,b\t1.5\n\"a\tb\"\t1.5\n");
}

TEST_F(FormatOptionsTest, HeaderCanBeLeftOut) {
    EXPECT_EQ(converted(texts({"x"}), {"--to", "csv", "--no-header"}, "SCOTT.T.csv"), "x,1.5\r\n");
}

TEST_F(FormatOptionsTest, DatesInTheLettersOfStrftime) {
    EXPECT_EQ(converted(moments(),
                        {"--to", "csv", "--eol", "lf", "--no-header", "--date-format", "%d.%m.%Y %T"},
                        "SCOTT.T.csv"),
              "29.02.2024 13:04:05,15.03.-0043 00:00:00,01.06.2024 10:30:00\n");
    EXPECT_EQ(converted(moments(),
                        {"--to", "csv", "--eol", "lf", "--no-header", "--date-format", "%a, %b %e %I%p %j"},
                        "SCOTT.T.csv"),
              "\"Thu, Feb 29 01PM 060\",\"Wed, Mar 15 12AM 074\",\"Sat, Jun  1 10AM 153\"\n");
    EXPECT_EQ(converted(moments(), {"--to", "jsonl", "--date-format", "%F %N%z"}, "SCOTT.T.jsonl"),
              "{\"D\":\"2024-02-29 000000000\",\"S\":\"-0043-03-15 000005000\",\"Z\":\"2024-06-01 "
              "000000000-0130\"}\n");
}

TEST_F(FormatOptionsTest, JsonNumbersAsStrings) {
    EXPECT_EQ(converted(texts({"x"}), {"--to", "jsonl", "--json-numbers", "string"}, "SCOTT.T.jsonl"),
              "{\"A\":\"x\",\"B\":\"1.5\"}\n");
}

TEST_F(FormatOptionsTest, NamesInLowerCase) {
    EXPECT_EQ(converted(texts({"X"}), {"--to", "csv", "--eol", "lf", "--lowercase"}, "scott.t.csv"),
              "a,b\nX,1.5\n");
}

TEST_F(FormatOptionsTest, TablesAndRowsOfScriptsApart) {
    const std::vector<std::string> sqlite = {"--to", "sql", "--dialect", "sqlite"};
    std::vector<std::string> ddl = sqlite, data = sqlite;
    ddl.push_back("--ddl-only");
    data.push_back("--data-only");
    EXPECT_EQ(converted(texts({"x"}), ddl, "SCOTT.T.ddl.sql"),
              "BEGIN;\nCREATE TABLE \"T\" (\n  \"A\" TEXT,\n  \"B\" /* NUMBER */\n);\nCOMMIT;\n");
    EXPECT_EQ(converted(texts({"x"}), data, "SCOTT.T.data.sql"),
              "BEGIN;\nINSERT INTO \"T\" VALUES ('x',1.5);\nCOMMIT;\n");
}

TEST_F(FormatOptionsTest, CompressedOutputsUnpackToThePlainOnes) {
    DumpTable table = texts({});
    for (int i = 0; i < 60000; ++i)
        table.rows.push_back(
            row({value("text " + std::to_string(i * 7919)), value(ora_number(std::to_string(i)))}));
    for (const char *format : {"csv", "jsonl", "sql"}) {
        const std::string plain = std::string("SCOTT.T.") + format;
        const std::string expected = converted(table, {"--to", format}, plain);
        EXPECT_EQ(convert(table, {"--to", format, "--compress", "gzip"}).status, 0);
        EXPECT_TRUE(
            run_program({"/bin/sh", "-c", "gzip -dc '" + (dir_ / ("out/" + plain + ".gz")) + "'"}).out ==
            expected);
        const ProgramResult zstd = convert(table, {"--to", format, "--compress", "zstd"});
        EXPECT_EQ(zstd.status, 0);
        EXPECT_TRUE(
            run_program({"/bin/sh", "-c", "zstd -dc '" + (dir_ / ("out/" + plain + ".zst")) + "'"}).out ==
            expected);
    }
}

TEST_F(FormatOptionsTest, NonsenseIsRefused) {
    const DumpTable table = texts({"x"});
    for (const char *delimiter : {"", "ab", "\"", "\n", "a", "5", "-", ".", ":", "\\"})
        expect_refused({"--to", "csv", "--delimiter", delimiter}, table);
    for (const char *null : {"a,b", "\"", "a\nb"})
        expect_refused({"--to", "csv", "--null", null}, table);
    for (const char *form : {"%Q", "%", "%Y%"})
        expect_refused({"--to", "csv", "--date-format", form}, table);
    expect_refused({"--to", "csv", "--date-format", std::string(1000, 'x')}, table);
    expect_refused({"--to", "csv", "--dialect", "postgresql", "--date-format", "%Y"}, table);
}

TEST_F(FormatOptionsTest, OptionsThatDoNotApplyAreRefused) {
    const DumpTable table = texts({"x"});
    expect_refused({"--to", "jsonl", "--null", "x"}, table);
    expect_refused({"--to", "sql", "--delimiter", ";"}, table);
    expect_refused({"--to", "jsonl", "--no-header"}, table);
    expect_refused({"--to", "sql", "--date-format", "%Y"}, table);
    expect_refused({"--to", "csv", "--json-numbers", "string"}, table);
    expect_refused({"--to", "csv", "--ddl-only"}, table);
    expect_refused({"--to", "jsonl", "--dialect", "sqlite"}, table);
    expect_refused({"--to", "csv", "--numbers", "real"}, table);
    expect_refused({"--to", "sqlite", "--compress", "gzip"}, table);
    expect_refused({"--list", "--lowercase"}, table);
}

TEST_F(FormatOptionsTest, RawTextIsRefusedWhereItCannotBeRight) {
    DumpTable table = texts({"\xCF"});
    dump_.nls_lang = "RUSSIAN_CIS.CL8MSWIN1251";
    expect_refused({"--encoding", "raw", "--to", "jsonl"}, table);
    expect_refused({"--encoding", "raw", "--to", "sqlite"}, table);
    expect_refused({"--encoding", "raw", "--to", "sql", "--dialect", "postgresql"}, table);
    expect_refused({"--encoding", "raw", "--to", "sql", "--dialect", "sqlite"}, table);
    expect_refused({"--encoding", "raw", "--to", "csv", "--dialect", "postgresql"}, table);
    const std::string script = converted(table, {"--encoding", "raw", "--to", "sql"}, "SCOTT.T.sql");
    EXPECT_NE(script.find("NLS_LANG=AMERICAN_AMERICA.CL8MSWIN1251"), std::string::npos);
    EXPECT_NE(script.find("'\xCF'"), std::string::npos);
    EXPECT_NE(converted(table, {"--encoding", "raw", "--to", "sqlldr"}, "SCOTT.T.ctl")
                  .find("CHARACTERSET CL8MSWIN1251\n"),
              std::string::npos);
    table.columns[0].national = true;
    expect_refused({"--encoding", "raw", "--to", "sql"}, table);
    expect_refused({"--encoding", "raw", "--to", "sqlldr"}, table);
    table.columns[0].national = false;
    dump_.nls_lang = "AMERICAN_AMERICA.WE8EBCDIC500";
    expect_refused({"--encoding", "raw", "--to", "sqlldr"}, table);
}

TEST_F(FormatOptionsTest, OracleLengthsAreInTheUnitOfTheColumn) {
    const DumpTable table{
        .name = "T",
        .columns = {{"N1", 96, 20, true}, {"N2", 1, 60, true}, {"C1", 96, 10}, {"C2", 1, 30}, {"R", 69, 10}}};
    EXPECT_NE(
        converted(table, {"--to", "sql"}, "SCOTT.T.sql")
            .find("\"N1\" NCHAR(10),\n  \"N2\" NVARCHAR2(30),\n  \"C1\" CHAR(10 BYTE),\n  \"C2\" VARCHAR2(30 "
                  "BYTE),\n  \"R\" ROWID\n"),
        std::string::npos);
    dump_.nls_lang = "AMERICAN_AMERICA.WE8MSWIN1252";
    dump_.ncharset = "UTF8";
    EXPECT_NE(converted(table, {"--to", "sql"}, "SCOTT.T.sql")
                  .find("\"N1\" NCHAR(6),\n  \"N2\" NVARCHAR2(20),\n  \"C1\" CHAR(10 CHAR),\n  \"C2\" "
                        "VARCHAR2(30 CHAR)"),
              std::string::npos);
}

TEST_F(FormatOptionsTest, OracleRowsGoByTheHundred) {
    DumpTable table = texts(std::vector<Bytes>(250, "x"));
    const std::string script = converted(table, {"--to", "sql"}, "SCOTT.T.sql");
    size_t blocks = 0;
    for (size_t at = 0; (at = script.find("BEGIN\nINSERT", at)) != std::string::npos; ++at)
        ++blocks;
    EXPECT_EQ(blocks, 3U);
    EXPECT_NE(script.find("END;\n/\nCOMMIT;\n"), std::string::npos);
}

TEST_F(FormatOptionsTest, TheYearZeroCannotGoToOracle) {
    const DumpTable table{.name = "T", .columns = {{"D", 12, 7}}, .rows = {row({value(ora_date(0, 1, 1))})}};
    const ProgramResult result = convert(table, {"--to", "sql"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("Oracle cannot load the year 0"), std::string::npos);
    EXPECT_EQ(converted(table, {"--to", "csv", "--no-header"}, "SCOTT.T.csv"), "0000-01-01T00:00:00\r\n");
}

} // namespace
