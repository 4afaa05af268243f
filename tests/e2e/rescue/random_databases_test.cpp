// Random databases come back as they were written, inside the console program's limits and beyond them.
#include <algorithm>

#include "recovered_fixture.h"
#include "sample/random_database.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class RandomDatabases : public testing::TestWithParam<uint32_t> {};

TEST_P(RandomDatabases, EveryRowOfEveryTableComesBack) {
    for (const bool beyond_console : {false, true}) {
        SCOPED_TRACE(beyond_console ? "beyond the console" : "within the console");
        const scratch_dir dir;
        RandomDatabaseOptions options;
        options.seed = GetParam();
        options.beyond_console = beyond_console;
        const std::vector<ExpectedTable> tables = write_random_database(dir.file("db"), options);
        const run_result got = run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--quiet"}));
        EXPECT_EQ(got.status, 0) << got.describe();
        for (const ExpectedTable &t : tables) {
            const std::string name = t.owner + "." + t.name + ".csv";
            SCOPED_TRACE(name);
            ASSERT_TRUE(file_exists(dir.file("out/" + name))) << got.describe();
            std::vector<csv_row> rows = parse_csv(read_text(dir.file("out/" + name)));
            EXPECT_EQ(rows.at(0), csv_row(t.columns.begin(), t.columns.end()));
            rows.erase(rows.begin());
            EXPECT_EQ(rows.size(), t.rows.size());
            const auto [other, wanted] =
                std::mismatch(rows.begin(), rows.end(), t.rows.begin(), t.rows.end());
            EXPECT_TRUE(other == rows.end() && wanted == t.rows.end()) << "row " << other - rows.begin();
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomDatabases, testing::Range(101U, 116U));

} // namespace
