// `list`: what is there and what can be had of it, as text and as JSON.
#include <algorithm>
#include <filesystem>

#include "recovered_fixture.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class List : public Recovered {
protected:
    // SCOTT's tables: DEPT with a key and statistics, SALES with partitions, LOST in a file that is missing,
    // DOCS with a LOB, HURT with a damaged block, and IOT.
    List() {
        DatabaseOptions options;
        options.layout.full = true;
        open(options);
        TablespaceDef gone;
        gone.name = "GONE";
        const uint32_t tablespace = db_->add_tablespace(gone);
        add_dept();
        add_sales();
        TableDef lost = table("LOST", {number_column("ID")});
        lost.tablespace = tablespace;
        db_->insert(db_->add_table(lost), {number(1)});
        add("DOCS", {number_column("ID"), typed_column("TEXT", 112, 4000)});
        const size_t hurt = add("HURT", {number_column("ID"), varchar2_column("NAME", 2000)});
        RowAddress place;
        for (int i = 1; i <= 10; i++)
            place = db_->insert(hurt, {number(i), text(std::string(1900, 'n'))});
        TableDef iot = table("IOT", {number_column("ID")});
        iot.property = TABLE_INDEX_ORGANIZED;
        iot.has_segment = false;
        db_->add_table(iot);
        db_->finish();
        std::filesystem::remove(db_->datafiles().back());
        patch_file(users_file(), block_size(), block_number(place.rdba), 4000, Bytes{0x55}, false);
    }

    void add_dept() {
        ColumnDef deptno = number_column("DEPTNO"), location = varchar2_column("LOC", 13);
        deptno.precision = 2;
        deptno.scale = 0;
        deptno.nullable = false;
        TableDef dept = table("DEPT", {deptno, varchar2_column("DNAME", 14), location});
        dept.constraints = {{"PK_DEPT", CONSTRAINT_PRIMARY_KEY, {"DEPTNO"}}};
        dept.analyzed_rows = 4;
        const size_t t = db_->add_table(dept);
        db_->insert(t, {number(10), text("ACCOUNTING"), text("NEW YORK")});
        db_->insert(t, {number(20), text("RESEARCH"), null_value()});
    }

    void add_sales() {
        TableDef sales = table("SALES", {number_column("ID"), date_column("SOLD")});
        sales.partitions = {{"P1", std::nullopt, "10", {}}, {"P2", std::nullopt, "MAXVALUE", {}}};
        const size_t t = db_->add_table(sales);
        db_->insert(t, {number(1), null_value()}, {}, 0);
        db_->insert(t, {number(2), null_value()}, {}, 1);
        db_->insert(t, {number(3), null_value()}, {}, 1);
    }

    run_result list(std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"list", "--files", dir_.file("db/*.dbf")});
        return run_rescue(more);
    }
};

TEST_F(List, IsALineForEachTable) {
    const run_result result = list();
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(
        result.out,
        "TABLE        PARTITIONS  COLUMNS  BLOCKS  ROWS  BYTES  ANALYZED ROWS  IN THE WAY\n"
        "SCOTT.DEPT            0        3       8     2     30              4\n"
        "SCOTT.SALES           2        2      16     3      6              -\n"
        "SCOTT.LOST            0        1       0     0      0              -  16 blocks in missing files\n"
        "SCOTT.DOCS            0        2       8     0      0              -  1 LOB columns\n"
        "SCOTT.HURT            0        2       8    10  19020              -  1 damaged blocks\n"
        "SCOTT.IOT             0        1       0     0      0              -  index-organized table\n");
}

TEST_F(List, ColumnsStandBelowTheirTable) {
    const run_result result = list({"--columns", "scott.dept", "scott.sales"});
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out, "TABLE        PARTITIONS  COLUMNS  BLOCKS  ROWS  BYTES  ANALYZED ROWS  IN THE WAY\n"
                          "SCOTT.DEPT            0        3       8     2     30              4\n"
                          "  DEPTNO  NUMBER(2)  NOT NULL  KEY 1\n"
                          "  DNAME  VARCHAR2(14)\n"
                          "  LOC  VARCHAR2(13)\n"
                          "SCOTT.SALES           2        2      16     3      6              -\n"
                          "  ID  NUMBER\n"
                          "  SOLD  DATE\n");
}

// With double quotes in place of single ones.
std::string json(std::string text) {
    std::ranges::replace(text, '\'', '"');
    return text;
}

TEST_F(List, AsJsonHasAllOfIt) {
    const run_result result = list({"--json", "scott.dept", "scott.sales", "scott.lost"});
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.out,
              json("{'tables': [\n"
                   "  {'owner':'SCOTT','table':'DEPT','partitions':[],'columns':3,'blocks':8,"
                   "'estimated_rows':2,'estimated_bytes':30,'counted':true,'analyzed_rows':4,"
                   "'analyzed':'2019-04-17T00:56:11','obstacles':[]},\n"
                   "  {'owner':'SCOTT','table':'SALES','partitions':['P1','P2'],'columns':2,'blocks':16,"
                   "'estimated_rows':3,'estimated_bytes':6,'counted':true,'analyzed_rows':null,"
                   "'analyzed':null,'obstacles':[]},\n"
                   "  {'owner':'SCOTT','table':'LOST','partitions':[],'columns':1,'blocks':0,"
                   "'estimated_rows':0,'estimated_bytes':0,'counted':true,'analyzed_rows':null,"
                   "'analyzed':null,'obstacles':['16 blocks in missing files']}]}\n"));
}

TEST_F(List, AsJsonHasTheColumnsWhenAskedFor) {
    const run_result result = list({"--json", "--columns", "scott.dept"});
    EXPECT_EQ(result.out, json("{'tables': [\n"
                               "  {'owner':'SCOTT','table':'DEPT','partitions':[],'columns':["
                               "{'name':'DEPTNO','type':'NUMBER(2)','nullable':false,'key':1},"
                               "{'name':'DNAME','type':'VARCHAR2(14)','nullable':true,'key':null},"
                               "{'name':'LOC','type':'VARCHAR2(13)','nullable':true,'key':null}],"
                               "'blocks':8,'estimated_rows':2,'estimated_bytes':30,'counted':true,"
                               "'analyzed_rows':4,'analyzed':'2019-04-17T00:56:11','obstacles':[]}]}\n"));
}

TEST_F(List, PatternThatSelectsNothingBesideOthersIsTold) {
    const run_result result = list({"scott.dept", "scott.nosuch"});
    EXPECT_EQ(result.status, 2) << result.describe();
    EXPECT_NE(result.out.find("SCOTT.DEPT "), std::string::npos) << result.describe();
    EXPECT_EQ(result.err, "vexlo-rescue: scott.nosuch: no such table in the files\n");
}

TEST_F(List, WithoutATableIsRefused) {
    const run_result result = list({"scott.nothing"});
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, "vexlo-rescue: no table is selected\n");
}

} // namespace
