// Every command in every state that a load can leave: before it, after one that stopped, after a second one
// that stopped, and after the one that repairs it.
#include <filesystem>

#include <gtest/gtest.h>

#include "console_texts.h"
#include "store_fixture.h"

namespace vexlo_test {
namespace {

const std::vector<std::string> state_commands{"list users",       "list tables",
                                              "list objects",     "list parts scott.sales",
                                              "desc scott.emp",   "unload table scott.emp",
                                              "unload user scott"};

// What one command prints.
struct answer {
    std::string out;
    std::string err;
};

// Runs `before`, then the state_commands, whose answers are given in their order.
void expect_answers(const console_home &home, const std::vector<std::string> &before,
                    const std::vector<std::string> &said_before, const std::vector<answer> &answers,
                    const run_options &options = {}) {
    std::vector<std::string> commands = before, err = said_before;
    std::string out;
    for (std::size_t i = 0; i < answers.size(); i++) {
        commands.push_back(state_commands[i]);
        out += answers[i].out;
        err.push_back(answers[i].err);
    }
    expect_console(home.run(commands, options), out, err);
}

const std::vector<answer> nothing_loaded{
    {"User information not loaded.\n", ""},
    {"Table information not loaded.\n", ""},
    {"Object information not loaded.\n", ""},
    {"Table Partition information not loaded.\n", ""},
    {"Table column information not loaded.\n", DESC_FAILED},
    {"", "user \"SCOTT\" not found.\n" + UNLOAD_FAILED},
    {"", "user \"SCOTT\" not found.\n" + UNLOAD_FAILED},
};

TEST(StateBeforeLoad, EveryCommandSaysThatNothingIsLoaded) {
    expect_answers(console_home(), {}, {}, nothing_loaded);
}

TEST(StateBeforeLoad, NullChecksComeBeforeTheArgumentsAreLookedAt) {
    expect_console(console_home().run({"list tables nosuch", "list objects nosuch", "list parts", "desc"}),
                   "Table information not loaded.\nObject information not loaded.\n"
                   "Table Partition information not loaded.\nTable column information not loaded.\n",
                   {"", "", "", DESC_FAILED});
}

TEST(StateBeforeLoad, DatafilesAreListedAtOnce) {
    const console_home home;
    expect_console(home.run({"list files"}),
                   "TS#   FILE_ID   RELATIVE_FNO    BLOCKS    BLOCK_SIZE  FILE_NAME\n"
                   "0     1         1               5         8192        " +
                       home.datafile() + "\n",
                   {""});
}

TEST(StateBeforeLoad, MissingDictionaryDirectoryFailsTheLoadTwice) {
    const console_home home;
    write_text(home.file("config.ini"),
               "dictdir=" + home.file("missing") + "\ndatafiles=" + home.file("datafiles.txt") + "\n");
    const std::string failed = step_label("load", "user") + "open " + home.file("missing/user.dat") +
                               ": No such file or directory\n" + LOAD_FAILED;
    expect_answers(home, {"load dict", "load dict"}, {failed, failed}, nothing_loaded);
}

TEST(StateWithoutDataDirectory, UnloadsFailAndListingsDoNot) {
    const console_home home;
    const dictionary content = small_dictionary();
    home.store(content);
    std::filesystem::remove(home.data_dir());
    const std::string table =
        "open " + home.data_dir() + "/SCOTT_EMP.dat: No such file or directory\n" + UNLOAD_FAILED;
    const std::string user =
        "open " + home.data_dir() + "/SCOTT.dat: No such file or directory\n" + UNLOAD_FAILED;
    expect_console(home.run({"load dict", "unload table scott.emp", "unload table scott.emp",
                             "unload user scott", "unload user scott", "desc sys.tab$"}),
                   "table \"DROPPED\" is dropped.\ntable \"DROPPED\" is dropped.\n"
                   "COL#  SEGCOL# NAME                            TYPE\n",
                   {load_lines(content), table, table, user, user, ""});
}

// ---- A load that stops at one of its files ----------------------------------------------------------------

class StateAfterFailedLoad : public testing::TestWithParam<std::size_t> {
protected:
    StateAfterFailedLoad() { home_.store(content_); }

    // What the load prints that cannot open the file under test.
    std::string stopped() const {
        return load_lines(content_, GetParam()) + step_label("load", name()) + "open " +
               home_.dict_file(name()) + ": No such file or directory\n" + LOAD_FAILED;
    }

    const std::string &name() const { return loaded_names[GetParam()]; }

    // The first `n` opens of the file under test pass and the next one fails.
    run_options fail_open_behind(int n) const {
        run_options options;
        options.io_rules =
            "call=open,path=/" + name() + ".dat,nth=" + std::to_string(n + 1) + ",errno=ENOENT";
        return options;
    }

    static std::string users() {
        return "USER_ID     DEFAULT TS#     USER_NAME\n"
               "0           0               SYS\n"
               "10          4               SCOTT\n"
               "11          12              Mixed\n";
    }

