// Damaged files through the whole program: it ends by itself with a status of its own and leaves only
// finished files.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "dump_writer.h"
#include "program.h"
#include "temporary_dir.h"

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

void expect_sound_end(const Bytes &bytes, const std::string &what) {
    TemporaryDir dir;
    write_file(dir / "a.dat", bytes);
    for (const char *format : {"csv", "jsonl"}) {
        const ProgramResult result = run_convert({"--to", format, "--output", dir / "out", dir / "a.dat"});
        EXPECT_GE(result.status, 0) << what << " " << result.err;
        EXPECT_LE(result.status, 2) << what << " " << result.err;
        EXPECT_TRUE(result.status == 0 || !result.err.empty()) << what;
    }
    for (const auto &entry : std::filesystem::recursive_directory_iterator(dir / "out"))
        EXPECT_NE(entry.path().extension(), ".part") << what;
}

TEST(Damage, Truncation) {
    const Bytes bytes = sample();
    for (size_t size = 1; size < bytes.size(); size += 97)
        expect_sound_end(bytes.substr(0, size), "size " + std::to_string(size));
}

TEST(Damage, SingleBytes) {
    const Bytes bytes = sample();
    std::mt19937 random(1);
    for (int i = 0; i < 40; ++i) {
        Bytes damaged = bytes;
        const size_t at = random() % bytes.size();
        damaged[at] = static_cast<char>(random());
        expect_sound_end(damaged, "byte " + std::to_string(at));
    }
}

TEST(Damage, LineTellsTableRowAndOffset) {
    Dump dump;
    dump.tables = {{.name = "T",
                    .columns = {{"D", 12, 7}},
                    .rows = {row({value(ora_date(2000, 1, 1))}), row({value(ora_date(2000, 13, 1))})}}};
    TemporaryDir dir;
    write_file(dir / "a.dat", dump_bytes(dump));
    const ProgramResult result = run_convert({"--to", "csv", "--output", "-", dir / "a.dat"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, "D\r\n2000-01-01T00:00:00\r\n\r\n");
    EXPECT_EQ(result.err,
              "vexlo-convert: " + (dir / "a.dat") +
                  ": table \"T\", row 2, offset 1595: column \"D\": 7 bytes 78640D01010101 are no DATE, "
                  "taken as NULL\n");
}

TEST(Damage, CountsThatDisagreeAreTold) {
    Dump dump;
    dump.tables = {
        {.name = "T", .columns = {{"D", 12, 7}}, .rows = {row({value(ora_date(2000, 1, 1))})}, .nrows = 5}};
    TemporaryDir dir;
    write_file(dir / "a.dat", dump_bytes(dump));
    const ProgramResult result = run_convert({"--to", "csv", "--output", "-", dir / "a.dat"});
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.err.find("the directory says 5 rows, 1 were found"), std::string::npos);
}

TEST(Damage, ManyLossesAreNotAllListed) {
    DumpTable table{.name = "T", .columns = {{"D", 12, 7}}};
    for (int i = 0; i < 1000; ++i)
        table.rows.push_back(row({value(ora_date(2000, 13, 1))}));
    Dump dump;
    dump.tables = {table};
    TemporaryDir dir;
    write_file(dir / "a.dat", dump_bytes(dump));
    const ProgramResult result = run_convert({"--to", "csv", "--output", "-", dir / "a.dat"});
    EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 101);
    EXPECT_NE(result.err.find("900 more losses"), std::string::npos);
}

} // namespace
