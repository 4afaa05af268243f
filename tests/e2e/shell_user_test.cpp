// The commands "help", "set user" and "show user".
#include <gtest/gtest.h>

#include "files_fixture.h"

namespace vexlo_test {
namespace {

const char HELP[] = "\n"
                    "help          show this information\n"
                    "exit          quit program\n"
                    "set user      set current user, followed by user name\n"
                    "              if no user specified for command, current user is default\n"
                    "              example: set user scott\n"
                    "show user     show current user\n"
                    "export dict   export ORACLE data dictionary to files\n"
                    "load dict     load ORACLE data dictionary from files\n"
                    "unload user   unload tables data owned by this user, followed by user name\n"
                    "              example: unload user scott\n"
                    "unload table  unload table data to file, followed by user and table name\n"
                    "              example: unload table scott.emp\n"
                    "list files    list configured data files\n"
                    "list users    list all users exported\n"
                    "list tables   list all tables owned by this user, followed by user name\n"
                    "              if no user name specified, all tables listed.\n"
                    "              example: list tables scott\n"
                    "list objects  list all objects owned by this user, followed by user name\n"
                    "              if no user name specified, all objects listed.\n"
                    "              example: list objects scott\n"
                    "list parts    list table partitions owned by table, followed by user and table name\n"
                    "              example: list parts scott.t_part\n"
                    "desc          describe the table columns, followed by user and table name\n"
                    "              example: desc scott.emp\n"
                    "\n";

class ShellHelp : public testing::Test {
protected:
    site site_;
};

TEST_F(ShellHelp, TextIs1273BytesOnStandardOutput) {
    ASSERT_EQ(sizeof HELP - 1, 1273u);
    const run_result result = site_.run({"help"});
    expect_clean_run(result);
    EXPECT_EQ(result.out, HELP);
    EXPECT_EQ(replies(result), std::vector<std::string>{""});
}

TEST_F(ShellHelp, ArgumentsAndBlanksDoNotMatter) {
    const run_result result = site_.run({"help anything", "  help  ", "help\textra", "help exit"});
    expect_clean_run(result);
    EXPECT_EQ(result.out, std::string(HELP) + HELP + HELP + HELP);
    EXPECT_EQ(replies(result), (std::vector<std::string>{"", "", "", ""}));
}

// One "set user" line and the name that it stores.
struct user_line {
    const char *what;
    std::string line;
    std::string stored;
};

class ShellSetUser : public testing::TestWithParam<user_line> {};

TEST_P(ShellSetUser, Stores) {
    const site here;
    const run_result result = here.run({GetParam().line, "show user"});
    expect_clean_run(result);
    const std::string &name = GetParam().stored;
    const std::string shown =
        name.empty() ? "Current user not set.\n" : "Current user is \"" + name + "\".\n";
    EXPECT_EQ(result.out, "Current user set to \"" + name + "\".\n" + shown);
    EXPECT_EQ(replies(result), (std::vector<std::string>{"", ""}));
}

const std::string LONG_NAME = "abcdefghijklmnopqrstuvwxyz0123456789ABCD";

INSTANTIATE_TEST_SUITE_P(
    Name, ShellSetUser,
    testing::Values(user_line{"UnquotedUpperCased", "set user scott", "SCOTT"},
                    user_line{"QuotedAsTyped", "set user \"Scott\"", "Scott"},
                    user_line{"QuoteLeftOpen", "set user \"Scott", "Scott"},
                    user_line{"TextBehindClosingQuoteIgnored", "set user \"Sc\"ott", "Sc"},
                    user_line{"QuotedBlanksKept", "set user \" a  b \"", " a  b "},
                    user_line{"EmptyQuotes", "set user \"\"", ""}, user_line{"NoName", "set user", ""},
                    user_line{"UnquotedNotCutAtBlanks", "set user a b", "A B"},
                    user_line{"InnerBlanksKeptAsTyped", "set user a \t b", "A \t B"},
                    user_line{"BlanksBeforeNameSkipped", "set user \t  a", "A"},
                    user_line{"TabEndsFirstWord", "set user\ta", "A"},
                    user_line{"QuoteInsideIsACharacter", "set user a\"b\"", "A\"B\""},
                    user_line{"DigitsAndSignsStay", "set user ops$x_1#", "OPS$X_1#"},
                    user_line{"OnlyAToZChange", "set user \xE4z{`@", "\xE4Z{`@"},
                    user_line{"UnquotedCutTo31", "set user " + LONG_NAME, "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234"},
                    user_line{"QuotedCutTo31", "set user \"" + LONG_NAME + "\"",
                              "abcdefghijklmnopqrstuvwxyz01234"},
                    user_line{"ThirtyOneKept", "set user abcdefghijklmnopqrstuvwxyz01234",
                              "ABCDEFGHIJKLMNOPQRSTUVWXYZ01234"}),
    [](const auto &test) { return test.param.what; });

class ShellUser : public testing::Test {
protected:
    site site_;
};

TEST_F(ShellUser, LaterSetReplacesTheNameAndAnEmptyOneClearsIt) {
    const run_result result =
        site_.run({"set user averylongusername", "set user x", "show user", "set user", "show user"});
    expect_clean_run(result);
    EXPECT_EQ(result.out, "Current user set to \"AVERYLONGUSERNAME\".\nCurrent user set to \"X\".\n"
                          "Current user is \"X\".\nCurrent user set to \"\".\nCurrent user not set.\n");
}

TEST_F(ShellUser, NameNeedNotExistInTheDictionary) {
    const run_result result = site_.run({"set user nobody", "show user"});
    EXPECT_EQ(result.out, "Current user set to \"NOBODY\".\nCurrent user is \"NOBODY\".\n");
}

TEST_F(ShellUser, FormatErrorsLeaveTheCurrentUserAlone) {
    const std::string set_error = "set command format error.\nCommand \"set\" execute error.\n";
    const std::string show_error = "show command format error.\nCommand \"show\" execute error.\n";
    const run_result result = site_.run({"set user scott", "set users x", "set USER x", "set", "set use x",
                                         "set x", "set \"user\" x", "show user x", "show USER", "show",
                                         "show users", "show use", "show user"});
    expect_clean_run(result);
    EXPECT_EQ(replies(result),
              (std::vector<std::string>{"", set_error, set_error, set_error, set_error, set_error, set_error,
                                        show_error, show_error, show_error, show_error, show_error, ""}));
    EXPECT_EQ(result.out, "Current user set to \"SCOTT\".\nCurrent user is \"SCOTT\".\n");
}

} // namespace
} // namespace vexlo_test