    // Before owners and tables are resolved, a table shows the first owner and the first object.
    std::string unresolved_tables() const {
        std::string text =
            "OWNER                           TABLE_NAME                      COLS  FILE#  BLOCK#\n";
        for (const dict_tab &tab : content_.tables)
            text += "SYS                             EMP                             " +
                    std::to_string(tab.ncol) + "         4    " + std::to_string(tab.blk) + "\n";
        return text;
    }

    // Before owners are resolved, a user number stands where the owner's index will, and one that is no index
    // shows no owner.
    std::string unresolved_objects() const {
        std::string text = "OWNER                           OBJECT_NAME                     TYPE\n";
        for (const dict_obj &obj : content_.objects) {
            std::string owner = obj.owner < content_.users.size() ? content_.users[obj.owner].name : "";
            owner.resize(32, ' ');
            std::string object = obj.name, type = std::to_string(obj.type);
            object.resize(32, ' ');
            type.resize(4, ' ');
            text += owner + object + type + "\n";
        }
        return text;
    }

    std::vector<answer> answers_after_first_load() const {
        const std::size_t files = GetParam();
        std::vector<answer> answers = nothing_loaded;
        const std::string no_table = "table \"EMP\" not found.\n";
        if (files > 0) {
            answers[0] = {users(), ""};
            answers[5].err = no_table + UNLOAD_FAILED;
            answers[6] = {"no table to unload for user \"SCOTT\".\n", ""};
        }
        if (files > 2)
            answers[2] = {unresolved_objects(), ""};
        if (files > 3)
            answers[1] = {unresolved_tables(), ""};
        if (files > 4)
            answers[4] = {"", no_table + DESC_FAILED};
        if (files > 5)
            answers[3] = {"", "table \"SALES\" not found.\n"};
        return answers;
    }

