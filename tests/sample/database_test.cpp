#include <stdexcept>

#include <gtest/gtest.h>

#include "definitions.h"
#include "reader.h"
#include "sample/demo.h"

using namespace sample;
using namespace sample_test;

namespace {

uint32_t add_owner(Database &db, const char *name = "SCOTT") {
    UserDef def;
    def.name = name;
    return db.add_user(def);
}

TableDef two_columns(uint32_t owner, uint32_t tablespace) {
    return table_def(owner, "T", tablespace, {number_column("ID"), varchar2_column("NAME", 30)});
}

TEST(Database, WritesListAndConfigurationWithAbsolutePaths) {
    TempDir dir;
    Database db(dir.path() / "db");
    add_users_tablespace(db, 2);
    db.finish();
    std::string base = (dir.path() / "db").string();
    EXPECT_EQ(to_text(read_file(base + "/datafiles.txt")),
              base + "/system01.dbf\n" + base + "/users01.dbf\n" + base + "/users02.dbf\n");
    EXPECT_EQ(to_text(read_file(base + "/config.ini")), "dictdir = " + base + "/dict\ndatadir = " + base +
                                                            "/data\ndatafiles = " + base +
                                                            "/datafiles.txt\nchecksum = YES\n");
    EXPECT_TRUE(std::filesystem::is_empty(base + "/dict"));
    EXPECT_TRUE(std::filesystem::is_empty(base + "/data"));
}

TEST(Database, BootstrapIsReachedFromTheHeaderOfFileOne) {
    TempDir dir;
    Database db(dir.path());
    db.finish();
    Reader reader(db.datafiles());
    auto rows = reader.rows(0, reader.rootdba());
    ASSERT_GE(rows.size(), 12U);
    EXPECT_LE(rows.size(), 64U) << "readers keep no more";
    EXPECT_EQ(rows[0].columns, (Row{number(-1), number(-1), text("8.0.0.0.0")}));
    EXPECT_EQ(to_text(rows[1].columns[2]).substr(0, 22), "CREATE CLUSTER C_OBJ#(");
    EXPECT_EQ(reader.bad_blocks(), 0);
}

TEST(Database, DictionaryStatesWhereATableIs) {
    TempDir dir;
    Database db(dir.path());
    uint32_t ts = add_users_tablespace(db);
    uint32_t owner = add_owner(db);
    size_t table = db.add_table(two_columns(owner, ts));
    db.insert(table, {number(1), text("one")});
    db.finish();

    Reader reader(db.datafiles());
    const SegmentPlace &place = db.model().tables[table].place;
    DictionaryTable obj(reader, db.model(), "OBJ$");
    DictionaryTable tab(reader, db.model(), "TAB$");
    DictionaryTable col(reader, db.model(), "COL$");
    DictionaryTable user(reader, db.model(), "USER$");
    EXPECT_EQ(to_text(obj.get("NAME", "OBJ#", place.objn)), "T");
    EXPECT_EQ(to_integer(obj.get("OWNER#", "OBJ#", place.objn)), owner);
    EXPECT_EQ(to_text(user.get("NAME", "USER#", owner)), "SCOTT");
    EXPECT_EQ(to_integer(tab.get("TS#", "OBJ#", place.objn)), ts);
    EXPECT_EQ(to_integer(tab.get("COLS", "OBJ#", place.objn)), 2);
    EXPECT_EQ(tab.get("BOBJ#", "OBJ#", place.objn), null_value());
    EXPECT_EQ(col.numbers("SEGCOL#", "OBJ#", place.objn), (std::vector<int64_t>{1, 2}));
    EXPECT_EQ(col.numbers("TYPE#", "OBJ#", place.objn), (std::vector<int64_t>{2, 1}));
    uint32_t header = make_rdba(static_cast<uint32_t>(to_integer(tab.get("FILE#", "OBJ#", place.objn))),
                                static_cast<uint32_t>(to_integer(tab.get("BLOCK#", "OBJ#", place.objn))));
    auto rows = reader.rows(ts, header);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].columns, (Row{number(1), text("one")}));
}

TEST(Database, DictionaryDescribesItself) {
    TempDir dir;
    Database db(dir.path());
    db.finish();
    Reader reader(db.datafiles());
    DictionaryTable tab(reader, db.model(), "TAB$");
    DictionaryTable clu(reader, db.model(), "CLU$");
    EXPECT_EQ(to_integer(tab.get("TAB#", "OBJ#", 4)), 1);
    EXPECT_EQ(to_integer(tab.get("BOBJ#", "OBJ#", 4)), 2);
    EXPECT_EQ(tab.get("BLOCK#", "OBJ#", 4), clu.get("BLOCK#", "OBJ#", 2));
    EXPECT_EQ(to_integer(tab.get("TAB#", "OBJ#", 16)), 2) << "TS$ is the second table of C_TS#";
    DictionaryTable col(reader, db.model(), "COL$");
    EXPECT_EQ(col.numbers("SEGCOL#", "OBJ#", 2), (std::vector<int64_t>{1})) << "a cluster has columns too";
    DictionaryTable ind(reader, db.model(), "IND$");
    EXPECT_EQ(ind.numbers("TYPE#", "BO#", 18), (std::vector<int64_t>{1}));
}

