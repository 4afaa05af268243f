// "list": sub-commands, owner arguments, and the exact lines of each listing.
#include "catalogue_fixture.h"

namespace vexlo_test {
namespace {

const std::string INVALID = "Invalid list command arguments.\n";

const std::string TABLE_HEADER =
    "OWNER                           TABLE_NAME                      COLS  FILE#  BLOCK#\n";
const std::string MIXED_TABLES =
    "Mixed                           Case                            1         4    1120\n";
const std::string SCOTT_TABLES =
    "SCOTT                           EMP                             8         4    1100\n"
    "SCOTT                           DEPT                            2         4    1101\n"
    "SCOTT                           SALES                           1         4    1102\n"
    "SCOTT                           COMPO                           1         4    1105\n";
const std::string MORE_SCOTT_TABLES =
    "SCOTT                           ORDERS                          2         4    1131\n"
    "SCOTT                           DROPPED                         1         4    1140\n";
const std::string SYS_TABLES =
    "SYS                             TAB$                            1         4    1150\n";
const std::string ALL_TABLES = TABLE_HEADER + SCOTT_TABLES + MIXED_TABLES + MORE_SCOTT_TABLES + SYS_TABLES;
const std::string TABLES_OF_SCOTT = TABLE_HEADER + SCOTT_TABLES + MORE_SCOTT_TABLES;
const std::string TABLES_OF_MIXED = TABLE_HEADER + MIXED_TABLES;

const std::string OBJECT_HEADER = "OWNER                           OBJECT_NAME                     TYPE\n";
const std::string OBJECTS_OF_MIXED =
    OBJECT_HEADER + "Mixed                           Case                            2   \n";

class ListCommand : public catalogue_test {};

TEST_F(ListCommand, UnknownSubCommandsAreInvalidButNoFailure) {
    std::vector<answer> answers;
    for (const char *command : {"list", "list file", "list user", "list table", "list object", "list part",
                                "list FILES", "list Tables", "list nothing", "list \"users\"", "list ,users"})
        answers.push_back({command, "", INVALID});
    expect_answers(answers);
}

TEST_F(ListCommand, OnlyThePrefixOfASubCommandCounts) {
    const std::string users = "USER_ID     DEFAULT TS#     USER_NAME\n"
                              "0           0               SYS\n"
                              "10          4               SCOTT\n"
                              "11          12              Mixed\n";
    const std::string files = "TS#   FILE_ID   RELATIVE_FNO    BLOCKS    BLOCK_SIZE  FILE_NAME\n"
                              "0     1         1               5         8192        " +
                              home_.datafile() + "\n";
    expect_answers({{"list users", users, ""},
                    {"list usersX of every kind", users, ""},
                    {"list filesystem", files, ""},
                    {"list tablesX scott", TABLES_OF_SCOTT, ""},
                    {"list tablespaces", ALL_TABLES, ""},
                    {"list objectsX \"Mixed\"", OBJECTS_OF_MIXED, ""},
                    {"list partsX scott.dept", "", "\"SCOTT\".\"DEPT\" is not partition table.\n"}});
}

TEST_F(ListCommand, BlanksAroundTheArgumentsAreSkipped) {
    expect_answers({{"list \t tables \t scott", TABLES_OF_SCOTT, ""},
                    {"  list\ttables\tscott  \t", TABLES_OF_SCOTT, ""}});
}

TEST_F(ListCommand, FilesShowEveryConfiguredFile) {
    const std::string second = home_.file("users01.dbf");
    bytes raw = read_file(home_.datafile());
    const std::size_t header = 8192;
    raw[header + 52] = 7;  // absolute file number
    raw[header + 332] = 4; // tablespace
    raw[header + 368] = 0; // relative file number 1024
    raw[header + 369] = 4;
    raw[header + 46] = 1; // 65541 blocks
    write_file(second, raw);
    write_text(home_.file("datafiles.txt"), home_.datafile() + "\n" + second + "\n");
    expect_answers({{"list files",
                     "TS#   FILE_ID   RELATIVE_FNO    BLOCKS    BLOCK_SIZE  FILE_NAME\n"
                     "0     1         1               5         8192        " +
                         home_.datafile() +
                         "\n"
                         "4     7         1024            65541     8192        " +
                         second + "\n",
                     ""}});
}

TEST_F(ListCommand, NumbersAreSignedAndLongOnesWidenTheirColumns) {
    store_changed([](dictionary &d) {
        d = {};
        d.users = {{0, 0, 4, 3, "SYS"}, {0xFFFFFFFF, 0, 2147483647, 3, "A_NAME_OF_THIRTY_CHARACTERS_XX"}};
        d.objects = {{0, 1, 0xFFFFFFFF, 0xFFFFFFFE, "A_TABLE_OF_THIRTYONE_CHARACTERS"}};
        dict_tab tab;
        tab.objn = 1;
        tab.ncol = 12345;
        tab.fno = 1234567;
        tab.blk = 0x80000000;
        d.tables = {tab};
    });
    expect_answers(
        {{"list users",
          "USER_ID     DEFAULT TS#     USER_NAME\n"
          "0           4               SYS\n"
          "-1          2147483647      A_NAME_OF_THIRTY_CHARACTERS_XX\n",
          ""},
         {"list tables",
          TABLE_HEADER + "A_NAME_OF_THIRTY_CHARACTERS_XX  A_TABLE_OF_THIRTYONE_CHARACTERS  12345  1234567  "
                         "-2147483648\n",
          ""},
         {"list objects",
          OBJECT_HEADER + "A_NAME_OF_THIRTY_CHARACTERS_XX  A_TABLE_OF_THIRTYONE_CHARACTERS  -2  \n", ""}});
}

// ---- Owners ---------------------------------------------------------------------------------------------

class ListOwner : public catalogue_test {};

TEST_F(ListOwner, NoNameAndNoCurrentUserListEveryTable) {
    expect_answers({{"list tables", ALL_TABLES, ""}});
}

TEST_F(ListOwner, CurrentUserCountsWhereNoNameIsGiven) {
    expect_answers({{"set user scott", "Current user set to \"SCOTT\".\n", ""},
                    {"list tables", TABLES_OF_SCOTT, ""},
                    {"list tables \"Mixed\"", TABLES_OF_MIXED, ""},
                    {"set user \"Mixed\"", "Current user set to \"Mixed\".\n", ""},
                    {"list tables", TABLES_OF_MIXED, ""},
                    {"list tables \"\"", TABLES_OF_MIXED, ""},
                    {"list objects", OBJECTS_OF_MIXED, ""}});
}

TEST_F(ListOwner, UnknownCurrentUserIsNotFoundEither) {
    expect_answers({{"set user nobody", "Current user set to \"NOBODY\".\n", ""},
                    {"list tables", "", "user \"NOBODY\" not found.\n"},
                    {"list objects", "", "user \"NOBODY\" not found.\n"}});
}

TEST_F(ListOwner, UnquotedNameIsUpperCasedAndQuotedNameIsTakenAsTyped) {
    expect_answers({{"list tables scott", TABLES_OF_SCOTT, ""},
                    {"list tables SCOTT", TABLES_OF_SCOTT, ""},
                    {"list tables \"scott\"", "", "user \"scott\" not found.\n"},
                    {"list tables \"SCOTT\"", TABLES_OF_SCOTT, ""},
                    {"list tables \"SCOTT\" and more", TABLES_OF_SCOTT, ""},
                    {"list tables \"SCOTT", TABLES_OF_SCOTT, ""},
                    {"list tables mixed", "", "user \"MIXED\" not found.\n"},
                    {"list tables \"Mixed\"", TABLES_OF_MIXED, ""}});
}

TEST_F(ListOwner, UnquotedNameIsTheWholeRestOfTheText) {
    expect_answers({{"list tables scott tiger", "", "user \"SCOTT TIGER\" not found.\n"},
                    {"list tables scott.emp", "", "user \"SCOTT.EMP\" not found.\n"},
                    {"list tables scott\"", "", "user \"SCOTT\"\" not found.\n"}});
}

TEST_F(ListOwner, UnknownOwnerGivesTheMessageWithoutAHeader) {
    expect_answers({{"list tables nosuch", "", "user \"NOSUCH\" not found.\n"},
                    {"list objects nosuch", "", "user \"NOSUCH\" not found.\n"}});
}

TEST_F(ListOwner, NamesKeep31Characters) {
    const std::string kept = "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234";
    store_changed([&](dictionary &d) { d.users[2].name = kept; });
    const std::string tables =
        TABLE_HEADER + kept + "  Case                            1         4    1120\n";
    expect_answers({{"list tables abcdefghijklmnopqrstuvwxyz0123456789", tables, ""},
                    {"list tables \"" + kept + "cut off\"", tables, ""},
                    {"list tables z" + kept, "", "user \"Z" + kept.substr(0, 30) + "\" not found.\n"}});
}

TEST_F(ListOwner, FirstOfTwoUsersWithOneNameCounts) {
    store_changed([](dictionary &d) { d.users[2].name = "SCOTT"; });
    expect_answers({{"list tables scott", TABLES_OF_SCOTT, ""}});
}

TEST_F(ListOwner, OwnersAreComparedByIndexNotByUserNumber) {
    store_changed([](dictionary &d) { d.users.insert(d.users.begin() + 1, {2, 0, 0, 3, "TWO"}); });
    expect_answers({{"list tables two", TABLE_HEADER, ""}, {"list tables scott", TABLES_OF_SCOTT, ""}});
}

TEST_F(ListOwner, WithoutAnyUserEveryNameStandsForTheFirstIndex) {
    store_changed([](dictionary &d) {
        d = {};
        d.objects = {{0, 1, 1, 2, "ORPHAN"}};
        dict_tab tab;
        tab.objn = 1;
        d.tables = {tab};
    });
    const std::string table =
        "PUBLIC                          ORPHAN                          0         0       0\n";
    expect_answers({{"list tables", TABLE_HEADER + table, ""},
                    {"list tables nosuch", TABLE_HEADER, ""},
                    {"list objects nosuch", OBJECT_HEADER, ""}});
}

// ---- Objects --------------------------------------------------------------------------------------------

class ListObjects : public catalogue_test {};

TEST_F(ListObjects, AllObjectsWithPublicOnesInArrayOrder) {
    expect_answers({{"list objects",
                     OBJECT_HEADER + "SCOTT                           EMP                             2   \n"
                                     "SCOTT                           DEPT                            2   \n"
                                     "SCOTT                           SALES                           2   \n"
                                     "SCOTT                           SALES_P1                        19  \n"
                                     "SCOTT                           SALES_P2                        19  \n"
                                     "SCOTT                           COMPO                           2   \n"
                                     "SCOTT                           COMPO_P                         19  \n"
                                     "SCOTT                           COMPO_SP                        34  \n"
                                     "PUBLIC                          EMP                             5   \n"
                                     "Mixed                           Case                            2   \n"
                                     "SCOTT                           C_ORDERS                        3   \n"
                                     "SCOTT                           ORDERS                          2   \n"
                                     "SCOTT                           DROPPED                         2   \n"
                                     "SYS                             TAB$                            2   \n",
                     ""}});
}

TEST_F(ListObjects, ObjectsOfOneOwner) {
    expect_answers(
        {{"list objects \"Mixed\"", OBJECTS_OF_MIXED, ""},
         {"list objects sys",
          OBJECT_HEADER + "SYS                             TAB$                            2   \n", ""}});
}

TEST_F(ListObjects, PublicIsNoOwnerThatCanBeAskedFor) {
    expect_answers({{"list objects public", "", "user \"PUBLIC\" not found.\n"}});
}

TEST_F(ListObjects, EmptyArraysShowTheHeaderAlone) {
    store_changed([](dictionary &d) { d = {}; });
    expect_answers({{"list objects", OBJECT_HEADER, ""},
                    {"list tables", TABLE_HEADER, ""},
                    {"list users", "USER_ID     DEFAULT TS#     USER_NAME\n", ""}});
}

TEST_F(ListObjects, ResultsAndMessagesStandOnTheirOwnStreams) {
    run_options merged;
    merged.mode = capture::merged;
    const run_result result =
        home_.run({"load dict", "list objects \"Mixed\"", "list tables nosuch"}, merged);
    EXPECT_TRUE(
        result.out.ends_with("VEXLO> " + OBJECTS_OF_MIXED + "VEXLO> user \"NOSUCH\" not found.\nVEXLO> "))
        << result.describe();
}

} // namespace
} // namespace vexlo_test