    console_home home_;
    const dictionary content_ = small_dictionary();
};

INSTANTIATE_TEST_SUITE_P(File, StateAfterFailedLoad, testing::Range(std::size_t{0}, loaded_names.size()),
                         [](const auto &test) { return loaded_names[test.param]; });

TEST_P(StateAfterFailedLoad, ArraysBeforeTheMissingFileAreLoadedAndTheOthersAreNot) {
    std::filesystem::remove(home_.dict_file(name()));
    expect_answers(home_, {"load dict"}, {stopped()}, answers_after_first_load());
}

TEST_P(StateAfterFailedLoad, TheSameAgainAfterASecondFailure) {
    std::filesystem::remove(home_.dict_file(name()));
    expect_answers(home_, {"load dict", "load dict"}, {stopped(), stopped()}, answers_after_first_load());
}

TEST_P(StateAfterFailedLoad, UnreadableFileEndsTheLoadWithTheSystemsText) {
    run_options options;
    options.io_rules = "call=read,path=/" + name() + ".dat,errno=EIO";
    expect_console(home_.run({"load dict"}, options), "",
                   {load_lines(content_, GetParam()) + step_label("load", name()) + "read " +
                    home_.dict_file(name()) + ": Input/output error\n" + LOAD_FAILED});
}

// After a good load a second one stops: only the slot of its file is null.
TEST_P(StateAfterFailedLoad, FileMissingInASecondLoadEmptiesItsSlotAlone) {
    const std::vector<std::string> after{"list users", "list tables nosuch", "list objects nosuch",
                                         "list parts", "desc"};
    std::vector<answer> answers{{users(), ""},
                                {"", "user \"NOSUCH\" not found.\n"},
                                {"", "user \"NOSUCH\" not found.\n"},
                                {"", "user not specified.\n"},
                                {"", "user not specified.\n" + DESC_FAILED}};
    if (name() == "user")
        answers = {{"User information not loaded.\n", ""},
                   {NO_DICTIONARY, ""},
                   {NO_DICTIONARY, ""},
                   {"", NO_DICTIONARY},
                   {"", NO_DICTIONARY + DESC_FAILED}};
    if (name() == "obj")
        answers[2] = {"Object information not loaded.\n", ""};
    if (name() == "tab") {
        answers[1] = {"Table information not loaded.\n", ""};
        answers[3] = {"", NO_DICTIONARY};
        answers[4] = {"", NO_DICTIONARY + DESC_FAILED};
    }
    if (name() == "col")
        answers[4] = {"Table column information not loaded.\n", DESC_FAILED};
    if (name() == "tabpart")
        answers[3] = {"Table Partition information not loaded.\n", ""};

    std::vector<std::string> commands{"load dict", "load dict"}, err{load_lines(content_), stopped()};
    std::string out;
    for (std::size_t i = 0; i < after.size(); i++) {
        commands.push_back(after[i]);
        out += answers[i].out;
        err.push_back(answers[i].err);
    }
    expect_console(home_.run(commands, fail_open_behind(1)), out, err);
}

TEST_P(StateAfterFailedLoad, ListingsBesideArraysOfTwoLoadsDoNotLeaveThem) {
    const run_result result =
        home_.run({"load dict", "load dict", "list users", "list tables", "list objects",
                   "list parts scott.sales", "desc scott.emp", "list parts mixed.case"},
                  fail_open_behind(1));
    EXPECT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
}

TEST_P(StateAfterFailedLoad, LaterSuccessfulLoadRepairsEverything) {
    const std::vector<std::string> shown{"list users", "list tables", "list objects",
                                         "list parts scott.sales", "desc scott.emp"};
    std::vector<std::string> clean{"load dict"}, repaired{"load dict", "load dict", "load dict"};
    clean.insert(clean.end(), shown.begin(), shown.end());
    repaired.insert(repaired.end(), shown.begin(), shown.end());
    const std::string expected = home_.run(clean).out;
    EXPECT_NE(expected, "");
    expect_console(home_.run(repaired, fail_open_behind(1)), expected,
                   {load_lines(content_), stopped(), load_lines(content_), "", "", "", "", ""});
}

// ---- Truncated files --------------------------------------------------------------------------------------

struct truncation {
    const char *name;
    std::size_t records, size; // records kept of `size` bytes each
    const char *message;       // empty: the load succeeds
};

class StateAfterTruncatedLoad : public testing::TestWithParam<truncation> {};

INSTANTIATE_TEST_SUITE_P(
    File, StateAfterTruncatedLoad,
    testing::Values(truncation{"user", 0, 48, "user of object 100 not found.\n"},
                    truncation{"user", 2, 48, "user of object 120 not found.\n"}, truncation{"ts", 0, 40, ""},
                    truncation{"obj", 0, 48, "object 100 not found.\n"},
                    truncation{"obj", 13, 48, "object 150 not found.\n"},
                    truncation{"tab", 0, 56, "table 105 not found.\n"}, truncation{"tab", 4, 56, ""},
                    truncation{"col", 0, 56, "cluster obj#=130 columns not found.\n"},
                    truncation{"col", 12, 56, "cluster obj#=130 columns not found.\n"},
                    truncation{"tabpart", 1, 32, ""}, truncation{"tabcompart", 0, 32, ""},
                    truncation{"tabsubpart", 0, 32, ""}, truncation{"lob", 0, 40, ""},
                    truncation{"ind", 0, 32, ""}, truncation{"cluster", 0, 16, ""}),
    [](const auto &test) { return test.param.name + std::string("_") + std::to_string(test.param.records); });

TEST_P(StateAfterTruncatedLoad, StopsWhereALinkIsMissingAndEveryListingStillAnswers) {
    const truncation &cut = GetParam();
    const console_home home;
    home.store(small_dictionary());
    resize_file(home.dict_file(cut.name), cut.records * cut.size + cut.size - 1);
    std::vector<std::string> commands{"load dict", "load dict"};
    commands.insert(commands.end(), state_commands.begin(), state_commands.end() - 2);
    const run_result result = home.run(commands);
    ASSERT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
    const std::string failed = *cut.message == '\0' ? "" : cut.message + LOAD_FAILED;
    const console_text said = split_console(result.err);
    for (const std::string &load : {said.commands.at(0), said.commands.at(1)})
        EXPECT_EQ(load.substr(load.rfind("rows done.\n") + 11), failed);
}

// ---- The cluster file, and the point at which a load stops ------------------------------------------------

TEST(StateAfterFailedClusters, TenArraysAreLoadedAndResolved) {
    const console_home home;
    const dictionary content = small_dictionary();
    home.store(content);
    const std::vector<std::string> shown{"list tables", "list objects", "list parts scott.sales",
                                         "desc scott.emp"};
    std::vector<std::string> commands{"load dict"};
    commands.insert(commands.end(), shown.begin(), shown.end());
    const std::string expected = home.run(commands).out;
    std::filesystem::remove(home.dict_file("cluster"));
    expect_console(home.run(commands), expected,
                   {load_lines(content) + "open " + home.dict_file("cluster") +
                        ": No such file or directory\n" + LOAD_FAILED,
                    "", "", "", ""});
}

TEST(StateAfterFailedOwners, ObjectAtWhichTheLoadStopsShowsThePublicOwner) {
    const console_home home;
    dictionary content;
    content.users = {{0, 0, 0, 0, "SYS"}, {10, 0, 0, 0, "SCOTT"}, {11, 0, 0, 0, "HR"}};
    content.objects = {{0, 1, 10, 2, "RESOLVED"}, {0, 2, 77, 2, "STOPPED"}, {0, 3, 2, 2, "RAW"}};
    home.store(content);
    expect_console(home.run({"load dict", "list objects"}),
                   "OWNER                           OBJECT_NAME                     TYPE\n"
                   "SCOTT                           RESOLVED                        2   \n"
                   "PUBLIC                          STOPPED                         2   \n"
                   "HR                              RAW                             2   \n",
                   {load_lines(content) + "user of object 2 not found.\n" + LOAD_FAILED, ""});
}

} // namespace
} // namespace vexlo_test