TEST(Database, ClusteredTableStoresKeyColumnsFirstInSegmentOrder) {
    TempDir dir;
    Database db(dir.path());
    uint32_t ts = add_users_tablespace(db);
    ClusterDef cluster_def;
    cluster_def.name = "C";
    cluster_def.tablespace = ts;
    cluster_def.key = {number_column("A"), number_column("B")};
    size_t cluster = db.add_cluster(cluster_def);
    TableDef def = two_columns(USER_SYS, ts);
    def.columns = {number_column("X"), number_column("B"), number_column("A"), number_column("Y")};
    def.cluster = cluster;
    def.key_columns = {"A", "B"};
    size_t table = db.add_table(def);
    db.begin_key(cluster, {number(10), number(20)});
    db.insert_member(table, {number(1), number(20), number(10), number(2)});
    db.finish();

    Reader reader(db.datafiles());
    const SegmentPlace &place = db.model().tables[table].place;
    DictionaryTable col(reader, db.model(), "COL$");
    EXPECT_EQ(col.numbers("SEGCOL#", "OBJ#", place.objn), (std::vector<int64_t>{3, 2, 1, 4}));
    EXPECT_EQ(place.objd, db.model().clusters[cluster].place.objd);
    auto rows = reader.rows(ts, make_rdba(place.file, place.block), 1);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].columns, (Row{number(10), number(20), number(1), number(2)}));
}

TEST(Database, PartitionsAndSubpartitionsHaveSegmentsOfTheirOwn) {
    TempDir dir;
    Database db(dir.path());
    uint32_t ts = add_users_tablespace(db);
    TableDef def = two_columns(USER_SYS, ts);
    PartitionDef part;
    part.name = "P1";
    part.subpartitions = {{"S1", {}}, {"S2", {}}};
    def.partitions = {part};
    size_t composite = db.add_table(def);
    db.insert(composite, {number(1), text("s2")}, {}, 0, 1);
    part.subpartitions.clear();
    def.partitions = {part, part};
    size_t plain = db.add_table(def);
    db.insert(plain, {number(2), text("p2")}, {}, 1);
    db.finish();

    Reader reader(db.datafiles());
    const TableEntry &c = db.model().tables[composite];
    const TableEntry &p = db.model().tables[plain];
    auto count = [&](const SegmentPlace &place) {
        return reader.rows(ts, make_rdba(place.file, place.block)).size();
    };
    EXPECT_EQ(count(c.partitions[0].subpartitions[0].place), 0U);
    EXPECT_EQ(count(c.partitions[0].subpartitions[1].place), 1U);
    EXPECT_EQ(count(p.partitions[1].place), 1U);
    DictionaryTable tab(reader, db.model(), "TAB$");
    EXPECT_EQ(to_integer(tab.get("PROPERTY", "OBJ#", p.place.objn)) & TABLE_PARTITIONED, TABLE_PARTITIONED);
    EXPECT_EQ(to_integer(tab.get("BLOCK#", "OBJ#", p.place.objn)), 0);
    DictionaryTable tabpart(reader, db.model(), "TABPART$");
    EXPECT_EQ(tabpart.numbers("OBJ#", "BO#", p.place.objn),
              (std::vector<int64_t>{p.partitions[0].place.objn, p.partitions[1].place.objn}));
    DictionaryTable compart(reader, db.model(), "TABCOMPART$");
    EXPECT_EQ(compart.numbers("OBJ#", "BO#", c.place.objn),
              (std::vector<int64_t>{c.partitions[0].place.objn}));
    DictionaryTable subpart(reader, db.model(), "TABSUBPART$");
    EXPECT_EQ(subpart.numbers("SUBPART#", "POBJ#", c.partitions[0].place.objn), (std::vector<int64_t>{1, 2}));
}

TEST(Database, LobColumnsComeWithSegmentAndIndex) {
    TempDir dir;
    Database db(dir.path());
    uint32_t ts = add_users_tablespace(db);
    TableDef def = two_columns(USER_SYS, ts);
    def.columns.push_back(typed_column("DOC", CLOB, 4000));
    size_t table = db.add_table(def);
    db.finish();
    Reader reader(db.datafiles());
    const TableEntry &t = db.model().tables[table];
    DictionaryTable lob(reader, db.model(), "LOB$");
    EXPECT_EQ(lob.numbers("COL#", "OBJ#", t.place.objn), (std::vector<int64_t>{3}));
    DictionaryTable ind(reader, db.model(), "IND$");
    EXPECT_EQ(to_integer(ind.get("TYPE#", "OBJ#", t.lobs[0].index.objn)), 8);
    DictionaryTable tab(reader, db.model(), "TAB$");
    EXPECT_EQ(to_integer(tab.get("PROPERTY", "OBJ#", t.place.objn)) & TABLE_LOBS, TABLE_LOBS);
    Bytes header = reader.block(ts, make_rdba(t.lobs[0].lob.file, t.lobs[0].lob.block));
    EXPECT_EQ(header[0], BLOCK_ASSM_SEGMENT_HEADER);
}

