// Finding a dictionary table's segment header in the statements of the bootstrap segment.
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "dict/bootstrap.h"

namespace {

struct found {
    int result;
    int tabn;
    uint32_t rdba;
    std::string err;
    bool operator==(const found &) const = default;
};

void PrintTo(const found &f, std::ostream *os) {
    *os << f.result << ", table " << f.tabn << ", rdba " << std::hex << f.rdba << ", \"" << f.err << '"';
}

found find(const std::vector<std::string> &texts, const char *table) {
    std::vector<BOOTSTRAP> rows(texts.size());
    for (size_t i = 0; i < texts.size(); i++)
        strcpy(rows[i].text, texts[i].c_str());
    found f{0, 99, 99, ""};
    testing::internal::CaptureStderr();
    f.result = get_boot_table_rdba(rows.data(), static_cast<int>(rows.size()), table, &f.tabn, &f.rdba);
    f.err = testing::internal::GetCapturedStderr();
    return f;
}

found address(uint32_t file, uint32_t block, int tabn = 0) {
    return {0, tabn, file << 22 | block, ""};
}

found failure(const std::string &err, int tabn = 0) {
    return {-1, tabn, 0, err};
}

const std::string HEAP = "CREATE TABLE OBJ$(X) STORAGE ( EXTENTS (FILE 1 BLOCK 121))";
const std::string MEMBER = "CREATE TABLE USER$(X) STORAGE ( OBJNO 22 TABNO 1) CLUSTER C_USER#(USER#)";
const std::string CLUSTER = "CREATE CLUSTER C_USER#(\"USER#\" NUMBER) STORAGE ( EXTENTS (FILE 1 BLOCK 89))";

TEST(BootTable, HeapTableHasItsOwnStorage) {
    EXPECT_EQ(find({HEAP}, "OBJ$"), address(1, 121));
}

TEST(BootTable, FileNumberStandsInTheTopTenBits) {
    EXPECT_EQ(find({"CREATE TABLE T$ STORAGE (FILE 5 BLOCK 16)"}, "T$").rdba, 0x01400010U);
}

TEST(BootTable, ClusteredTableHasTheStorageOfItsClusterAndItsNumberInIt) {
    EXPECT_EQ(find({HEAP, MEMBER, CLUSTER}, "USER$"), address(1, 89, 1));
    EXPECT_EQ(find({CLUSTER, MEMBER}, "USER$"), address(1, 89, 1));
}

TEST(BootTable, MissingTableIsNamed) {
    EXPECT_EQ(find({HEAP}, "TAB$"), failure("TAB$ table sql_text not found.\n"));
    EXPECT_EQ(find({}, "TAB$"), failure("TAB$ table sql_text not found.\n"));
}

TEST(BootTable, FirstStatementThatBeginsWithTheNameWins) {
    const std::string longer = "CREATE TABLE OBJ$AUTH(X) STORAGE (FILE 1 BLOCK 7)";
    EXPECT_EQ(find({longer, HEAP}, "OBJ$"), address(1, 7));
    EXPECT_EQ(find({HEAP, longer}, "OBJ$"), address(1, 121));
}

TEST(BootTable, FirstThirteenCharactersAreNotLookedAt) {
    EXPECT_EQ(find({"drop table xyOBJ$ STORAGE (FILE 1 BLOCK 7)"}, "OBJ$"), address(1, 7));
}

TEST(BootTable, NameMustStandBehindThirteenCharacters) {
    EXPECT_EQ(find({"CREATE TABLE  OBJ$ STORAGE (FILE 1 BLOCK 7)"}, "OBJ$"),
              failure("OBJ$ table sql_text not found.\n"));
}

TEST(BootTable, TextShorterThanThirteenCharactersMatchesNothing) {
    EXPECT_EQ(find({"8.0.0.0.0", "", "CREATE TABLE", HEAP}, "OBJ$"), address(1, 121));
}

TEST(BootTable, CaseOfTheNameCounts) {
    EXPECT_EQ(find({"CREATE TABLE obj$ STORAGE (FILE 1 BLOCK 7)"}, "OBJ$"),
              failure("OBJ$ table sql_text not found.\n"));
}

TEST(BootTable, StatementWithoutStorageIsPrintedWhole) {
    for (const std::string text :
         {"CREATE TABLE OBJ$(X) FILE 1 BLOCK 7", "CREATE TABLE OBJ$(X)STORAGE (FILE 1)"})
        EXPECT_EQ(find({text}, "OBJ$"), failure("sql_text error:\n" + text + "\n"));
}

TEST(BootTable, StorageIsSearchedFromTheBeginningOfTheText) {
    EXPECT_EQ(find({"A   STORAGE  OBJ$ (FILE 2 BLOCK 8)"}, "OBJ$").rdba, 2U << 22 | 8);
}

TEST(BootTable, WordsBeforeTheStorageClauseDoNotCount) {
    EXPECT_EQ(find({"CREATE TABLE OBJ$(\"FILE 3\" \"BLOCK 4\") STORAGE (FILE 1 BLOCK 7)"}, "OBJ$"),
              address(1, 7));
}

TEST(BootTable, MissingBlockIsAnError) {
    const std::string text = "CREATE TABLE OBJ$ STORAGE (FILE 1)";
    EXPECT_EQ(find({text}, "OBJ$"), failure("sql_text error:\n" + text + "\n"));
}

TEST(BootTable, DigitsEndAtTheFirstOtherCharacterAndMayBeMissing) {
    EXPECT_EQ(find({"CREATE TABLE OBJ$ STORAGE (FILE 1x5 BLOCK 7y9)"}, "OBJ$"), address(1, 7));
    EXPECT_EQ(find({"CREATE TABLE OBJ$ STORAGE (FILE  1 BLOCK x)"}, "OBJ$"), address(0, 0));
}

TEST(BootTable, ClusterClauseMustBeComplete) {
    for (const std::string text :
         {"CREATE TABLE USER$ STORAGE ( ) CLUSTER C_USER#(X)", "CREATE TABLE USER$ STORAGE ( TABNO)"})
        EXPECT_EQ(find({text, CLUSTER}, "USER$"), failure("sql_text error:\n" + text + "\n"));
    const std::string no_cluster = "CREATE TABLE USER$ STORAGE ( TABNO 1)";
    EXPECT_EQ(find({no_cluster, CLUSTER}, "USER$").err, "sql_text error:\n" + no_cluster + "\n");
}

TEST(BootTable, ClusterClauseMustFollowTheTableNumber) {
    const std::string text = "CREATE TABLE USER$ STORAGE ( CLUSTER C_USER#(X) TABNO 1";
    EXPECT_EQ(find({text, CLUSTER}, "USER$").err, "sql_text error:\n" + text + "\n");
}

TEST(BootTable, MissingClusterIsNamed) {
    EXPECT_EQ(find({MEMBER, HEAP}, "USER$").err, "C_USER# cluster sql_text not found.\n");
    EXPECT_EQ(find({MEMBER, HEAP}, "USER$").result, -1);
}

TEST(BootTable, ClusterIsFollowedOnceOnly) {
    const std::string nested = "CREATE CLUSTER C_USER#(X) STORAGE ( TABNO 2) CLUSTER C_OTHER#(X)";
    const std::string other = "CREATE CLUSTER C_OTHER#(X) STORAGE (FILE 1 BLOCK 9)";
    EXPECT_EQ(find({MEMBER, nested, other}, "USER$").err, "sql_text error:\n" + nested + "\n");
}

TEST(BootTable, ErrorBehindAFollowedClusterShowsTheClustersText) {
    const std::string cluster = "CREATE CLUSTER C_USER#(X) STORAGE (FILE 1)";
    EXPECT_EQ(find({MEMBER, cluster}, "USER$").err, "sql_text error:\n" + cluster + "\n");
}

TEST(BootTable, ClustersFileIsSearchedJustBehindItsName) {
    EXPECT_EQ(find({MEMBER, "CREATE CLUSTER C_USER#FILE 1 BLOCK 6"}, "USER$").rdba, 1U << 22 | 6);
}

TEST(BootTable, TextShorterThanFifteenCharactersIsNoCluster) {
    EXPECT_EQ(find({MEMBER, "CREATE CLUSTER", CLUSTER}, "USER$"), address(1, 89, 1));
}

TEST(BootTable, ClusterNameIsCutTo31Characters) {
    const std::string name(40, 'C');
    const std::string member = "CREATE TABLE USER$(X) STORAGE ( TABNO 3) CLUSTER " + name + "(X)";
    EXPECT_EQ(find({member, "CREATE CLUSTER " + name + " FILE 1 BLOCK 5"}, "USER$"), address(1, 5, 3));
    EXPECT_EQ(find({member}, "USER$").err, std::string(31, 'C') + " cluster sql_text not found.\n");
}

TEST(BootTable, ClusterNameWithoutABracketRunsToTheEndOfTheText) {
    EXPECT_EQ(find({"CREATE TABLE USER$ STORAGE ( TABNO 1) CLUSTER C_USER#", CLUSTER}, "USER$"),
              address(1, 89, 1));
}

} // namespace
