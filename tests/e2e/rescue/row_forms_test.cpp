// Rows in every form in which blocks hold them.
#include "recovered_fixture.h"

namespace {

using namespace sample;
using namespace vexlo_test;

using RowForms = Recovered;

std::string pattern(size_t length, size_t seed) {
    std::string s(length, ' ');
    for (size_t i = 0; i < length; i++)
        s[i] = static_cast<char>('a' + (i / 26 + i + seed) % 26);
    return s;
}

TEST_F(RowForms, DependencyScnsOfSixAndOfEightBytes) {
    for (const size_t bytes : {6U, 8U}) {
        SCOPED_TRACE(bytes);
        DatabaseOptions options;
        options.dependency_bytes = bytes;
        options.compatibility = bytes == 8 ? 0x0C200000 : 0x0B200400;
        open(options);
        TableDef def = table("T" + std::to_string(bytes), {number_column("ID"), varchar2_column("NAME", 30)});
        def.flags = TABLE_ROW_DEPENDENCIES;
        const size_t t = db_->add_table(def);
        for (int i = 1; i <= 50; i++) {
            RowPlacement placement;
            placement.migrated = i % 10 == 0;
            if (i % 10 == 5)
                placement.cuts = {{1, 0}};
            db_->insert(t, {number(i), text("name " + std::to_string(i))}, placement);
        }
        finished_ = false;
        unload({"--overwrite"});
        EXPECT_EQ(column(def.name, "ID"), numbers(50));
        EXPECT_EQ(column(def.name, "NAME").at(49), "name 50");
    }
}

TEST_F(RowForms, ThreeHundredColumnsHoweverTheyAreCut) {
    open();
    std::vector<ColumnDef> columns;
    Row row;
    csv_row expected;
    for (int i = 1; i <= 300; i++) {
        columns.push_back(number_column("C" + std::to_string(i)));
        row.push_back(i % 7 == 0 ? null_value() : number(i));
        expected.push_back(i % 7 == 0 ? csv_row::value_type() : std::to_string(i));
    }
    const size_t t = add("WIDE", columns);
    RowPlacement from_start;
    from_start.cut_order = CutOrder::from_start;
    RowPlacement moved;
    moved.migrated = true;
    for (const RowPlacement &placement : {RowPlacement(), from_start, moved})
        db_->insert(t, row, placement);
    unload();
    EXPECT_EQ(rows("WIDE"), (std::vector<csv_row>(3, expected)));
}

TEST_F(RowForms, LongOfFiveAndOfNineMegabytes) {
    open({}, 2);
    const size_t t = add("BOOKS", {number_column("ID"), typed_column("BOOK", 8, 0), number_column("LAST")});
    const std::string five = pattern(5000000, 1), nine = pattern(9000000, 2);
    RowPlacement from_start;
    from_start.cut_order = CutOrder::from_start;
    db_->insert(t, {number(1), text(five), number(-1)});
    db_->insert(t, {number(2), text(nine), number(-2)}, from_start);
    db_->insert(t, {number(3), null_value(), number(-3)});
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    const std::vector<csv_row> got = rows("BOOKS");
    ASSERT_EQ(got.size(), 3U);
    EXPECT_TRUE(got[0][1] == five);
    EXPECT_TRUE(got[1][1] == nine);
    EXPECT_EQ(got[2], (csv_row{"3", std::nullopt, "-3"}));
    EXPECT_EQ(column("BOOKS", "LAST"), (csv_row{"-1", "-2", "-3"}));
}

TEST_F(RowForms, ValueCutOverPiecesKeepsItsColumnAndThoseBehindIt) {
    open();
    const size_t t = add("CUT", {number_column("ID"), varchar2_column("A", 200), varchar2_column("B", 200),
                                 number_column("LAST")});
    RowPlacement twice;
    twice.cuts = {{1, 50}, {1, 120}, {2, 10}};
    twice.piece_per_block = true;
    RowPlacement moved = twice;
    moved.migrated = true;
    db_->insert(t, {number(1), text(pattern(150, 1)), text(pattern(150, 2)), number(7)}, twice);
    db_->insert(t, {number(2), text(pattern(150, 1)), text(pattern(150, 2)), number(7)}, moved);
    unload();
    EXPECT_EQ(rows("CUT"), (std::vector<csv_row>{{"1", pattern(150, 1), pattern(150, 2), "7"},
                                                 {"2", pattern(150, 1), pattern(150, 2), "7"}}));
}

TEST_F(RowForms, ClusterKeyThatMigratedOrGoesOnElsewhereIsFollowed) {
    open();
    ClusterDef cluster;
    cluster.owner = scott_;
    cluster.name = "C";
    cluster.tablespace = users_;
    cluster.key = {number_column("K1"), varchar2_column("K2", 20)};
    const size_t c = db_->add_cluster(cluster);
    TableDef def = table("MEMBER", {number_column("K1"), varchar2_column("K2", 20), number_column("ID")});
    def.cluster = c;
    def.key_columns = {"K1", "K2"};
    const size_t t = db_->add_table(def);
    const auto add_key = [&](int k, KeyForm form) {
        const Value second = text("key " + std::to_string(k));
        db_->begin_key(c, {number(k), second}, form);
        for (int id = 1; id <= 2; id++)
            db_->insert_member(t, {number(k), second, number(100 * k + id)});
    };
    add_key(1, KeyForm::whole);
    add_key(2, KeyForm::migrated);
    add_key(3, KeyForm::chained);
    add_key(4, KeyForm::whole);
    unload();
    EXPECT_EQ(result_.status, 0) << result_.describe();
    std::vector<csv_row> expected;
    for (int k = 1; k <= 4; k++)
        for (int id = 1; id <= 2; id++)
            expected.push_back({std::to_string(k), "key " + std::to_string(k), std::to_string(100 * k + id)});
    EXPECT_EQ(rows("MEMBER"), expected);
}

} // namespace