TEST(Database, HiddenAndVirtualColumns) {
    TempDir dir;
    Database db(dir.path());
    uint32_t ts = add_users_tablespace(db);
    TableDef def = two_columns(USER_SYS, ts);
    def.columns[0].property = COLUMN_HIDDEN;
    ColumnDef computed = number_column("TWICE");
    computed.stored = false;
    def.columns.insert(def.columns.begin() + 1, computed);
    size_t table = db.add_table(def);
    db.insert(table, {number(1), number(2), text("x")});
    db.finish();
    Reader reader(db.datafiles());
    const SegmentPlace &place = db.model().tables[table].place;
    DictionaryTable col(reader, db.model(), "COL$");
    EXPECT_EQ(col.numbers("COL#", "OBJ#", place.objn), (std::vector<int64_t>{0, 1, 2}));
    EXPECT_EQ(col.numbers("SEGCOL#", "OBJ#", place.objn), (std::vector<int64_t>{1, 0, 2}));
    DictionaryTable tab(reader, db.model(), "TAB$");
    EXPECT_EQ(to_integer(tab.get("COLS", "OBJ#", place.objn)), 2);
    EXPECT_EQ(reader.rows(ts, make_rdba(place.file, place.block))[0].columns, (Row{number(1), text("x")}));
}

TEST(Database, HookChangesMovesAndDropsDictionaryRows) {
    TempDir dir;
    DatabaseOptions options;
    options.dictionary_hook = [](std::string_view table, Row &row, RowPlacement &placement) {
        placement.migrated = table == "COL$" || table == "OBJ$";
        if (table == "TS$")
            row[0] = text("RENAMED");
        return table != "PROPS$";
    };
    Database db(dir.path(), options);
    db.finish();
    Reader reader(db.datafiles());
    EXPECT_EQ(DictionaryTable(reader, db.model(), "PROPS$").size(), 0U);
    EXPECT_EQ(to_text(DictionaryTable(reader, db.model(), "TS$").get("NAME", "TS#", 0)), "RENAMED");
    DictionaryTable col(reader, db.model(), "COL$");
    EXPECT_EQ(col.numbers("SEGCOL#", "OBJ#", 56), (std::vector<int64_t>{1, 2, 3}));
    for (const FoundRow &row : reader.rows(0, make_rdba(1, db.model().clusters[0].place.block), 5))
        EXPECT_TRUE(row.migrated);
}

TEST(Database, BigfileRowsAreFoundByBlockNumber) {
    TempDir dir;
    Database db(dir.path());
    TablespaceDef def;
    def.name = "BIG";
    def.bigfile = true;
    uint32_t ts = db.add_tablespace(def);
    size_t table = db.add_table(two_columns(USER_SYS, ts));
    RowPlacement migrated;
    migrated.migrated = true;
    db.insert(table, {number(1), text("one")}, migrated);
    db.finish();
    const SegmentPlace &place = db.model().tables[table].place;
    EXPECT_EQ(place.file, 1024U);
    auto rows = Reader(db.datafiles()).rows(ts, place.block);
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].columns, (Row{number(1), text("one")}));
}

TEST(Database, RefusesWhatItCannotWrite) {
    TempDir dir;
    DatabaseOptions options;
    options.block_size = 3000;
    EXPECT_THROW(Database(dir.path(), options), std::invalid_argument);
    Database db(dir.path());
    uint32_t ts = add_users_tablespace(db);
    size_t table = db.add_table(two_columns(USER_SYS, ts));
    EXPECT_THROW(db.insert(table, {number(1)}), std::invalid_argument);
    db.insert(table, {number(1), text("x")});
    db.close_rows(table);
    EXPECT_THROW(db.insert(table, {number(2), text("y")}), std::logic_error);
    size_t nowhere = db.add_table(two_columns(USER_SYS, 3));
    EXPECT_THROW(db.insert(nowhere, {number(1), text("x")}), std::invalid_argument);
}

class Demo : public testing::TestWithParam<size_t> {};

TEST_P(Demo, IsSoundAndTheSameEveryTime) {
    TempDir first;
    TempDir second;
    write_demo(first.path(), GetParam());
    write_demo(second.path(), GetParam());
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(first.path()))
        if (entry.path().extension() == ".dbf")
            files.push_back(entry.path());
    ASSERT_EQ(files.size(), 8U);
    for (const auto &file : files)
        EXPECT_EQ(read_file(file), read_file(second.path() / file.filename())) << file;
    EXPECT_EQ(Reader(files).bad_blocks(), 0);
}

INSTANTIATE_TEST_SUITE_P(BlockSizes, Demo, testing::Values(2048U, 8192U, 32768U));

} // namespace
