#include <gtest/gtest.h>

#include "definitions.h"
#include "reader.h"
#include "sample/bootstrap.h"
#include "sample/demo.h"

using namespace sample;
using namespace sample_test;

namespace {

DatabaseOptions full(DictionaryVersion version) {
    DatabaseOptions options;
    options.layout = {version, true};
    return options;
}

std::string statement(const Database &db, std::string_view table) {
    const std::string begin = "CREATE TABLE " + std::string(table) + "(";
    for (const BootstrapRow &row : bootstrap_rows(db.model()))
        if (row.text.starts_with(begin))
            return row.text;
    return "";
}

TEST(DictionaryLayout, TwelveHasItsColumnsInTheBootstrapTexts) {
    TempDir dir;
    Database db(dir.path(), full(DictionaryVersion::v12));
    db.finish();
    EXPECT_NE(statement(db, "OBJ$").find("\"NAME\" VARCHAR2(128) NOT NULL"), std::string::npos);
    EXPECT_NE(statement(db, "COL$")
                  .find("\"CHARSETFORM\" NUMBER,\"EVALEDITION#\" NUMBER,"
                        "\"UNUSABLEBEFORE#\" NUMBER,\"UNUSABLEBEGINNING#\" NUMBER,"
                        "\"SPARE1\" NUMBER"),
              std::string::npos);
    EXPECT_NE(statement(db, "USER$").find("\"SPARE11\" TIMESTAMP(6)"), std::string::npos);
    EXPECT_LE(bootstrap_rows(db.model()).size(), 64U);
    Reader reader(db.datafiles());
    EXPECT_EQ(reader.bad_blocks(), 0);
    for (const FoundRow &row : reader.rows(0, reader.rootdba()))
        EXPECT_LE(row.columns[2]->size(), 4000U);
}

TEST(DictionaryLayout, ElevenHasNoneOfTheTablesOfTheFullOneUnlessAsked) {
    TempDir dir;
    Database db(dir.path());
    db.finish();
    EXPECT_EQ(statement(db, "FILE$"), "");
    EXPECT_THROW(DictionaryTable(Reader(db.datafiles()), db.model(), "ECOL$").get("COLNUM", "TABOBJ#", 1),
                 std::out_of_range);
}

TEST(DictionaryLayout, SuppliedUsersAreMarkedFromTwelveOn) {
    TempDir dir;
    Database db(dir.path(), full(DictionaryVersion::v12));
    UserDef user;
    user.name = std::string(127, 'U') + "1";
    uint32_t uid = db.add_user(user);
    db.finish();
    Reader reader(db.datafiles());
    DictionaryTable users(reader, db.model(), "USER$");
    EXPECT_EQ(to_integer(users.get("SPARE1", "USER#", USER_SYS)), 256);
    EXPECT_EQ(to_integer(users.get("SPARE1", "USER#", uid)), 0);
    EXPECT_EQ(to_text(users.get("NAME", "USER#", uid)), user.name);
}

TEST(DictionaryLayout, FilesAreListedWithBothNumbers) {
    TempDir dir;
    Database db(dir.path(), full(DictionaryVersion::v11));
    TablespaceDef big;
    big.name = "BIG";
    big.bigfile = true;
    uint32_t ts = db.add_tablespace(big);
    db.finish();
    Reader reader(db.datafiles());
    DictionaryTable files(reader, db.model(), "FILE$");
    EXPECT_EQ(files.size(), 2U);
    EXPECT_EQ(to_integer(files.get("RELFILE#", "FILE#", 2)), 1024);
    EXPECT_EQ(to_integer(files.get("TS#", "FILE#", 2)), ts);
}

TEST(DictionaryLayout, PartitionedTablesHaveTheNumberOfTheirPartitions) {
    TempDir dir;
    Database db(dir.path(), full(DictionaryVersion::v11));
    TableDef def;
    def.name = "T";
    def.columns = {number_column("ID")};
    def.partitions = {{"P1", std::nullopt, "10", {}}, {"P2", std::nullopt, "MAXVALUE", {}}};
    const uint32_t objn = db.model().tables[db.add_table(def)].place.objn;
    db.finish();
    Reader reader(db.datafiles());
    DictionaryTable partitioned(reader, db.model(), "PARTOBJ$");
    EXPECT_EQ(partitioned.size(), 1U);
    EXPECT_EQ(to_integer(partitioned.get("PARTCNT", "OBJ#", objn)), 2);
}

TEST(DictionaryLayout, ConstraintsNameTheirColumns) {
    TempDir dir;
    Database db(dir.path(), full(DictionaryVersion::v11));
    TableDef def = table_def(USER_SYS, "T", add_users_tablespace(db),
                             {number_column("A"), number_column("B"), number_column("C")});
    def.constraints = {{"T_PK", CONSTRAINT_PRIMARY_KEY, {"C", "A"}}};
    size_t table = db.add_table(def);
    db.finish();
    Reader reader(db.datafiles());
    uint32_t objn = db.model().tables[table].place.objn;
    DictionaryTable cdef(reader, db.model(), "CDEF$");
    EXPECT_EQ(cdef.numbers("TYPE#", "OBJ#", objn), (std::vector<int64_t>{2}));
    int64_t con = to_integer(cdef.get("CON#", "OBJ#", objn));
    EXPECT_EQ(to_text(DictionaryTable(reader, db.model(), "CON$").get("NAME", "CON#", con)), "T_PK");
    EXPECT_EQ(DictionaryTable(reader, db.model(), "CCOL$").numbers("INTCOL#", "OBJ#", objn),
              (std::vector<int64_t>{3, 1}));
}

TEST(DictionaryLayout, AddedDefaultStandsInEcolAsALobInTheRow) {
    TempDir dir;
    Database db(dir.path(), full(DictionaryVersion::v12));
    std::vector<ColumnDef> columns{number_column("ID"), number_column("ADDED"),
                                   typed_column("G", TYPE_RAW, 126)};
    columns[1].added_default = *number(42);
    columns[1].guard_id = 9;
    columns[2].property = COLUMN_GUARD | COLUMN_HIDDEN;
    size_t table = db.add_table(table_def(USER_SYS, "T", add_users_tablespace(db), columns));
    db.finish();
    Reader reader(db.datafiles());
    uint32_t objn = db.model().tables[table].place.objn;
    DictionaryTable ecol(reader, db.model(), "ECOL$");
    EXPECT_EQ(to_integer(ecol.get("COLNUM", "TABOBJ#", objn)), 2);
    EXPECT_EQ(to_integer(ecol.get("GUARD_ID", "TABOBJ#", objn)), 9);
    Bytes lob = ecol.get("BINARYDEFVAL", "TABOBJ#", objn).value();
    EXPECT_EQ(Bytes(lob.begin() + 36, lob.end()), *number(42));
    DictionaryTable col(reader, db.model(), "COL$");
    EXPECT_EQ(col.numbers("PROPERTY", "OBJ#", objn), (std::vector<int64_t>{0, 0x40000000, 0x8000000020}));
}

TEST(DictionaryLayout, GuardColumnHasOneBitAColumn) {
    constexpr uint32_t ids[] = {0, 9};
    EXPECT_EQ(guard_value(ids), (Bytes{0x01, 0x02}));
}

TEST(DictionaryLayout, PartitionsOfLobColumnsHaveSegmentsOfTheirOwn) {
    TempDir dir;
    Database db(dir.path(), full(DictionaryVersion::v11));
    TableDef def = table_def(USER_SYS, "T", add_users_tablespace(db),
                             {number_column("ID"), typed_column("DOC", BLOB, 4000)});
    def.partitions.resize(2);
    def.partitions[0].name = "P1";
    def.partitions[1].name = "P2";
    size_t table = db.add_table(def);
    db.finish();
    Reader reader(db.datafiles());
    const TableEntry &t = db.model().tables[table];
    const LobEntry &lob = t.lobs.at(0);
    ASSERT_EQ(lob.fragments.size(), 2U);
    DictionaryTable fragments(reader, db.model(), "LOBFRAG$"), indexes(reader, db.model(), "INDPART$");
    for (size_t p = 0; p < 2; p++) {
        const LobFragment &f = lob.fragments[p];
        EXPECT_EQ(to_integer(fragments.get("FRAGOBJ#", "TABFRAGOBJ#", t.partitions[p].place.objn)),
                  f.lob.objn);
        EXPECT_EQ(to_integer(fragments.get("BLOCK#", "FRAGOBJ#", f.lob.objn)), f.lob.block);
        EXPECT_EQ(to_integer(indexes.get("BLOCK#", "OBJ#", f.index.objn)), f.index.block);
        EXPECT_NE(f.index.block, 0U);
    }
    EXPECT_EQ(to_integer(DictionaryTable(reader, db.model(), "LOB$").get("BLOCK#", "OBJ#", t.place.objn)), 0);
}

TEST(DictionaryLayout, AnalyzedRowsStandInTheTableRow) {
    TempDir dir;
    Database db(dir.path());
    TableDef def = table_def(USER_SYS, "T", add_users_tablespace(db), {number_column("ID")});
    def.analyzed_rows = 12345;
    size_t table = db.add_table(def);
    db.finish();
    Reader reader(db.datafiles());
    DictionaryTable tab(reader, db.model(), "TAB$");
    EXPECT_EQ(to_integer(tab.get("ROWCNT", "OBJ#", db.model().tables[table].place.objn)), 12345);
}

} // namespace
