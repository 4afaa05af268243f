#include <gtest/gtest.h>

#include "reader.h"
#include "sample/random_database.h"

using namespace sample;
using namespace sample_test;

namespace {

std::vector<std::filesystem::path> datafiles(const std::filesystem::path &dir) {
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(dir))
        if (entry.path().extension() == ".dbf")
            files.push_back(entry.path());
    std::sort(files.begin(), files.end());
    return files;
}

std::vector<ExpectedTable> write(const TempDir &dir, uint32_t seed, bool beyond_console = false) {
    RandomDatabaseOptions options;
    options.seed = seed;
    options.beyond_console = options.lobs = beyond_console;
    return write_random_database(dir.path(), options);
}

TEST(RandomDatabase, SameSeedGivesTheSameDatabase) {
    TempDir first, second;
    const std::vector<ExpectedTable> tables = write(first, 7), again = write(second, 7);
    ASSERT_EQ(tables.size(), again.size());
    for (size_t i = 0; i < tables.size(); i++) {
        EXPECT_EQ(tables[i].columns, again[i].columns);
        EXPECT_EQ(tables[i].rows, again[i].rows);
    }
    for (const auto &file : datafiles(first.path()))
        EXPECT_EQ(read_file(file), read_file(second.path() / file.filename())) << file;
}

TEST(RandomDatabase, OtherSeedGivesAnotherDatabase) {
    TempDir first, second;
    EXPECT_NE(write(first, 1).front().rows, write(second, 2).front().rows);
}

TEST(RandomDatabase, BlocksAreSoundAndRowsHaveAValueForEveryColumn) {
    for (bool beyond_console : {false, true}) {
        TempDir dir;
        const std::vector<ExpectedTable> tables = write(dir, 3, beyond_console);
        EXPECT_GE(tables.size(), 8U);
        EXPECT_EQ(Reader(datafiles(dir.path())).bad_blocks(), 0);
        for (const ExpectedTable &t : tables)
            for (const ExpectedRow &row : t.rows)
                ASSERT_EQ(row.size(), t.columns.size()) << t.name;
    }
}

std::string shown(const ColumnDef &column, uint32_t seed, TextStorage storage, size_t longest,
                  Value *stored) {
    RandomSource random(seed);
    RandomCell cell = random_cell(random, column, storage, longest);
    *stored = cell.stored;
    return cell.shown.value();
}

TEST(RandomValue, TextIsWhatTheStoredBytesSay) {
    Value stored;
    for (uint32_t seed = 1; seed <= 200; seed++) {
        const std::string utf8 = shown(varchar2_column("V", 40), seed, TextStorage::utf8, 40, &stored);
        EXPECT_EQ(to_text(stored), utf8);
        EXPECT_LE(utf8.size(), 40U);
        const std::string fixed = shown(char_column("C", 12), seed, TextStorage::utf8, 100, &stored);
        EXPECT_EQ(to_text(stored), fixed);
        EXPECT_GE(fixed.size(), 12U);
        const std::string digits = shown(number_column("N"), seed, TextStorage::utf8, 40, &stored);
        EXPECT_EQ(stored, decimal(digits));
        shown(varchar2_column("L", 40), seed, TextStorage::latin1, 40, &stored);
        EXPECT_LE(stored->size(), 40U);
    }
}

TEST(RandomValue, RefusesTypesWithoutRandomValues) {
    RandomSource random(1);
    EXPECT_THROW(random_cell(random, typed_column("X", 112, 4000), TextStorage::utf8, 10),
                 std::invalid_argument);
}

} // namespace
