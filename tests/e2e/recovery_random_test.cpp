// Random databases: what the two programs recover is what was put in, table by table.
#include <algorithm>

#include <gtest/gtest.h>

#include "csv_reader.h"
#include "process.h"
#include "programs.h"
#include "sample/random_database.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class RandomRecovery : public testing::TestWithParam<uint32_t> {
protected:
    void unload(const std::vector<ExpectedTable> &tables) {
        std::vector<std::string> commands = {"export dict", "load dict"};
        for (const ExpectedTable &t : tables)
            commands.push_back("unload table \"" + t.owner + "\".\"" + t.name + "\"");
        const run_result got = run_vexlo(dir_.file("db"), commands);
        ASSERT_EQ(got.status, 0) << got.describe();
        ASSERT_EQ(got.err.find("error"), std::string::npos) << got.err;
    }

    std::vector<csv_row> converted(const ExpectedTable &t) {
        const run_result csv = run_process({program_path("vexlo-convert"), "--to", "csv", "--output", "-",
                                            dir_.file("db/data/" + t.owner + "_" + t.name + ".dat")});
        EXPECT_EQ(csv.status, 0) << csv.describe();
        return parse_csv(csv.out);
    }

    scratch_dir dir_;
};

// The rows with their values in the order of `columns`; the header names those that they have.
std::vector<csv_row> in_columns(const std::vector<csv_row> &file, const std::vector<std::string> &columns) {
    const csv_row &header = file.at(0);
    EXPECT_EQ(header.size(), columns.size());
    std::vector<csv_row> rows(file.size() - 1);
    for (const std::string &column : columns) {
        const auto place = std::find(header.begin(), header.end(), column);
        if (place == header.end()) {
            ADD_FAILURE() << "no column " << column;
            continue;
        }
        for (size_t r = 0; r < rows.size(); r++)
            rows[r].push_back(file[r + 1].at(static_cast<size_t>(place - header.begin())));
    }
    return rows;
}

// The order of partitions is that of the sorted dictionary file; rows of a partitioned table are compared in
// order of their text.
std::vector<csv_row> in_order(std::vector<csv_row> rows, bool partitioned) {
    if (partitioned)
        std::sort(rows.begin(), rows.end());
    return rows;
}

// Shows the first row that differs, not all of them.
void expect_rows(const std::vector<csv_row> &got, const std::vector<csv_row> &expected) {
    EXPECT_EQ(got.size(), expected.size());
    const auto [other, wanted] = std::mismatch(got.begin(), got.end(), expected.begin(), expected.end());
    if (other != got.end() && wanted != expected.end()) {
        EXPECT_EQ(*other, *wanted) << "row " << other - got.begin();
    }
}

TEST_P(RandomRecovery, EveryRowComesBack) {
    RandomDatabaseOptions options;
    options.seed = GetParam();
    const std::vector<ExpectedTable> tables = write_random_database(dir_.file("db"), options);
    ASSERT_NO_FATAL_FAILURE(unload(tables));
    for (const ExpectedTable &t : tables) {
        SCOPED_TRACE(t.owner + "." + t.name);
        const std::vector<csv_row> file = converted(t);
        ASSERT_FALSE(file.empty());
        expect_rows(in_order(in_columns(file, t.columns), t.partitioned), in_order(t.rows, t.partitioned));
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomRecovery, testing::Range(1U, 21U));

} // namespace
