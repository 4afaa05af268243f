#include <map>

#include "rescue/sample_table.h"
#include "rescue_fixture.h"

using namespace rescue_test;

namespace {

class SampleTableTest : public RescueTest {
protected:
    // Ends the database and samples its tables, one after the other; returns what is found by their names.
    std::map<std::string, vexlo::TableSample> samples() {
        db().finish();
        vexlo::RescueOptions options;
        options.where.files = {directory()};
        vexlo::Console console("test");
        vexlo::Report report(console);
        const vexlo::OpenDatabase database(options, report);
        vexlo::BlockBudgets budgets(database.files);
        std::map<std::string, vexlo::TableSample> found;
        for (const vexlo::PlannedTable &table : vexlo::plan_tables(database, options))
            found[table.name] =
                vexlo::sample_table(database, table, vexlo::make_layout(database.dictionary, *table.table),
                                    options.reading, budgets);
        return found;
    }
    vexlo::TableSample sample_of(const std::string &name) { return samples().at(name); }
    // Makes the first extent of a table one that has all blocks of the tablespace. The database is ended.
    void claim_all(size_t table) {
        constexpr size_t FIRST_EXTENT = 280; // in a segment header
        const uint64_t end = std::filesystem::file_size(path_of(USERS_FILE)) / DB_BLOCK_SIZE;
        sample::Bytes extent(8);
        sample::store_le32(extent.data(), sample::make_rdba(2, 2));
        sample::store_le32(extent.data() + 4, static_cast<uint32_t>(end) - 2);
        patch(USERS_FILE, header_block(table), FIRST_EXTENT, extent);
    }
};

} // namespace

TEST_F(SampleTableTest, SmallTablesAreCounted) {
    const size_t table = add_table("T");
    db().insert(table, {sample::number(1), sample::text("four")});
    db().insert(table, {sample::number(100), sample::null_value()});
    const vexlo::TableSample found = sample_of("T");
    EXPECT_TRUE(found.is_whole());
    EXPECT_EQ(found.rows, 2u);
    EXPECT_EQ(found.bytes, 2u + 4 + 2); // the stored forms of 1, "four" and 100
    EXPECT_EQ(found.suspect, 0u);
    EXPECT_TRUE(found.tally.losses.empty());
}

TEST_F(SampleTableTest, LargeTablesAreEstimatedFromSomeOfTheirBlocks) {
    const size_t table = add_table("T");
    constexpr int ROWS = 4000; // about four a block
    for (int i = 1; i <= ROWS; ++i)
        db().insert(table, {sample::number(i), sample::text(std::string(1700, 'n'))});
    const vexlo::TableSample found = sample_of("T");
    EXPECT_FALSE(found.is_whole());
    EXPECT_GE(found.sampled, vexlo::SAMPLED_BLOCKS);
    EXPECT_LT(found.sampled, 2 * vexlo::SAMPLED_BLOCKS);
    EXPECT_NEAR(static_cast<double>(found.rows), ROWS, ROWS * 0.1);
    EXPECT_NEAR(static_cast<double>(found.bytes), ROWS * 1703.0, ROWS * 170.0);
}

TEST_F(SampleTableTest, DamageIsToldOfTheBlocksLookedAt) {
    const size_t table = add_table("T");
    insert_rows(table, 1, 3000);
    db().finish();
    destroy(USERS_FILE, blocks_of_type(USERS_FILE, 0x06, object_of(table)).at(1));
    EXPECT_EQ(sample_of("T").tally.losses.size(), 1u);
}

TEST_F(SampleTableTest, TablesThatClaimTheSameBlocksAgainAndAgainAreLookedFor) {
    std::vector<size_t> tables;
    for (int i = 0; i < 4; ++i) {
        tables.push_back(add_table("T" + std::to_string(i)));
        insert_rows(tables.back(), 1, 10 * (i + 1));
    }
    db().finish();
    for (const size_t table : tables)
        claim_all(table);
    uint64_t blocks = 0, i = 0;
    for (const auto &[name, found] : samples()) {
        EXPECT_EQ(found.rows, 10 * ++i) << name;
        EXPECT_EQ(found.tally.losses.empty(), i <= 2) << name; // two times all blocks may be led to
        blocks += found.blocks;
    }
    EXPECT_LE(blocks, 2 * std::filesystem::file_size(path_of(USERS_FILE)) / DB_BLOCK_SIZE);
}
