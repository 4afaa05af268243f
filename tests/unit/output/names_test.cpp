#include <gtest/gtest.h>

#include "output/names.h"

namespace {

using vexlo::quoted_identifier;
using vexlo::safe_file_name;

TEST(Names, OrdinaryNamesStayAsTheyAre) {
    EXPECT_EQ(safe_file_name("SCOTT.EMP"), "SCOTT.EMP");
    EXPECT_EQ(safe_file_name("SYS_C$01#"), "SYS_C$01#");
    EXPECT_EQ(safe_file_name("\xC3\x84RZTE"), "\xC3\x84RZTE");
}

TEST(Names, LongNamesAreCutBetweenCharacters) {
    std::string name = "ab";
    for (int i = 0; i < 100; ++i)
        name += "\xE2\x82\xAC"; // three bytes each
    EXPECT_EQ(safe_file_name(name), name.substr(0, 2 + 3 * 59));
    EXPECT_EQ(safe_file_name(std::string(179, 'x') + "/y"), std::string(179, 'x'));
    EXPECT_EQ(safe_file_name(std::string(200, 'x')), std::string(180, 'x'));
    EXPECT_EQ(safe_file_name(std::string(300, '\xA9')).size(), 180U);
}

TEST(Names, NeverLeaveTheDirectory) {
    EXPECT_EQ(safe_file_name("../../etc/passwd"), "%2E.%2F..%2Fetc%2Fpasswd");
    EXPECT_EQ(safe_file_name(".."), "%2E.");
    EXPECT_EQ(safe_file_name("."), "%2E");
    EXPECT_EQ(safe_file_name("/abs"), "%2Fabs");
    EXPECT_EQ(safe_file_name(""), "_");
    EXPECT_EQ(safe_file_name(std::string("a\0b\n", 4)), "a%00b%0A");
    EXPECT_EQ(safe_file_name("100%"), "100%25");
    EXPECT_LT(safe_file_name(std::string(1000, '/')).size(), 200U);
}

TEST(Names, UniqueWhateverTheCase) {
    vexlo::UniqueNames names;
    EXPECT_EQ(names.take("ID"), "ID");
    EXPECT_EQ(names.take("id"), "id_2");
    EXPECT_EQ(names.take("ID"), "ID_3");
    EXPECT_EQ(names.take("ID_2"), "ID_2_2");
}

TEST(Names, NumbersFindRoomInTheLongestNames) {
    vexlo::UniqueNames names(8);
    EXPECT_EQ(names.take("ABCDEFGH"), "ABCDEFGH");
    EXPECT_EQ(names.take("abcdefgh"), "abcdef_2");
    EXPECT_EQ(names.take("ABCDEFGH"), "ABCDEF_3");
    EXPECT_EQ(names.take("abcde\xC3\x84h"), "abcde\xC3\x84h");
    EXPECT_EQ(names.take("ABCDE\xC3\x84H"), "ABCDE_2");
}

TEST(Names, PostgresqlTakesSixtyThreeBytes) {
    const vexlo::NameRules rules{false, true, false};
    EXPECT_EQ(rules.apply(std::string(63, 'A')), std::string(63, 'A'));
    EXPECT_EQ(rules.apply(std::string(64, 'A')), std::string(63, 'A'));
    EXPECT_EQ(rules.apply(std::string(62, 'A') + "\xC3\x84"), std::string(62, 'A'));
    EXPECT_EQ(vexlo::UniqueNames(rules.size_max()).take("A"), "A");
}

TEST(Names, ThoseThatPostgresqlKeepsForItself) {
    const vexlo::NameRules rules{true, true, false};
    EXPECT_EQ(rules.apply_to_table("PG_CLASS"), "_pg_class");
    EXPECT_EQ(rules.apply_to_owner("PG_X"), "_pg_x");
    EXPECT_EQ(rules.apply_to_table("pg_" + std::string(60, 'a')), "_pg_" + std::string(59, 'a'));
    EXPECT_EQ(rules.apply_to_table("PGA"), "pga");
    EXPECT_EQ(rules.apply_to_column("PG_CLASS"), "pg_class");
    EXPECT_EQ((vexlo::NameRules{false, true, false}.apply_to_table("PG_CLASS")), "PG_CLASS");
    EXPECT_EQ((vexlo::NameRules{true, false, false}.apply_to_table("PG_CLASS")), "pg_class");
}

TEST(Names, ThoseThatSqliteKeepsForItself) {
    EXPECT_EQ(vexlo::sqlite_table_name("SQLITE_STAT"), "_SQLITE_STAT");
    EXPECT_EQ(vexlo::sqlite_table_name("sqlite_"), "_sqlite_");
    EXPECT_EQ(vexlo::sqlite_table_name("EMP"), "EMP");
}

TEST(Names, QuotesAreDoubled) {
    EXPECT_EQ(quoted_identifier("EMP"), "\"EMP\"");
    EXPECT_EQ(quoted_identifier("a\"b"), "\"a\"\"b\"");
    EXPECT_EQ(quoted_identifier(std::string("a\0b", 3)), "\"ab\"");
}

} // namespace
