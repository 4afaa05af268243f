// Two programs, one truth: what vexlo and vexlo-convert make of a sound database, vexlo-rescue makes of it
// too.
#include <algorithm>

#include <gtest/gtest.h>

#include "csv_reader.h"
#include "programs.h"
#include "rescue_program.h"
#include "sample/random_database.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr uint32_t SEEDS_A_TEST = 20;

class TwoPrograms : public testing::TestWithParam<uint32_t> {
protected:
    // Unloads and converts all tables with the two programs, into out/vexlo.
    void convert(const scratch_dir &dir, const std::vector<ExpectedTable> &tables) {
        std::vector<std::string> commands = {"export dict", "load dict"};
        std::vector<std::string> convert = {
            program_path("vexlo-convert"), "--quiet", "--to", "csv", "--output", dir.file("vexlo")};
        for (const ExpectedTable &table : tables) {
            commands.push_back("unload table \"" + table.owner + "\".\"" + table.name + "\"");
            convert.push_back(dir.file("db/data/" + table.owner + "_" + table.name + ".dat"));
        }
        const run_result unloaded = run_vexlo(dir.file("db"), commands);
        ASSERT_EQ(unloaded.status, 0) << unloaded.describe();
        const run_result converted = run_process(convert);
        ASSERT_EQ(converted.status, 0) << converted.describe();
    }
};

// The records in order of their text where the order of partitions decides on theirs.
std::vector<csv_row> in_order(std::vector<csv_row> rows, bool partitioned) {
    if (partitioned)
        std::sort(rows.begin(), rows.end());
    return rows;
}

// The records with their columns in the order of `names`; the first record is the header.
std::vector<csv_row> by_name(const std::vector<csv_row> &rows, const csv_row &names) {
    std::vector<csv_row> picked;
    for (const csv_row &row : rows) {
        csv_row &out = picked.emplace_back();
        for (const auto &name : names) {
            const auto column = std::find(rows[0].begin(), rows[0].end(), name);
            out.push_back(column == rows[0].end() ? "no such column"
                                                  : row.at(static_cast<size_t>(column - rows[0].begin())));
        }
    }
    return picked;
}

TEST_P(TwoPrograms, GiveTheSameRowsOfRandomDatabases) {
    constexpr uint32_t SANITIZED_SEEDS = 3; // where a database takes a quarter of a minute
    if (GetParam() >= SANITIZED_SEEDS && is_sanitized(program_path("vexlo-rescue")))
        GTEST_SKIP() << "sanitizers: the first databases are enough";
    for (uint32_t i = 0; i < SEEDS_A_TEST; ++i) {
        const uint32_t seed = GetParam() * SEEDS_A_TEST + i + 1;
        SCOPED_TRACE("seed " + std::to_string(seed));
        const scratch_dir dir;
        const std::vector<ExpectedTable> tables = write_random_database(dir.file("db"), {.seed = seed});
        ASSERT_NO_FATAL_FAILURE(convert(dir, tables));
        const run_result rescued =
            run_rescue(unload_arguments(dir.file("db"), dir.file("rescue"), {"--all-owners", "--quiet"}));
        EXPECT_LE(rescued.status, 1) << rescued.describe();
        for (const ExpectedTable &table : tables) {
            const std::string name = table.owner + "." + table.name + ".csv";
            SCOPED_TRACE(name);
            ASSERT_TRUE(file_exists(dir.file("rescue/" + name))) << rescued.describe();
            const std::string ours = read_text(dir.file("rescue/" + name));
            const std::string theirs = read_text(dir.file("vexlo/" + name));
            if (ours == theirs)
                continue;
            std::vector<csv_row> our_rows = parse_csv(ours), their_rows = parse_csv(theirs);
            EXPECT_EQ(our_rows[0], csv_row(table.columns.begin(), table.columns.end()));
            EXPECT_EQ(in_order(our_rows, table.partitioned),
                      in_order(by_name(their_rows, our_rows[0]), table.partitioned));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, TwoPrograms, testing::Range(0U, 10U));

class BeyondTheConsole : public testing::TestWithParam<uint32_t> {};

TEST_P(BeyondTheConsole, EveryRowOfRandomDatabasesComesBack) {
    for (uint32_t i = 0; i < SEEDS_A_TEST; ++i) {
        const uint32_t seed = GetParam() * SEEDS_A_TEST + i + 1;
        SCOPED_TRACE("seed " + std::to_string(seed));
        const scratch_dir dir;
        const std::vector<ExpectedTable> tables =
            write_random_database(dir.file("db"), {.seed = seed, .beyond_console = true});
        const run_result rescued = run_rescue(
            unload_arguments(dir.file("db"), dir.file("rescue"), {"--all-owners", "--quiet", "--jobs", "2"}));
        EXPECT_LE(rescued.status, 1) << rescued.describe();
        for (const ExpectedTable &table : tables) {
            const std::string name = table.owner + "." + table.name + ".csv";
            SCOPED_TRACE(name);
            ASSERT_TRUE(file_exists(dir.file("rescue/" + name))) << rescued.describe();
            std::vector<csv_row> rows = parse_csv(read_text(dir.file("rescue/" + name)));
            EXPECT_EQ(rows[0], csv_row(table.columns.begin(), table.columns.end()));
            rows.erase(rows.begin());
            EXPECT_EQ(rows, table.rows);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, BeyondTheConsole, testing::Range(0U, 3U));

} // namespace
