#include <algorithm>

#include <gtest/gtest.h>

#include "sample/bootstrap.h"
#include "sample/system_tables.h"

using namespace sample;

namespace {

Model small_model() {
    Model model;
    ClusterEntry cluster;
    cluster.def.name = "C_OBJ#";
    cluster.def.key = {number_column("OBJ#")};
    cluster.place.objn = 2;
    cluster.place.file = 1;
    cluster.place.block = 25;
    model.clusters.push_back(cluster);
    return model;
}

TEST(BootstrapStatement, ClusterNamesItsHeader) {
    EXPECT_EQ(create_cluster_statement(small_model().clusters[0]),
              "CREATE CLUSTER C_OBJ#(\"OBJ#\" NUMBER) PCTFREE 5 PCTUSED 40 INITRANS 2 MAXTRANS 255 "
              "STORAGE (  INITIAL 64K NEXT 1024K MINEXTENTS 1 MAXEXTENTS 2147483645 PCTINCREASE 0 OBJNO 2 "
              "EXTENTS (FILE 1 BLOCK 25)) SIZE 800");
}

TEST(BootstrapStatement, ClusteredTableNamesItsNumberAndCluster) {
    Model model = small_model();
    TableEntry table;
    table.def.name = "TAB$";
    table.def.columns = parse_columns("OBJ# n! NAME v30 DEFAULT$ l OID$ r16 CTIME d!");
    table.def.cluster = 0;
    table.def.key_columns = {"OBJ#"};
    table.tabno = 1;
    table.place.objn = 4;
    EXPECT_EQ(
        create_table_statement(model, table),
        "CREATE TABLE TAB$(\"OBJ#\" NUMBER NOT NULL,\"NAME\" VARCHAR2(30),\"DEFAULT$\" LONG,\"OID$\" RAW(16),"
        "\"CTIME\" DATE NOT NULL) STORAGE (  OBJNO 4 TABNO 1) CLUSTER C_OBJ#(OBJ#)");
}

TEST(BootstrapStatement, HeapTableNamesItsHeader) {
    TableEntry table;
    table.def.name = "OBJ$";
    table.def.columns = parse_columns("OBJ# n!");
    table.place.objn = 18;
    table.place.file = 1;
    table.place.block = 121;
    EXPECT_EQ(create_table_statement({}, table),
              "CREATE TABLE OBJ$(\"OBJ#\" NUMBER NOT NULL) PCTFREE 10 PCTUSED 40 INITRANS 1 MAXTRANS 255 "
              "STORAGE (  INITIAL 64K NEXT 1024K MINEXTENTS 1 MAXEXTENTS 2147483645 PCTINCREASE 0 OBJNO 18 "
              "EXTENTS (FILE 1 BLOCK 121))");
}

// Place of a column among the values that a row of the table stores: the cluster key is not one of them.
size_t stored_position(std::string_view table, std::string_view column) {
    for (const SystemTable &t : system_tables(DictionaryLayout{})) {
        if (t.name != table)
            continue;
        size_t position = 0;
        for (const ColumnDef &c : parse_columns(t.columns)) {
            position += c.name != t.key ? 1 : 0;
            if (c.name == column)
                return position;
        }
    }
    return 0;
}

TEST(SystemTables, ColumnsAreWhereRealDictionariesHaveThem) {
    const struct {
        const char *table;
        const char *column;
        size_t position;
    } expected[] = {
        {"USER$", "NAME", 1},        {"USER$", "TYPE#", 2},        {"USER$", "DATATS#", 4},
        {"USER$", "TEMPTS#", 5},     {"USER$", "ASTATUS", 15},     {"TS$", "NAME", 1},
        {"TS$", "OWNER#", 2},        {"OBJ$", "OBJ#", 1},          {"OBJ$", "OWNER#", 3},
        {"OBJ$", "NAME", 4},         {"OBJ$", "TYPE#", 7},         {"OBJ$", "FLAGS", 14},
        {"TAB$", "DATAOBJ#", 1},     {"TAB$", "TS#", 2},           {"TAB$", "FILE#", 3},
        {"TAB$", "BLOCK#", 4},       {"TAB$", "BOBJ#", 5},         {"TAB$", "TAB#", 6},
        {"TAB$", "COLS", 7},         {"TAB$", "FLAGS", 13},        {"TAB$", "PROPERTY", 29},
        {"CLU$", "DATAOBJ#", 1},     {"CLU$", "COLS", 5},          {"CLU$", "FLAGS", 15},
        {"COL$", "COL#", 1},         {"COL$", "SEGCOL#", 2},       {"COL$", "NAME", 5},
        {"COL$", "TYPE#", 6},        {"COL$", "LENGTH", 7},        {"COL$", "PROPERTY", 15},
        {"COL$", "CHARSETFORM", 17}, {"IND$", "OBJ#", 1},          {"IND$", "DATAOBJ#", 2},
        {"IND$", "TS#", 3},          {"IND$", "FILE#", 4},         {"IND$", "BLOCK#", 5},
        {"IND$", "TYPE#", 12},       {"LOB$", "COL#", 1},          {"LOB$", "LOBJ#", 3},
        {"LOB$", "IND#", 5},         {"LOB$", "TS#", 6},           {"LOB$", "FILE#", 7},
        {"LOB$", "BLOCK#", 8},       {"LOB$", "CHUNK", 9},         {"LOB$", "FLAGS", 11},
        {"TABPART$", "OBJ#", 1},     {"TABPART$", "DATAOBJ#", 2},  {"TABPART$", "BO#", 3},
        {"TABPART$", "TS#", 7},      {"TABPART$", "FILE#", 8},     {"TABPART$", "BLOCK#", 9},
        {"TABSUBPART$", "OBJ#", 1},  {"TABSUBPART$", "POBJ#", 3},  {"TABSUBPART$", "TS#", 6},
        {"TABSUBPART$", "FILE#", 7}, {"TABSUBPART$", "BLOCK#", 8}, {"TABCOMPART$", "OBJ#", 1},
        {"TABCOMPART$", "BO#", 3},   {"PROPS$", "NAME", 1},        {"PROPS$", "VALUE$", 2},
        {"BOOTSTRAP$", "LINE#", 1},  {"BOOTSTRAP$", "OBJ#", 2},    {"BOOTSTRAP$", "SQL_TEXT", 3},
    };
    for (const auto &e : expected)
        EXPECT_EQ(stored_position(e.table, e.column), e.position) << e.table << '.' << e.column;
}

TEST(SystemTables, ClusteredTablesHaveDistinctNumbers) {
    for (const SystemCluster &cluster : system_clusters(DictionaryLayout{})) {
        std::vector<uint32_t> numbers;
        for (const SystemTable &t : system_tables(DictionaryLayout{}))
            if (t.cluster == cluster.name)
                numbers.push_back(t.tabno);
        std::sort(numbers.begin(), numbers.end());
        EXPECT_FALSE(numbers.empty());
        EXPECT_EQ(std::adjacent_find(numbers.begin(), numbers.end()), numbers.end()) << cluster.name;
    }
}

} // namespace
