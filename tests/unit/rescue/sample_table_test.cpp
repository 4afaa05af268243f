#include "rescue/sample_table.h"
#include "rescue_fixture.h"

using namespace rescue_test;

namespace {

class SampleTableTest : public RescueTest {
protected:
    // Ends the database and samples the table of that name.
    vexlo::TableSample sample_of(const std::string &name) {
        db().finish();
        vexlo::RescueOptions options;
        options.where.files = {directory()};
        vexlo::Console console("test");
        vexlo::Report report(console);
        const vexlo::OpenDatabase database(options, report);
        for (const vexlo::PlannedTable &table : vexlo::plan_tables(database, options))
            if (table.name == name)
                return vexlo::sample_table(
                    database, table, vexlo::make_layout(database.dictionary, *table.table), options.reading);
        throw std::runtime_error("no table " + name);
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
