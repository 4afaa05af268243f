// Damaged files through the whole program: it ends by itself with a status of its own and leaves only
// finished files.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

Bytes sample() {
    Dump dump;
    for (const char *name : {"A", "B"}) {
        DumpTable table{.name = name,
                        .columns = {{"ID", 2, 22}, {"NAME", 1, 30}, {"BORN", 12, 7}, {"TEXT", 8, 0}}};
        for (int i = 0; i < 20; ++i)
            table.rows.push_back(row({value(ora_number(std::to_string(i * 37))), value("NAME"),
                                      value(ora_date(2000, 1, 1 + i)), long_mark()}) +
                                 long_block({"some text", "and more"}));
        dump.tables.push_back(table);
    }
    return dump_bytes(dump);
}

constexpr size_t ROWS_OF_A = 1536 + 4 * 48; // where the rows of the first table begin

struct Converted {
    ProgramResult result;
    std::vector<std::string> a, b; // lines of the two tables, none when there is no file
};

std::vector<std::string> lines_of(const std::string &path) {
    std::vector<std::string> lines;
    std::ifstream file(path);
    for (std::string line; std::getline(file, line);)
        lines.push_back(line);
    return lines;
}

Converted convert(const Bytes &bytes) {
    scratch_dir dir;
    write_text(dir / "a.dat", bytes);
    Converted converted{run_convert({"--to", "csv", "--output", dir / "out", dir / "a.dat"}),
                        lines_of(dir / "out/SCOTT.A.csv"), lines_of(dir / "out/SCOTT.B.csv")};
    for (const auto &entry : std::filesystem::directory_iterator(dir.path()))
        EXPECT_NE(entry.path().extension(), ".part");
    return converted;
}

// Lines of the one that the other has not.
size_t missing(std::vector<std::string> whole, std::vector<std::string> found) {
    std::sort(whole.begin(), whole.end());
    std::sort(found.begin(), found.end());
    std::vector<std::string> lost;
    std::set_difference(whole.begin(), whole.end(), found.begin(), found.end(), std::back_inserter(lost));
    return lost.size();
}

// What stands before the cut is converted as it was, and that something is missing is told.
TEST(Damage, TruncationKeepsTheRowsBeforeIt) {
    const Bytes bytes = sample();
    const Converted whole = convert(bytes);
    ASSERT_EQ(whole.a.size(), 21U);
    ASSERT_EQ(whole.b.size(), 21U);
    for (size_t size = 1; size < bytes.size(); size += 97) {
        const Converted cut = convert(bytes.substr(0, size));
        EXPECT_EQ(cut.result.status, size < 324 ? 2 : 1) << size;
        EXPECT_FALSE(cut.result.err.empty()) << size;
        ASSERT_LE(cut.a.size(), whole.a.size()) << size;
        EXPECT_TRUE(std::equal(cut.a.begin(), cut.a.end(), whole.a.begin())) << size;
        ASSERT_LE(cut.b.size(), whole.b.size()) << size;
        EXPECT_TRUE(std::equal(cut.b.begin(), cut.b.end(), whole.b.begin())) << size;
        if (!cut.b.empty()) {
            EXPECT_EQ(cut.a, whole.a) << size;
        }
    }
}

// A byte of one table's rows costs few of them, and nothing of another table.
TEST(Damage, SingleBytesCostFewRowsOfTheirTable) {
    const Bytes bytes = sample();
    const Converted whole = convert(bytes);
    const size_t end_of_a = bytes.find("\xFF\xFF", ROWS_OF_A);
    std::mt19937 random(1);
    for (int i = 0; i < 40; ++i) {
        Bytes damaged = bytes;
        const size_t at = ROWS_OF_A + random() % (end_of_a - ROWS_OF_A);
        damaged[at] = static_cast<char>(damaged[at] ^ static_cast<char>(1 + random() % 255));
        const Converted found = convert(damaged);
        EXPECT_LE(missing(whole.a, found.a), 10U) << at;
        EXPECT_LE(missing(found.a, whole.a), 10U) << at;
        EXPECT_EQ(found.b, whole.b) << at;
        EXPECT_TRUE(found.a == whole.a || found.result.status == 1 ||
                    missing(whole.a, found.a) == 1) // another value of its type
            << at;
    }
}

TEST(Damage, LineTellsTableRowAndOffset) {
    Dump dump;
    dump.tables = {{.name = "T",
                    .columns = {{"D", 12, 7}},
                    .rows = {row({value(ora_date(2000, 1, 1))}), row({value(ora_date(2000, 13, 1))})}}};
    scratch_dir dir;
    write_text(dir / "a.dat", dump_bytes(dump));
    const ProgramResult result = run_convert({"--to", "csv", "--output", "-", dir / "a.dat"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "D\r\n2000-01-01T00:00:00\r\n\r\n");
    EXPECT_EQ(result.err,
              "vexlo-convert: " + (dir / "a.dat") +
                  ": table \"T\", row 2, offset 1595: column \"D\": 7 bytes 78640D01010101 are no DATE, "
                  "taken as NULL\n"
                  "vexlo-convert: " +
                  (dir / "a.dat") +
                  ": table \"T\": column \"D\": 1 values could not be decoded, taken as NULL\n");
    EXPECT_EQ(result.summary, "1 tables, 2 rows, 1 losses, 1 values taken as NULL");
}

TEST(Damage, CountsThatDisagreeAreTold) {
    Dump dump;
    dump.tables = {
        {.name = "T", .columns = {{"D", 12, 7}}, .rows = {row({value(ora_date(2000, 1, 1))})}, .nrows = 5}};
    scratch_dir dir;
    write_text(dir / "a.dat", dump_bytes(dump));
    const ProgramResult result = run_convert({"--to", "csv", "--output", "-", dir / "a.dat"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "D\r\n2000-01-01T00:00:00\r\n");
    EXPECT_EQ(result.err, "vexlo-convert: " + (dir / "a.dat") +
                              ": table \"T\": the directory says 5 rows, 1 were found\n");
}

TEST(Damage, ManyLossesAreNotAllListed) {
    DumpTable table{.name = "T", .columns = {{"D", 12, 7}}};
    for (int i = 0; i < 1000; ++i)
        table.rows.push_back(row({value(ora_date(2000, 13, 1))}));
    Dump dump;
    dump.tables = {table};
    scratch_dir dir;
    write_text(dir / "a.dat", dump_bytes(dump));
    const ProgramResult result = run_convert({"--to", "csv", "--output", "-", dir / "a.dat"});
    const std::string prefix = "vexlo-convert: " + (dir / "a.dat") + ": table \"T\"";
    std::string expected;
    for (int i = 0; i < 100; ++i)
        expected += prefix + ", row " + std::to_string(i + 1) + ", offset " + std::to_string(1584 + 11 * i) +
                    ": column \"D\": 7 bytes 78640D01010101 are no DATE, taken as NULL\n";
    EXPECT_EQ(result.err, expected + prefix +
                              ": column \"D\": 1000 values could not be decoded, taken as NULL\n" + prefix +
                              ": 900 more losses in single rows are not listed\n");
    EXPECT_EQ(result.summary, "1 tables, 1000 rows, 1000 losses, 1000 values taken as NULL");
}

} // namespace
