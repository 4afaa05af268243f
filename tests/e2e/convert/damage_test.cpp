// Damaged files through the whole program: it ends by itself with a status of its own and leaves only
// finished files.
#include <algorithm>
#include <filesystem>
#include <iterator>
#include <random>
#include <sstream>

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

constexpr size_t LONG_BLOCK_SIZE = 25;
constexpr size_t ROWS_OF_A = 1536 + 4 * 48; // where the rows of the first table begin

struct Converted {
    ProgramResult result;
    std::string said;              // on standard error, with FILE for the path
    std::vector<std::string> a, b; // lines of the two tables, none when there is no file
};

std::vector<std::string> lines_in(const std::string &text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

// None when there is no such file.
std::vector<std::string> lines_of(const std::string &path) {
    return lines_in(std::filesystem::exists(path) ? read_text(path) : "");
}

std::string without_path(std::string text, const std::string &path) {
    for (size_t at = 0; (at = text.find(path, at)) != std::string::npos;)
        text.replace(at, path.size(), "FILE");
    return text;
}

Converted convert(const Bytes &bytes) {
    scratch_dir dir;
    write_text(dir / "a.dat", bytes);
    const ProgramResult result = run_convert({"--to", "csv", "--output", dir / "out", dir / "a.dat"});
    for (const auto &entry : std::filesystem::recursive_directory_iterator(dir.path()))
        EXPECT_NE(entry.path().extension(), ".part");
    return {result, without_path(result.err, dir / "a.dat"), lines_of(dir / "out/SCOTT.A.csv"),
            lines_of(dir / "out/SCOTT.B.csv")};
}

// Lines of the one that the other has not.
size_t missing(std::vector<std::string> whole, std::vector<std::string> found) {
    std::sort(whole.begin(), whole.end());
    std::sort(found.begin(), found.end());
    std::vector<std::string> lost;
    std::set_difference(whole.begin(), whole.end(), found.begin(), found.end(), std::back_inserter(lost));
    return lost.size();
}

// The places of a table of the sample: its section, the first row and the end, and how its rows lie.
struct Section {
    std::string name;
    size_t begin, rows_at, end;
    std::vector<size_t> rows; // where each begins, and where the end mark is
};

std::vector<Section> sections_of(const Bytes &bytes) {
    std::vector<Section> sections;
    size_t at = ROWS_OF_A - 4 * 48;
    for (const char *name : {"A", "B"}) {
        Section section{name, at, at + 4 * 48, 0, {}};
        at = section.rows_at;
        for (int i = 0; i < 20; ++i) {
            section.rows.push_back(at);
            at += ora_number(std::to_string(i * 37)).size() + 46; // the rest is the same in all
        }
        section.rows.push_back(at);
        section.end = at += 2;
        sections.push_back(section);
    }
    EXPECT_EQ(at, bytes.size());
    return sections;
}

// What a cut leaves of the rows of a table.
struct Left {
    size_t rows;  // whole ones, one that has lost its LONG value alone among them
    bool no_long; // that is so of the last
    size_t at;    // behind them
};

Left rows_left(const Section &section, size_t size) {
    Left left{0, false, section.rows[0]};
    while (left.rows < 20 && section.rows[left.rows + 1] <= size)
        left.at = section.rows[++left.rows];
    if (left.rows == 20)
        return left;
    const size_t row_end = section.rows[left.rows + 1] - LONG_BLOCK_SIZE;
    left.no_long = size == row_end || size == row_end + 1; // the mark of the block takes two bytes
    if (left.no_long)
        left = {left.rows + 1, true, row_end};
    return left;
}

// The rows that the cut leaves, of all `lines` of the table.
std::vector<std::string> lines_left(const std::vector<std::string> &lines, const Left &left) {
    std::vector<std::string> result(lines.begin(), lines.begin() + 1 + static_cast<ptrdiff_t>(left.rows));
    if (left.no_long)
        result.back() = result.back().substr(0, result.back().rfind(',')) + ",\r";
    return result;
}

std::string place(size_t row, size_t offset) {
    return "row " + std::to_string(row) + ", offset " + std::to_string(offset);
}

// What is told of the rows of a table that is cut.
void tell_cut_rows(const Section &section, size_t size, std::vector<std::string> &lines) {
    const std::string table = "table \"" + section.name + "\"";
    const Left left = rows_left(section, size);
    if (left.no_long)
        lines.push_back(table + ", " + place(left.rows, section.rows[left.rows - 1]) +
                        ": LONG value is missing, taken as NULL");
    if (size > left.at)
        lines.push_back(table + ", " + place(left.rows + 1, left.at) +
                        ": row is cut off by the end of the table's data; the remaining " +
                        std::to_string(size - left.at) + " bytes of the table cannot be read");
    lines.push_back(table + ": " + place(left.rows + 1, left.at) +
                    ": the end mark is missing, the table is not complete");
    if (left.rows < 20)
        lines.push_back(table + ": the directory says 20 rows, " + std::to_string(left.rows) + " were found");
}

// What is told of one table of a file that ends at `size`; false when it has no output.
bool tell_cut_table(const Section &section, size_t size, std::vector<std::string> &lines) {
    const std::string offset = "offset " + std::to_string(section.begin);
    if (size >= section.end)
        return true;
    if (size >= section.rows_at) {
        tell_cut_rows(section, size, lines);
        return true;
    }
    lines.push_back("table \"" + section.name + "\": " +
                    (size < section.begin ? "data " + offset + " lies outside the file's data"
                     : size == section.begin
                         ? "has no data at " + offset
                         : "column list of 4 columns at " + offset + " does not fit its data"));
    return false;
}

// What stands before the cut is converted as it was, and each line of what is told follows from the place of
// the cut.
TEST(Damage, TruncationKeepsTheRowsBeforeIt) {
    const Bytes bytes = sample();
    const Converted whole = convert(bytes);
    ASSERT_EQ(whole.a.size(), 21U);
    ASSERT_EQ(whole.b.size(), 21U);
    const std::vector<Section> sections = sections_of(bytes);
    for (size_t size = 1; size < bytes.size(); size += size < 1400 ? 97 : 13) {
        const Converted cut = convert(bytes.substr(0, size));
        std::vector<std::string> lines;
        const size_t listed = size < 1024 ? 0 : std::min<size_t>(2, (size - 1024) / 56);
        if (size < 324) {
            lines = {size < 6 ? "not a dump file" : "ends inside its header"};
        } else {
            if (listed < 2)
                lines.push_back("header says 2 tables, the directory names " + std::to_string(listed));
            if (listed == 0)
                lines.push_back("holds no tables: its unload did not finish");
        }
        std::vector<std::string> a, b;
        if (listed > 0 && tell_cut_table(sections[0], size, lines))
            a = lines_left(whole.a, rows_left(sections[0], size));
        if (listed > 1 && tell_cut_table(sections[1], size, lines))
            b = lines_left(whole.b, rows_left(sections[1], size));
        std::string expected;
        for (const std::string &line : lines)
            expected += "vexlo-convert: FILE: " + line + "\n";
        if (size < 324)
            expected += "vexlo-convert: no dump file was given\n";
        EXPECT_EQ(cut.said, expected) << size;
        EXPECT_EQ(cut.result.status, size < 324 ? 2 : 1) << size;
        EXPECT_EQ(cut.result.out, "") << size;
        EXPECT_EQ(cut.a, a) << size;
        EXPECT_EQ(cut.b, b) << size;
    }
}

// One byte of the first row, what is told of it, and the row that comes in place of the first, if any.
struct DamagedByte {
    size_t at; // in the row
    char byte;
    std::string told;
    std::string row;
};

TEST(Damage, SingleBytesAreToldByWhatTheyCost) {
    const Bytes bytes = sample();
    const Converted whole = convert(bytes);
    const std::string lost = "; 47 bytes skipped\n",
                      first = "vexlo-convert: FILE: table \"A\", row 1, offset 1728: ",
                      count = "vexlo-convert: FILE: table \"A\": the directory says 20 rows, 19 were found\n";
    const std::string length = first + "a value of a length that its column cannot have" + lost + count;
    const DamagedByte damages[] = {
        {1, 0x20, length, ""},
        {4, 9, length, ""},
        {13, 13,
         first + "column \"BORN\": 7 bytes 78640D01010101 are no DATE, taken as NULL\n"
                 "vexlo-convert: FILE: table \"A\": column \"BORN\": 1 values could not be decoded, taken as "
                 "NULL\n",
         "0,NAME,,some textand more\r"},
        {25, 0x7F, first + "row is cut off by the end of the table's data" + lost + count, ""},
        {5, 'X', "", "0,XAME,2000-01-01T00:00:00,some textand more\r"},
        {20, 1, first + "more entries than columns" + lost + count, ""},
    };
    for (const DamagedByte &damage : damages) {
        Bytes damaged = bytes;
        damaged[ROWS_OF_A + damage.at] = damage.byte;
        const Converted found = convert(damaged);
        std::vector<std::string> expected = whole.a;
        expected[1] = damage.row;
        if (damage.row.empty())
            expected.erase(expected.begin() + 1);
        EXPECT_EQ(found.said, damage.told) << damage.at;
        EXPECT_EQ(found.result.status, damage.told.empty() ? 0 : 1) << damage.at;
        EXPECT_EQ(found.a, expected) << damage.at;
        EXPECT_EQ(found.b, whole.b) << damage.at;
    }
}

// A byte of one table's rows costs few of them, and nothing of another table; it is told unless it only makes
// another value of its type.
TEST(Damage, SingleBytesCostFewRowsOfTheirTable) {
    const Bytes bytes = sample();
    const Converted whole = convert(bytes);
    const size_t end_of_a = sections_of(bytes)[0].rows[20];
    std::mt19937 random(1);
    for (int i = 0; i < 40; ++i) {
        Bytes damaged = bytes;
        const size_t at = ROWS_OF_A + random() % (end_of_a - ROWS_OF_A);
        damaged[at] = static_cast<char>(damaged[at] ^ static_cast<char>(1 + random() % 255));
        const Converted found = convert(damaged);
        EXPECT_LE(missing(whole.a, found.a), 10U) << at;
        EXPECT_LE(missing(found.a, whole.a), 10U) << at;
        EXPECT_EQ(found.b, whole.b) << at;
        EXPECT_EQ(found.result.out, "") << at;
        EXPECT_EQ(found.result.status, found.said.empty() ? 0 : 1) << at;
        EXPECT_TRUE(!found.said.empty() || (found.a.size() == 21 && missing(whole.a, found.a) <= 1)) << at;
        for (const std::string &line : lines_in(found.said))
            EXPECT_TRUE(line.starts_with("vexlo-convert: FILE: table \"A\"")) << at << ": " << line;
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
