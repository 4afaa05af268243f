// Tables of which the dictionary has lost something: what their blocks and the rest of it tell.
#include <set>

#include "recovered_fixture.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr char SEARCHED[] = "row of TAB$ is lost, blocks were found by going through the files";

class LostDictionary : public Recovered {
protected:
    // Begins the database; the rows of TAB$, OBJ$ and COL$ of the tables named below are left out.
    void open_losing(DatabaseOptions options = {}) {
        options.dictionary_hook = [this](std::string_view table, Row &row, RowPlacement &) {
            const std::set<Value> &lost = table == "TAB$" ? table_rows_ : object_rows_;
            return (table != "TAB$" && table != "OBJ$") || !lost.contains(row.at(0));
        };
        open(std::move(options));
    }
    // TAB$ without its key begins with the data object number, OBJ$ with the object number.
    void lose_table_row(size_t t) { table_rows_.insert(number(db_->model().tables[t].place.objd)); }
    void lose_object_row(size_t t) { object_rows_.insert(number(db_->model().tables[t].place.objn)); }

    size_t add_rows(const std::string &name, int rows) {
        const size_t t = add(name, {number_column("ID"), varchar2_column("NAME", 2000)});
        for (int i = 1; i <= rows; i++)
            db_->insert(t, {number(i), text(std::string(1500, 'n'))});
        return t;
    }

    std::set<Value> table_rows_, object_rows_;
};

TEST_F(LostDictionary, TableWithoutItsRowIsFoundByItsDataObject) {
    open_losing();
    lose_table_row(add_rows("T", 40));
    add_rows("OTHER", 30);
    unload();
    EXPECT_EQ(column("T", "ID"), numbers(40));
    EXPECT_EQ(column("OTHER", "ID"), numbers(30));
    EXPECT_EQ(record("T").at("status"), "partial");
    EXPECT_EQ(record("T").at("reason"), SEARCHED);
    EXPECT_EQ(record("OTHER").at("status"), "complete");
    EXPECT_EQ(result_.status, 1);
}

TEST_F(LostDictionary, TableWithoutAnyRowButThoseOfItsColumnsIsFoundByItsObjectNumber) {
    open_losing();
    const size_t t = add_rows("T", 40);
    lose_table_row(t);
    lose_object_row(t);
    unload();
    const std::string name = "OBJ_" + std::to_string(db_->model().tables[t].place.objn);
    const std::vector<csv_row> lines = parse_csv(read_text(dir_.file("out/UNKNOWN." + name + ".csv")));
    ASSERT_EQ(lines.size(), 41U);
    EXPECT_EQ(lines[0], (csv_row{"ID", "NAME"}));
    EXPECT_EQ(lines[40][0], "40");
    EXPECT_EQ(record_of(read_record(dir_.file("out")), "UNKNOWN", name).at("reason"), SEARCHED);
}

TEST_F(LostDictionary, RowDependenciesOfATableThatIsFoundAreToldByItsRows) {
    for (const size_t bytes : {6, 8}) {
        SCOPED_TRACE(bytes);
        table_rows_.clear();
        DatabaseOptions options;
        options.dependency_bytes = bytes;
        open_losing(options);
        TableDef def = table("T", {number_column("ID"), varchar2_column("NAME", 30)});
        def.flags = TABLE_ROW_DEPENDENCIES;
        const size_t t = db_->add_table(def);
        for (int i = 1; i <= 50; i++)
            db_->insert(t, {number(i), text("name " + std::to_string(i))});
        lose_table_row(t);
        finished_ = false;
        unload({"--overwrite"});
        EXPECT_EQ(column("T", "ID"), numbers(50));
        EXPECT_EQ(column("T", "NAME").at(49), "name 50");
    }
}

TEST_F(LostDictionary, PartitionsTellWhereTheRowsAre) {
    open_losing();
    TableDef def = table("T", {number_column("ID")});
    def.partitions = {{"P1", std::nullopt, "10", {}}, {"P2", std::nullopt, "MAXVALUE", {}}};
    const size_t t = db_->add_table(def);
    db_->insert(t, {number(1)}, {}, 0);
    db_->insert(t, {number(2)}, {}, 1);
    lose_table_row(t);
    unload({"--by-partition"});
    EXPECT_EQ(read_text(dir_.file("out/SCOTT.T/P1.csv")), "ID\r\n1\r\n");
    EXPECT_EQ(read_text(dir_.file("out/SCOTT.T/P2.csv")), "ID\r\n2\r\n");
    EXPECT_EQ(result_.status, 0) << result_.describe();
}

TEST_F(LostDictionary, TablesThatCannotBeFoundAreNamedWithTheReason) {
    open_losing();
    ClusterDef cluster;
    cluster.owner = scott_;
    cluster.name = "C";
    cluster.tablespace = users_;
    cluster.key = {number_column("K")};
    const size_t c = db_->add_cluster(cluster);
    TableDef member = table("MEMBER", {number_column("K"), number_column("ID")});
    member.cluster = c;
    member.key_columns = {"K"};
    const size_t m = db_->add_table(member);
    db_->begin_key(c, {number(1)});
    db_->insert_member(m, {number(1), number(2)});
    TableDef empty = table("EMPTY", {number_column("ID")});
    empty.has_segment = false;
    lose_table_row(m);
    lose_table_row(db_->add_table(empty));
    unload();
    EXPECT_EQ(record("MEMBER").at("status"), "skipped");
    EXPECT_EQ(record("MEMBER").at("reason"),
              "row of TAB$ is lost, which tells its rows from others of its cluster");
    EXPECT_EQ(record("EMPTY").at("status"), "skipped");
    EXPECT_EQ(record("EMPTY").at("reason"), "row of TAB$ is lost, and no block of the table is found");
    EXPECT_EQ(result_.status, 1);
}

TEST_F(LostDictionary, TableThatHasLostColumnsIsNotComplete) {
    constexpr size_t NAME = 4; // in COL$ without its key
    DatabaseOptions options;
    options.dictionary_hook = [](std::string_view table, Row &row, RowPlacement &) {
        return table != "COL$" || row.at(NAME) != text("GONE");
    };
    open(options);
    const size_t t = add("T", {number_column("ID"), number_column("GONE"), number_column("LAST")});
    db_->insert(t, {number(1), number(2), number(3)});
    unload();
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1", "3"}}));
    EXPECT_EQ(record("T").at("status"), "partial");
    EXPECT_EQ(record("T").at("reason"), "1 columns lost");
}

TEST_F(LostDictionary, TableWithoutRowAndColumnsIsNamed) {
    uint32_t lost = 0;    // object number of T
    bool at_lost = false; // COL$ has the rows of a table behind that of TAB$
    DatabaseOptions options;
    options.dictionary_hook = [&](std::string_view table, Row &row, RowPlacement &) {
        if (table == "TAB$")
            at_lost = row.at(0) == number(lost);
        return (table != "TAB$" && table != "COL$") || !at_lost;
    };
    open(options);
    lost = db_->model().tables[add_rows("T", 3)].place.objd;
    unload();
    EXPECT_EQ(record("T").at("reason"), "row of TAB$ and columns are lost");
    EXPECT_FALSE(has_output("SCOTT.T.csv"));
}

} // namespace
