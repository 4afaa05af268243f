// Rows with more entries than columns that show far behind the first rows alone.
#include <algorithm>
#include <filesystem>
#include <iterator>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

constexpr int ROWS = 200000, FIRST_LONGER = 70000, LONGER = 30;

// A, an entry of no column, B and, in few rows far from the begin, C.
DumpTable table_with_hidden_entry() {
    DumpTable table{.name = "T", .columns = {{"A", 2, 22}, {"B", 2, 22}, {"C", 2, 22}}};
    for (int i = 0; i < ROWS; ++i) {
        const Bytes number = value(ora_number(std::to_string(i)));
        std::vector<Bytes> entries = {number, value(ora_number("9000")), number, number};
        if (i < FIRST_LONGER || i >= FIRST_LONGER + LONGER)
            entries.pop_back();
        table.rows.push_back(row(entries));
    }
    return table;
}

std::string csv_with_hidden_entry() {
    std::string text = "A,B,C,EXTRA_1\r\n";
    for (int i = 0; i < ROWS; ++i) {
        const std::string number = std::to_string(i);
        const bool longer = i >= FIRST_LONGER && i < FIRST_LONGER + LONGER;
        text += number + ",9000," + number + "," + (longer ? number : "") + "\r\n";
    }
    return text;
}

class LateSurplus : public testing::Test {
protected:
    LateSurplus() {
        Dump dump;
        dump.tables = {table_with_hidden_entry()};
        write_text(file_, dump_bytes(dump));
    }

    std::string told() const {
        return "vexlo-convert: " + file_ +
               ": table \"T\": rows have 4 entries for 3 columns; which belong to none cannot be told: the "
               "last values come as EXTRA_n\n";
    }

    scratch_dir dir_;
    std::string file_ = dir_ / "a.dat";
};

TEST_F(LateSurplus, HoldsForTheRowsBefore) {
    for (const std::vector<std::string> &options :
         {std::vector<std::string>{}, {"--table", "T"}, {"--jobs", "2"}}) {
        std::vector<std::string> arguments = {"--to", "csv", "--output", dir_ / "out", file_};
        arguments.insert(arguments.end(), options.begin(), options.end());
        const ProgramResult result = run_convert(arguments);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.err, told());
        EXPECT_EQ(result.summary, "1 tables, 200000 rows, 1 losses");
        EXPECT_TRUE(read_text(dir_ / "out/SCOTT.T.csv") == csv_with_hidden_entry());
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_ / "out"), {}), 1);
    }
}

// What was told of the rows before is told as it is when all have been read as they are.
TEST_F(LateSurplus, DamageBeforeIsToldOnce) {
    DumpTable table = table_with_hidden_entry();
    table.columns[0].name = "";
    table.rows[10] = row({value("SMITH"), value(ora_number("1")), value(ora_number("2"))});
    table.rows[20] = row({value(Bytes(40, '\xEE'))});
    Dump dump;
    dump.tables = {table};
    write_text(file_, dump_bytes(dump));
    const ProgramResult result = run_convert({"--to", "csv", "--output", dir_ / "out", file_});
    EXPECT_EQ(result.status, 1);
    for (const std::string line : {"values could not be decoded", "534D495448 are no NUMBER", "bytes skipped",
                                   "column \"\" is named", "rows were found"})
        EXPECT_EQ(result.err.find(line), result.err.rfind(line)) << line << "\n" << result.err;
    EXPECT_NE(result.err.find("534D495448 are no NUMBER"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find("bytes skipped"), std::string::npos) << result.err;
    EXPECT_EQ(result.summary, "1 tables, 199999 rows, 4 losses, 1 values taken as NULL");
}

// What has been written there cannot be taken back.
TEST_F(LateSurplus, IsKnownBeforeStandardOutputGetsTheFirstRow) {
    const ProgramResult result = run_convert({"--to", "csv", "--output", "-", file_});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, told());
    EXPECT_TRUE(result.out == csv_with_hidden_entry());
}

TEST_F(LateSurplus, DatabasesHaveTheTableOnce) {
    const ProgramResult result = run_convert({"--to", "sqlite", "--output", dir_ / "out", file_});
    if (result.err.find("without the SQLite") != std::string::npos)
        GTEST_SKIP() << "built without SQLite";
    EXPECT_EQ(result.err, told());
    const std::string rows = read_back("sqlite", dir_ / "out/a.sqlite", "T");
    EXPECT_EQ(std::count(rows.begin(), rows.end(), '\n'), ROWS + 1); // and the names of the columns
}

TEST_F(LateSurplus, IsListed) {
    const ProgramResult result = run_convert({"--list", file_});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, told());
    EXPECT_NE(result.out.find("200000 rows recorded, 200000 found"), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("EXTRA_1"), std::string::npos) << result.out;
}

// One damaged row says nothing of the others.
TEST_F(LateSurplus, SingleLongerRowsAreDamage) {
    Dump dump;
    DumpTable table{.name = "T", .columns = {{"A", 2, 22}, {"B", 2, 22}}};
    for (int i = 0; i < ROWS; ++i) {
        const Bytes number = value(ora_number(std::to_string(i)));
        table.rows.push_back(i % 100000 == 30000 ? row({number, number, number}) : row({number, number}));
    }
    dump.tables = {table};
    write_text(file_, dump_bytes(dump));
    const ProgramResult result = run_convert({"--to", "csv", "--output", dir_ / "out", file_});
    EXPECT_EQ(result.summary.substr(0, 23), "1 tables, 199998 rows, ");
    EXPECT_NE(result.err.find("more entries than columns"), std::string::npos);
    EXPECT_EQ(read_text(dir_ / "out/SCOTT.T.csv").substr(0, 10), "A,B\r\n0,0\r\n");
}

} // namespace
