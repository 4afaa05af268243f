// The prompt loop: how a line is read, cut and split, and what it answers.
#include <gtest/gtest.h>

#include "files_fixture.h"
#include "programs.h"

namespace vexlo_test {
namespace {

using namespace std::string_literals;
using strings = std::vector<std::string>;

class ShellLoop : public testing::Test {
protected:
    // Types the lines as they are and expects the answers on standard error, then a clean end.
    void expect_replies(const strings &lines, const strings &expected) {
        const run_result result = site_.run(lines);
        expect_clean_run(result);
        EXPECT_EQ(replies(result), expected);
        out_ = result.out;
    }

    site site_;
    std::string out_;
};

std::string invalid(const std::string &word) {
    return "Invalid command \"" + word + "\".\n";
}

std::string failed(const std::string &word) {
    return "Command \"" + word + "\" execute error.\n";
}

std::string set_to(const std::string &name) {
    return "Current user set to \"" + name + "\".\n";
}

TEST_F(ShellLoop, PromptIsSevenBytesOnStandardErrorWithoutNewline) {
    const run_result result = site_.run({"show user"});
    EXPECT_EQ(strip_banner(result.err), "VEXLO> VEXLO> ");
    EXPECT_EQ(result.out, "Current user not set.\n");
}

TEST_F(ShellLoop, BlankLinesOnlyShowThePromptAgain) {
    expect_replies({"", "   ", "\t\t\t", " \t ", "\r", " \r\t"}, {"", "", "", "", "", ""});
    EXPECT_EQ(out_, "");
}

TEST_F(ShellLoop, BlanksAroundTheCommandAreTrimmed) {
    expect_replies({"  show user  ", "\tshow user\t", " \t show \t user \t ", "show user\r"},
                   {"", "", "", ""});
    EXPECT_EQ(out_,
              "Current user not set.\nCurrent user not set.\nCurrent user not set.\nCurrent user not set.\n");
}

TEST_F(ShellLoop, OtherControlCharactersAreNoBlanks) {
    expect_replies({"\vhelp", "help\f", "\fexit"}, {invalid("\vhelp"), invalid("help\f"), invalid("\fexit")});
}

TEST_F(ShellLoop, CommandWordEndsAtSpaceOrTab) {
    expect_replies({"set user a", "set\tuser b", "set \t user c"}, {"", "", ""});
    EXPECT_EQ(out_, set_to("A") + set_to("B") + set_to("C"));
}

TEST_F(ShellLoop, CommandWordsAreCaseSensitiveAndWhole) {
    const strings words{"Help", "HELP", "hel", "helpx", "help;", "\"help\"", "dict", "user", "unloaD"};
    strings expected;
    for (const std::string &word : words)
        expected.push_back(invalid(word));
    expect_replies(words, expected);
    EXPECT_EQ(out_, "");
}

TEST_F(ShellLoop, InvalidCommandIsNamedWithoutItsArguments) {
    expect_replies({"foo bar baz", "foo\tbar", "  %s%n  x"},
                   {invalid("foo"), invalid("foo"), invalid("%s%n")});
}

TEST_F(ShellLoop, WordWithoutArgumentsGetsEmptyArgumentText) {
    expect_replies(
        {"set", "show", "export", "load", "list", "unload"},
        {"set command format error.\n" + failed("set"), "show command format error.\n" + failed("show"),
         "export command format error.\n" + failed("export"), "load command format error.\n" + failed("load"),
         "Invalid list command arguments.\n", "Invalid unload command arguments.\n" + failed("unload")});
    EXPECT_EQ(out_, "");
}

TEST_F(ShellLoop, EveryCommandOfTheTableReachesItsHandlerWithItsArguments) {
    expect_replies({"set user scott", "show user", "list users", "list files", "desc emp", "export x",
                    "load x", "unload x"},
                   {"", "", "", "", failed("desc"), "export command format error.\n" + failed("export"),
                    "load command format error.\n" + failed("load"),
                    "Invalid unload command arguments.\n" + failed("unload")});
    EXPECT_EQ(out_, set_to("SCOTT") + "Current user is \"SCOTT\".\nUser information not loaded.\n" +
                        FILE_LIST_HEADER + file_row(datafile_info(1), site_.system_path()) +
                        "Table column information not loaded.\n");
}

TEST_F(ShellLoop, BeforeADictionaryIsLoadedEveryListSaysSo) {
    expect_replies({"list users", "list tables", "list objects", "list parts"}, {"", "", "", ""});
    EXPECT_EQ(out_, "User information not loaded.\nTable information not loaded.\n"
                    "Object information not loaded.\nTable Partition information not loaded.\n");
}

TEST_F(ShellLoop, FailingCommandDoesNotEndTheLoop) {
    expect_replies({"set", "nonsense", "export", "set user scott"},
                   {"set command format error.\n" + failed("set"), invalid("nonsense"),
                    "export command format error.\n" + failed("export"), ""});
    EXPECT_EQ(out_, set_to("SCOTT"));
}

struct exit_line {
    const char *line;
    bool ends;
};

TEST_F(ShellLoop, ExitIsAWholeWordWhoseArgumentsDoNotMatter) {
    for (const auto &[line, ends] :
         {exit_line{"exit", true}, exit_line{"exit now", true}, exit_line{"exit\tnow", true},
          exit_line{"  exit", true}, exit_line{"\t exit  ", true}, exit_line{"exit\r", true},
          exit_line{"exitx", false}, exit_line{"EXIT", false}, exit_line{"Exit", false},
          exit_line{"exi", false}, exit_line{"exit;", false}, exit_line{"now exit", false}}) {
        SCOPED_TRACE(line);
        const run_result result = site_.run_raw(line + "\nshow user\nexit\n"s);
        expect_clean_run(result);
        EXPECT_EQ(result.out, ends ? "" : "Current user not set.\n");
    }
}

TEST_F(ShellLoop, NothingBehindACarriageReturnOrNulReachesTheCommand) {
    const run_result result = site_.run_raw("set user a\rb\nset user c\0d\nset\ruser e\nshow user\0x\n"
                                            "\rshow user\n\0show user\nexit\0now\n"s);
    expect_clean_run(result);
    EXPECT_EQ(replies(result), (strings{"", "", "set command format error.\n" + failed("set"), "", "", ""}));
    EXPECT_EQ(result.out, set_to("A") + set_to("C") + "Current user is \"C\".\n");
}

TEST_F(ShellLoop, LineIsCutTo511CharactersAndItsRestIsDropped) {
    const std::string kept(511, 'x');
    expect_replies({kept, kept + "y", kept + " show user", std::string(5000, 'z'), "show user"},
                   {invalid(kept), invalid(kept), invalid(kept), invalid(std::string(511, 'z')), ""});
    EXPECT_EQ(out_, "Current user not set.\n");
}

TEST_F(ShellLoop, LeadingBlanksCountTowardsTheCut) {
    expect_replies({std::string(510, ' ') + "help", std::string(511, ' ') + "help"}, {invalid("h"), ""});
    EXPECT_EQ(out_, "");
}

TEST_F(ShellLoop, ArgumentsAreCutWithTheirLine) {
    const std::string blanks(511 - std::string("show user").size(), ' ');
    expect_replies({"show " + blanks + "user", "show " + blanks + " user"},
                   {"", "show command format error.\n" + failed("show")});
    EXPECT_EQ(out_, "Current user not set.\n");
}

TEST_F(ShellLoop, BytesAbove127AreOrdinaryCharacters) {
    expect_replies({"\xFF\x80", "\xA0help"}, {invalid("\xFF\x80"), invalid("\xA0help")});
}

TEST_F(ShellLoop, LastLineNeedsNoNewline) {
    const run_result result = site_.run_raw("show user\nexit");
    expect_clean_run(result);
    EXPECT_EQ(result.out, "Current user not set.\n");
}

TEST_F(ShellLoop, EndOfInputIsNotDetectedAndPromptsForEver) {
    run_options options;
    options.output_limit = 1 << 16;
    for (const char *input : {"", "set user scott\nshow user\n", "set user scott\nshow user"}) {
        SCOPED_TRACE(input);
        const run_result result = site_.run_raw(input, options);
        EXPECT_EQ(result.end, ending::output_limit) << result.describe();
        const std::string text = strip_banner(result.err);
        std::string prompts;
        while (prompts.size() < text.size())
            prompts += "VEXLO> ";
        EXPECT_EQ(text, prompts.substr(0, text.size()));
        EXPECT_EQ(result.out, *input == '\0' ? "" : set_to("SCOTT") + "Current user is \"SCOTT\".\n");
    }
}

// The streams as the user sees them: what a command printed stands before the next prompt.
const char MERGED[] = "VEXLO> Current user set to \"SCOTT\".\n"
                      "VEXLO> show command format error.\nCommand \"show\" execute error.\n"
                      "VEXLO> Current user is \"SCOTT\".\n"
                      "VEXLO> Table column information not loaded.\nCommand \"desc\" execute error.\n"
                      "VEXLO> ";
const strings MERGED_COMMANDS{"set user scott", "show", "show user", "desc emp"};

TEST_F(ShellLoop, OutputOrderIsKeptWhenBothStreamsShareAPipe) {
    run_options options;
    options.mode = capture::merged;
    const run_result result = site_.run(MERGED_COMMANDS, options);
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(strip_banner(result.out), MERGED);
}

TEST_F(ShellLoop, OutputOrderIsKeptWhenBothStreamsShareAFile) {
    const std::string file = site_.path("console.txt");
    run_options options;
    for (const std::string &command : MERGED_COMMANDS)
        options.input += command + "\n";
    options.input += "exit\n";
    const run_result result = run_process({"/bin/sh", "-c", "exec \"$0\" \"$1\" >\"$2\" 2>&1",
                                           program_path("vexlo"), "config=" + site_.config_path(), file},
                                          options);
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(strip_banner(read_text(file)), MERGED);
}

TEST_F(ShellLoop, ExitClosesEveryDatafile) {
    site_.set_files({site_.system_path(), site_.make_datafile("users01.dbf", datafile_info(4)),
                     site_.make_datafile("users02.dbf", datafile_info(5))});
    run_options options;
    options.io_rules = "call=open,path=.dbf;call=close,path=.dbf";
    options.io_log = site_.path("io.log");
    expect_clean_run(site_.run({}, options));
    const std::string log = read_text(options.io_log);
    EXPECT_NE(log.find("call=open,path=.dbf calls=3 "), std::string::npos) << log;
    EXPECT_NE(log.find("call=close,path=.dbf calls=3 "), std::string::npos) << log;
}

} // namespace
} // namespace vexlo_test
