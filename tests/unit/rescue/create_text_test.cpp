#include <gtest/gtest.h>

#include "rescue/create_text.h"

using namespace vexlo;

namespace {

constexpr char STORAGE[] =
    " PCTFREE 10 PCTUSED 40 INITRANS 1 MAXTRANS 255 STORAGE (  INITIAL 64K NEXT 1024K MINEXTENTS 1 "
    "MAXEXTENTS 2147483645 PCTINCREASE 0 OBJNO 18 EXTENTS (FILE 1 BLOCK 240))";

std::vector<std::string> names_of(const CreateText &text) {
    std::vector<std::string> names;
    for (const CreateColumn &column : text.columns)
        names.push_back(column.name);
    return names;
}

using Names = std::vector<std::string>;

} // namespace

TEST(CreateText, AHeapTableHasItsColumnsInOrderAndItsHeader) {
    const auto text = parse_create_text(
        std::string(
            "CREATE TABLE OBJ$(\"OBJ#\" NUMBER NOT NULL,\"NAME\" VARCHAR2(128) NOT NULL,\"OID$\" RAW(16),"
            "\"SCALED\" NUMBER(10,2) DEFAULT (1+(2)),\"CTIME\" DATE NOT NULL)") +
        STORAGE);
    ASSERT_TRUE(text);
    EXPECT_FALSE(text->is_cluster);
    EXPECT_EQ(text->name, "OBJ$");
    EXPECT_EQ(names_of(*text), (Names{"OBJ#", "NAME", "OID$", "SCALED", "CTIME"}));
    EXPECT_EQ(text->columns[1].type, "VARCHAR2");
    EXPECT_EQ(text->columns[1].length, 128u);
    EXPECT_EQ(text->object, 18u);
    EXPECT_EQ(text->file, 1u);
    EXPECT_EQ(text->block, 240u);
    EXPECT_EQ(text->cluster, "");
    EXPECT_EQ(text->column("CTIME"), 4u);
    EXPECT_FALSE(text->column("CT"));
}

TEST(CreateText, AClusteredTableNamesItsClusterAndKey) {
    const auto text = parse_create_text(
        "CREATE TABLE IND$(\"OBJ#\" NUMBER NOT NULL,\"BO#\" NUMBER NOT NULL) STORAGE (  OBJNO 19 TABNO 3) "
        "CLUSTER C_OBJ#(BO#)");
    ASSERT_TRUE(text);
    EXPECT_EQ(text->object, 19u);
    EXPECT_EQ(text->cluster_table, 3u);
    EXPECT_EQ(text->cluster, "C_OBJ#");
    EXPECT_EQ(text->key, (Names{"BO#"}));
    EXPECT_EQ(text->block, 0u);
}

TEST(CreateText, AClusterHasItsKeyAndHeader) {
    const auto text =
        parse_create_text("CREATE CLUSTER C_OBJ#(\"OBJ#\" NUMBER) PCTFREE 5 STORAGE (  OBJNO 2 EXTENTS "
                          "(FILE 1 BLOCK 144)) SIZE 800");
    ASSERT_TRUE(text);
    EXPECT_TRUE(text->is_cluster);
    EXPECT_EQ(text->name, "C_OBJ#");
    EXPECT_EQ(names_of(*text), (Names{"OBJ#"}));
    EXPECT_EQ(text->block, 144u);
}

TEST(CreateText, OtherTextsAreNone) {
    for (const char *text : {"", "8.0.0.0.0", "CREATE", "CREATE TABLE", "CREATE UNIQUE INDEX I ON T(A)",
                             "CREATE TABLESPACE X", "create table T(A NUMBER)"})
        EXPECT_FALSE(parse_create_text(text)) << text;
}

TEST(CreateText, ATextThatIsCutOffGivesWhatItHas) {
    const std::string whole = std::string("CREATE TABLE T(\"A\" NUMBER,\"B\" VARCHAR2(30))") + STORAGE;
    for (size_t size = 0; size < whole.size(); ++size) {
        const auto text = parse_create_text(whole.substr(0, size));
        EXPECT_LE(text ? text->columns.size() : 0, 2u) << size;
    }
}
