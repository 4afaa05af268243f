// Every format is read back by a reader of its own and compared with the rows that went in.
#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

const std::vector<DumpColumn> COLUMNS = {
    {"ID", 2, 22},   {"NAME", 1, 200},   {"NICK", 1, 80, true}, {"PAD", 96, 4},  {"BORN", 12, 7},
    {"AT", 180, 11}, {"ZONED", 181, 13}, {"YM", 182, 5},        {"DS", 183, 11}, {"F", 100, 4},
    {"D", 101, 8},   {"BIN", 23, 20},    {"TEXT", 8, 0}};

Bytes full_row(const std::string &id, const std::string &name, const Bytes &nick) {
    return row({value(ora_number(id)), value(name), value(nick), value("ab  "),
                value(ora_date(2024, 2, 29, 1, 2, 3)),
                value(ora_timestamp(ora_date(9999, 12, 31, 23, 59, 59), 123456789)),
                value(ora_zoned(ora_date(2024, 6, 1, 12), 0, -90)), value(ora_interval_ym(-1, -2)),
                value(ora_interval_ds(1, 2, 3, 4, 500000000)), value(ora_binary_float(0.1F)),
                value(ora_binary_double(-1e300)), value(Bytes("\x00\xFF\x0A", 3)), long_mark()}) +
           long_block({"long,\"text\"\r\nof two lines"});
}

// Texts with everything that means something to one of the formats.
const std::string AWKWARD = "a,b;\"c\" 'd' \\e\n\r\n\t| %f & :g ]]> --h \xE2\x82\xAC";
const std::string AWKWARD_JSON = R"(a,b;\"c\" 'd' \\e\n\r\n\t| %f & :g ]]> --h €)";

class ReadBack : public testing::Test {
protected:
    ReadBack() {
        Dump dump;
        dump.tables = {
            {.name = "ALL_TYPES",
             .columns = COLUMNS,
             .rows = {
                 full_row("1234567890123456789012345678901234567890", AWKWARD, Bytes("\x4E\x2D\x00\x41", 4)),
                 full_row("-0.5", "\\.", Bytes("\xD8\x34\xDD\x1E", 4)), row({value(ora_number("3"))}),
                 row({null(), null(), null()}), full_row("9223372036854775807", "'", Bytes("\0,", 2))}}};
        write_text(dir_ / "SCOTT.dat", dump_bytes(dump));
    }

    std::string convert_and_read(const std::vector<std::string> &options, const std::string &format,
                                 const std::string &file) {
        std::vector<std::string> arguments = options;
        arguments.insert(arguments.end(), {"--output", dir_ / "out", dir_ / "SCOTT.dat"});
        const ProgramResult result = run_convert(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.err, "");
        return read_back(format, dir_ / ("out/" + file), "ALL_TYPES");
    }

    // The rows as every reader must give them, with the forms that differ from target to target.
    struct Forms {
        std::string at = "9999-12-31T23:59:59.123456789", born = "2024-02-29T01:02:03",
                    zoned = "2024-06-01T10:30:00-01:30", ym = "P-1Y-2M", ds = "P1DT2H3M4.5S",
                    real = "-1e+300";
    };

    static std::string expected(const Forms &f) {
        const auto full = [&](const std::string &id, const std::string &name, const std::string &nick) {
            return "[\"" + id + "\",\"" + name + "\",\"" + nick + "\",\"ab  \",\"" + f.born + "\",\"" + f.at +
                   "\",\"" + f.zoned + "\",\"" + f.ym + "\",\"" + f.ds + "\",\"0.1\",\"" + f.real +
                   "\",\"00FF0A\",\"long,\\\"text\\\"\\r\\nof two lines\"]\n";
        };
        const std::string nulls = ",null,null,null,null,null,null,null,null,null,null,null,null]\n";
        return "[\"ID\",\"NAME\",\"NICK\",\"PAD\",\"BORN\",\"AT\",\"ZONED\",\"YM\",\"DS\",\"F\",\"D\","
               "\"BIN\",\"TEXT\"]\n" +
               full("1234567890123456789012345678901234567890", AWKWARD_JSON, "中A") +
               full("-0.5", "\\\\.", "\xF0\x9D\x84\x9E") + "[\"3\"" + nulls + "[null" + nulls +
               full("9223372036854775807", "'", ",");
    }

    scratch_dir dir_;
};

TEST_F(ReadBack, Csv) {
    EXPECT_EQ(convert_and_read({"--to", "csv"}, "csv", "SCOTT.ALL_TYPES.csv"), expected({}));
}

TEST_F(ReadBack, CsvWithLineFeeds) {
    EXPECT_EQ(convert_and_read({"--to", "csv", "--eol", "lf"}, "csv", "SCOTT.ALL_TYPES.csv"), expected({}));
}

TEST_F(ReadBack, JsonLines) {
    EXPECT_EQ(convert_and_read({"--to", "jsonl"}, "jsonl", "SCOTT.ALL_TYPES.jsonl"), expected({}));
}

TEST_F(ReadBack, Sqlite) {
    if (run_convert({"--to", "sqlite", dir_ / "SCOTT.dat", "--output", dir_ / "probe"})
            .err.find("without the SQLite") != std::string::npos)
        GTEST_SKIP() << "built without SQLite";
    EXPECT_EQ(convert_and_read({"--to", "sqlite"}, "sqlite", "SCOTT.sqlite"), expected({}));
}

TEST_F(ReadBack, SqliteScript) {
    EXPECT_EQ(convert_and_read({"--to", "sql", "--dialect", "sqlite"}, "sqlite-sql", "SCOTT.ALL_TYPES.sql"),
              expected({}));
}

TEST_F(ReadBack, SqlLoader) {
    const Forms forms{"9999-12-31 23:59:59.123456789",
                      "2024-02-29 01:02:03",
                      "2024-06-01 10:30:00.0 -01:30",
                      "-1-02",
                      "1 02:03:04.5",
                      "-1e+300"};
    EXPECT_EQ(convert_and_read({"--to", "sqlldr"}, "sqlldr", "SCOTT.ALL_TYPES.ctl"), expected(forms));
}

} // namespace
