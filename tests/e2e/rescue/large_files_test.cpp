// Files beyond 4 GiB, bigfiles beyond 32 GiB, and segments over several files, the dictionary's among them.
#include "recovered_fixture.h"

namespace {

using namespace sample;
using namespace vexlo_test;

using LargeFiles = Recovered;

TEST_F(LargeFiles, RowsBeyondFourGibibytesComeBack) {
    TablespaceDef users;
    users.first_block = 600000; // at 4.6 GiB
    open({}, users);
    const size_t t = add("FAR", {number_column("ID"), varchar2_column("NAME", 2000)});
    for (int i = 1; i <= 20; i++) {
        RowPlacement placement;
        placement.migrated = i % 5 == 0;
        db_->insert(t, {number(i), text(std::string(1500, 'x'))}, placement);
    }
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    EXPECT_EQ(column("FAR", "ID"), numbers(20));
}

TEST_F(LargeFiles, RowsOfABigfileBeyondThirtyTwoGibibytesComeBack) {
    TablespaceDef users;
    users.bigfile = true;
    users.first_block = 4300000;
    open({}, users);
    const size_t t = add("FAR", {number_column("ID")});
    RowPlacement migrated;
    migrated.migrated = true;
    db_->insert(t, {number(1)});
    db_->insert(t, {number(2)}, migrated);
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    EXPECT_EQ(column("FAR", "ID"), numbers(2));
}

TEST_F(LargeFiles, DictionaryOverSeveralFilesIsReadWhole) {
    DatabaseOptions options;
    options.dictionary_files = 3;
    open(options);
    for (int i = 1; i <= 150; i++)
        db_->insert(add("T" + std::to_string(i), {number_column("ID")}), {number(i)});
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    for (int i = 1; i <= 150; i++)
        EXPECT_EQ(column("T" + std::to_string(i), "ID"), csv_row{std::to_string(i)});
}

TEST_F(LargeFiles, ChainsGoFromFileToFile) {
    open({}, 3);
    const size_t t =
        add("CHAINED", {number_column("ID"), varchar2_column("A", 4000), varchar2_column("B", 4000),
                        varchar2_column("C", 4000), number_column("LAST")});
    for (int i = 1; i <= 30; i++)
        db_->insert(t, {number(i), text(std::string(3900, 'a')), text(std::string(3800, 'b')),
                        text(std::string(3700, 'c')), number(-i)});
    unload();
    EXPECT_EQ(column("CHAINED", "ID"), numbers(30));
    for (const csv_row &row : rows("CHAINED")) {
        EXPECT_EQ(row[1], std::string(3900, 'a'));
        EXPECT_EQ(row[3], std::string(3700, 'c'));
        EXPECT_EQ(row[4], "-" + *row[0]);
    }
}

} // namespace
