// Tables of which the dictionary has lost something: what their blocks and the rest of it tell.
#include <algorithm>
#include <set>

#include "format/byte_order.h"
#include "recovered_fixture.h"
#include "sample/damage.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr char SEARCHED[] = "row of TAB$ is lost, blocks were found by going through the files";

class LostDictionary : public Recovered {
protected:
    // Begins the database; the rows of TAB$, OBJ$ and of partitions that are named below are left out.
    void open_losing(DatabaseOptions options = {}) {
        options.dictionary_hook = [this](std::string_view table, Row &row, RowPlacement &) {
            if (table == "TAB$")
                return !table_rows_.contains(row.at(0));
            if (table == "OBJ$")
                return !object_rows_.contains(row.at(0));
            return !table.ends_with("PART$") || !partition_rows_.contains(row.at(0));
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

    void lose_partition_row(const SegmentPlace &place) { partition_rows_.insert(number(place.objn)); }
    // Nothing but a number tells of the partition then.
    void lose_partition(const SegmentPlace &place) {
        lose_partition_row(place);
        object_rows_.insert(number(place.objn));
    }
    static DatabaseOptions full_dictionary() {
        DatabaseOptions options;
        options.layout.full = true;
        return options;
    }

    // A table of three partitions P1 to P3 with the IDs 1 to 3; each of them has `subpartitions` where there
    // are any, and a row in each.
    size_t add_partitioned(const std::vector<std::string> &subpartitions = {}) {
        TableDef def = table("T", {number_column("ID")});
        for (const char *name : {"P1", "P2", "P3"}) {
            PartitionDef part{name, std::nullopt, "10", {}};
            for (const std::string &sub : subpartitions)
                part.subpartitions.push_back({name + sub, std::nullopt});
            def.partitions.push_back(part);
        }
        const size_t t = db_->add_table(def);
        int id = 0;
        for (size_t part = 0; part < def.partitions.size(); part++)
            for (size_t sub = 0; sub < std::max<size_t>(1, subpartitions.size()); sub++)
                db_->insert(t, {number(++id)}, {}, part, sub);
        return t;
    }
    const PartitionEntry &partition(size_t t, size_t part) const {
        return db_->model().tables[t].partitions.at(part);
    }

    std::set<Value> table_rows_, object_rows_, partition_rows_;
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
    for (const size_t bytes : {6U, 8U}) {
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

TEST_F(LostDictionary, PartitionWithoutItsRowIsFoundByItsDataObject) {
    open_losing();
    lose_partition_row(partition(add_partitioned(), 1).place);
    unload();
    EXPECT_EQ(column("T", "ID"), (csv_row{"1", "3", "2"}));
    EXPECT_EQ(record("T").at("status"), "partial");
    EXPECT_EQ(record("T").at("reason"),
              "1 partitions have lost their rows, blocks were found by going through the files");
    EXPECT_EQ(result_.status, 1);
    const run_result listed = run_rescue({"list", "--files", dir_.file("db/*.dbf")});
    EXPECT_NE(listed.out.find("1 partitions have lost their rows"), std::string::npos) << listed.out;
}

TEST_F(LostDictionary, OutputOfAPartitionThatIsFoundIsPartialAlone) {
    open_losing();
    lose_partition_row(partition(add_partitioned(), 1).place);
    unload({"--by-partition"});
    EXPECT_EQ(read_text(dir_.file("out/SCOTT.T/P2.csv")), "ID\r\n2\r\n");
    std::map<std::string, std::string> states;
    const Json record = read_record(dir_.file("out"));
    for (const Json &entry : record.at("tables"))
        states[entry.at("partition")] = entry.at("status");
    EXPECT_EQ(states, (std::map<std::string, std::string>{
                          {"P1", "complete"}, {"P2", "partial"}, {"P3", "complete"}}));
}

TEST_F(LostDictionary, PartitionWithoutItsRowAndBlocksIsLost) {
    constexpr char TABLE_BLOCK = 6;
    constexpr size_t OBJECT_AT = 24;
    open_losing();
    const size_t t = add_partitioned();
    lose_partition_row(partition(t, 1).place);
    db_->finish();
    finished_ = true;
    const std::string content = read_text(users_file());
    for (size_t at = 0; at < content.size(); at += block_size())
        if (content[at] == TABLE_BLOCK && load_le32(reinterpret_cast<const uint8_t *>(
                                              &content[at + OBJECT_AT])) == partition(t, 1).place.objd)
            zero_block({users_file(), block_size(), static_cast<uint32_t>(at / block_size())});
    unload();
    EXPECT_EQ(column("T", "ID"), (csv_row{"1", "3"}));
    EXPECT_EQ(record("T").at("reason"), "1 partitions lost");
    unload({"--by-partition", "--overwrite"});
    const Json tables = read_record(dir_.file("out")).at("tables");
    ASSERT_EQ(tables.size(), 3U);
    EXPECT_EQ(tables[2].at("partition"), "P2");
    EXPECT_EQ(tables[2].at("status"), "skipped");
}

TEST_F(LostDictionary, PartitionsThatNothingButTheirNumberTellsOfAreCounted) {
    open_losing(full_dictionary());
    const size_t t = add_partitioned();
    lose_partition(partition(t, 0).place);
    lose_partition(partition(t, 2).place);
    unload();
    EXPECT_EQ(column("T", "ID"), (csv_row{"2"}));
    EXPECT_EQ(record("T").at("status"), "partial");
    EXPECT_EQ(record("T").at("reason"), "2 partitions lost");
    EXPECT_EQ(result_.status, 1);
    const run_result listed = run_rescue({"list", "--files", dir_.file("db/*.dbf")});
    EXPECT_NE(listed.out.find("2 partitions lost"), std::string::npos) << listed.out;
}

TEST_F(LostDictionary, WhereEachPartitionHasItsOutputThoseThatAreCountedAreAnEntryOfTheTable) {
    open_losing(full_dictionary());
    lose_partition(partition(add_partitioned(), 1).place);
    unload({"--by-partition"});
    const Json tables = read_record(dir_.file("out")).at("tables");
    ASSERT_EQ(tables.size(), 3U);
    EXPECT_EQ(tables[0].at("partition"), "P1");
    EXPECT_EQ(tables[0].at("status"), "complete");
    EXPECT_EQ(tables[1].at("partition"), "P3");
    EXPECT_EQ(tables[1].at("outputs").at(0).at("path"), "SCOTT.T/P3.csv");
    EXPECT_EQ(tables[2].at("partition"), nullptr);
    EXPECT_EQ(tables[2].at("status"), "skipped");
    EXPECT_EQ(tables[2].at("reason"), "1 partitions lost");
    EXPECT_EQ(result_.status, 1);
}

TEST_F(LostDictionary, AllPartitionsOfATableMayBeLost) {
    open_losing(full_dictionary());
    const size_t t = add_partitioned();
    for (size_t part = 0; part < 3; part++)
        lose_partition(partition(t, part).place);
    add_rows("OTHER", 3);
    unload();
    EXPECT_EQ(record("T").at("status"), "skipped");
    EXPECT_EQ(record("T").at("reason"), "3 partitions lost");
    EXPECT_EQ(record("OTHER").at("status"), "complete");
}

TEST_F(LostDictionary, SubpartitionsThatNothingButTheirNumberTellsOfAreCounted) {
    open_losing(full_dictionary());
    const size_t t = add_partitioned({"A", "B"});
    lose_partition(partition(t, 1).subpartitions.at(0).place);
    lose_partition_row(partition(t, 2).subpartitions.at(0).place);
    unload();
    EXPECT_EQ(column("T", "ID"), (csv_row{"1", "2", "4", "6", "5"}));
    EXPECT_EQ(record("T").at("reason"),
              "1 partitions have lost their rows, blocks were found by going through the files, 1 partitions "
              "lost");
}

TEST_F(LostDictionary, ATableWhosePartitionsAreMadeOnDemandHasLostNone) {
    constexpr size_t COUNT = 2; // PARTCNT in PARTOBJ$
    DatabaseOptions options = full_dictionary();
    options.dictionary_hook = [](std::string_view table, Row &row, RowPlacement &) {
        if (table == "PARTOBJ$")
            row.at(COUNT) = number(1048575);
        return true;
    };
    open(options);
    add_partitioned();
    unload();
    EXPECT_EQ(record("T").at("status"), "complete");
}

TEST_F(LostDictionary, SubpartitionWithoutItsRowIsFoundByItsDataObject) {
    open_losing();
    lose_partition_row(partition(add_partitioned({"A", "B"}), 1).subpartitions.at(0).place);
    unload();
    EXPECT_EQ(column("T", "ID"), (csv_row{"1", "2", "4", "5", "6", "3"}));
    EXPECT_EQ(record("T").at("status"), "partial");
}

TEST_F(LostDictionary, SubpartitionsAreFoundWithoutTheRowOfTheirPartition) {
    open_losing();
    lose_partition_row(partition(add_partitioned({"A", "B"}), 1).place);
    unload();
    EXPECT_EQ(column("T", "ID"), (csv_row{"1", "2", "5", "6", "3", "4"}));
    EXPECT_EQ(record("T").at("status"), "complete");
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

// Values beyond the known columns say something of a row only where all columns are known.
TEST_F(LostDictionary, RowsOfATableThatHasLostItsLastColumnAreNotSuspect) {
    constexpr size_t NAME = 4; // in COL$ without its key
    DatabaseOptions options;
    options.dictionary_hook = [](std::string_view table, Row &row, RowPlacement &) {
        return table != "COL$" || row.at(NAME) != text("GONE");
    };
    open(options);
    const size_t t = add("T", {number_column("ID"), number_column("GONE")});
    db_->insert(t, {number(1), number(2)});
    unload();
    EXPECT_EQ(rows("T"), (std::vector<csv_row>{{"1"}}));
    EXPECT_EQ(record("T").at("reason"), "1 columns lost");
}

TEST_F(LostDictionary, BlocksThatItHasLostAreInTheRecord) {
    open();
    add_rows("T", 3);
    db_->finish();
    finished_ = true;
    const auto &tables = db_->model().tables;
    const auto properties =
        std::ranges::find_if(tables, [](const TableEntry &entry) { return entry.def.name == "PROPS$"; });
    const uint32_t block = properties->place.block + 1;
    damage_check_value({dir_.file("db/system01.dbf"), block_size(), block});
    unload();
    EXPECT_EQ(column("T", "ID"), numbers(3));
    EXPECT_EQ(result_.status, 1);
    const Json expected = {{"kind", "check value"}, {"file", 1}, {"block", block}, {"blocks", 1}};
    EXPECT_EQ(read_record(dir_.file("out")).at("dictionary"), (Json{{"losses", Json::array({expected})}}));
}

TEST_F(LostDictionary, TableOfALostOwnerIsNamedWhereItMayBeMeant) {
    DatabaseOptions options;
    options.dictionary_hook = [](std::string_view table, Row &row, RowPlacement &) {
        return table != "USER$" || row.at(0) != text("SCOTT");
    };
    open(options);
    add_rows("T", 3);
    db_->finish();
    const auto run = [&](const std::vector<std::string> &patterns) {
        std::vector<std::string> arguments = patterns;
        arguments.insert(arguments.end(), {"--quiet", "--overwrite"});
        return run_rescue(unload_arguments(dir_.file("db"), dir_.file("out"), arguments));
    };
    const run_result nothing = run({"scott.t"});
    EXPECT_EQ(nothing.status, 2);
    EXPECT_EQ(nothing.err,
              "vexlo-rescue: no table is selected; UNKNOWN.T may be it, the name of its owner is "
              "lost\n");
    const run_result one = run({"scott.t", "unknown.t"});
    EXPECT_EQ(one.status, 2);
    EXPECT_EQ(one.err,
              "vexlo-rescue: scott.t: no such table in the files; UNKNOWN.T may be it, the name of its "
              "owner is lost\n");
    EXPECT_EQ(parse_csv(read_text(dir_.file("out/UNKNOWN.T.csv"))).size(), 4U);
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
