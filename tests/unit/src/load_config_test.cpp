// Every form of line that a configuration file can hold, and the settings that it leaves.
#include <ostream>

#include "../clean_context.h"
#include "load_config.h"

namespace vexlo_test {
namespace {

struct settings {
    std::string dict_dir = {}, data_dir = {}, list = {};
    bool checksum = false;
    bool operator==(const settings &) const = default;
};

// Shows the settings in a failed assertion.
void PrintTo(const settings &s, std::ostream *out) {
    *out << "dict \"" << s.dict_dir << "\" data \"" << s.data_dir << "\" list \"" << s.list << "\" checksum "
         << s.checksum;
}

struct config_case {
    const char *what;
    std::string text;
    settings expected;
};

class FilesConfigParser : public clean_context {
protected:
    int load(const std::string &text) const {
        write_text(path("config.ini"), text);
        std::snprintf(g_cfgname, DIR_SIZE, "%s", path("config.ini").c_str());
        return load_config();
    }
};

class FilesConfigSetting : public FilesConfigParser, public testing::WithParamInterface<config_case> {};

TEST_P(FilesConfigSetting, Sets) {
    int result = -1;
    EXPECT_EQ(messages_of([&] { result = load(GetParam().text); }), "");
    EXPECT_EQ(result, 0);
    const settings got{g_ctx.par.dict_dir, g_ctx.par.data_dir, g_dbfile_list, g_ctx.par.flag == PAR_CHECKSUM};
    EXPECT_EQ(got, GetParam().expected);
    EXPECT_EQ(g_ctx.par.flag & ~PAR_CHECKSUM, 0u);
}

const std::string LONG_PATH = "/" + std::string(1014, 'p'); // with "dictdir=" a line of 1023 characters

std::string case_name(const testing::TestParamInfo<config_case> &test) {
    return test.param.what;
}

INSTANTIATE_TEST_SUITE_P(
    Key, FilesConfigSetting,
    testing::Values(config_case{"AllFour",
                                "dictdir  = /u01/dict/    # dictionary files\ndatadir  = /u01/data\n"
                                "datafiles = /u01/datafiles.txt\nchecksum = YES\n",
                                {"/u01/dict", "/u01/data", "/u01/datafiles.txt", true}},
                    config_case{"EmptyFile", "", {}},
                    config_case{"OnlyComments", "# a\n\n  # dictdir=/a\n#\n", {}},
                    config_case{"WithoutBlanks", "dictdir=/a\n", {.dict_dir = "/a"}},
                    config_case{"TrimmedLine", " \t dictdir=/a \t\r\n", {.dict_dir = "/a"}},
                    config_case{"BlanksBeforeTheValue", "dictdir= \t /a\n", {.dict_dir = "/a"}},
                    config_case{"InnerBlanksKept", "dictdir=/a  b\tc\n", {.dict_dir = "/a  b\tc"}},
                    config_case{"CommentBehindTheValue", "dictdir=/a # note\n", {.dict_dir = "/a"}},
                    config_case{"CommentBehindEquals", "dictdir=# note\n", {}},
                    config_case{"ValueWithEquals", "dictdir=/a=b\n", {.dict_dir = "/a=b"}},
                    config_case{"KeyMatchesAsPrefix", "dictdirectory = /d\n", {.dict_dir = "/d"}},
                    config_case{"AnythingBetweenKeyAndEquals", "dictdir /d datadir = x\n", {.dict_dir = "x"}},
                    config_case{"ListKeyMatchesAsPrefix", "datafiles_of_db=/l\n", {.list = "/l"}},
                    config_case{"KeyNotAtTheStart", "x dictdir=/a\n=dictdir=/a\n", {}},
                    config_case{"OtherCase", "Datadir=/x\nDICTDIR=/x\ndataFiles=/x\nCHECKSUM=YES\n", {}},
                    config_case{"UnknownKeys", "dict=/x\ndata=/x\nfoo\nfoo=bar\ndatafile=/x\n", {}},
                    config_case{"LastOfSeveralWins", "datadir=/a\ndatadir=/b\n", {.data_dir = "/b"}},
                    config_case{"LaterEmptyValueWins", "datadir=/a\ndatadir=\n", {}},
                    config_case{"LastLineWithoutNewline",
                                "datadir=/a\ndictdir=/b/",
                                {.dict_dir = "/b", .data_dir = "/a"}}),
    case_name);

INSTANTIATE_TEST_SUITE_P(Slash, FilesConfigSetting,
                         testing::Values(config_case{"OneRemoved",
                                                     "dictdir=/a/\ndatadir=/b/\n",
                                                     {.dict_dir = "/a", .data_dir = "/b"}},
                                         config_case{
                                             "OnlyOneRemoved", "dictdir=/a/b//\n", {.dict_dir = "/a/b/"}},
                                         config_case{"RootBecomesEmpty", "dictdir=/\n", {}},
                                         config_case{"EmptyStaysEmpty", "dictdir=\ndatadir=\n", {}},
                                         config_case{"ListKeepsIt", "datafiles=/l/\n", {.list = "/l/"}}),
                         case_name);

INSTANTIATE_TEST_SUITE_P(
    Length, FilesConfigSetting,
    testing::Values(
        config_case{"LineOf1023CharactersWhole", "dictdir=" + LONG_PATH + "\n", {.dict_dir = LONG_PATH}},
        config_case{"NextPieceIsALineOfItsOwn",
                    "dictdir=" + LONG_PATH + "datadir=/x\n",
                    {.dict_dir = LONG_PATH, .data_dir = "/x"}},
        config_case{"NextPieceOfAValueIsDropped", "dictdir=" + LONG_PATH + "more\n", {.dict_dir = LONG_PATH}},
        config_case{"NextPieceOfACommentIsNoComment",
                    "#" + std::string(1022, '-') + "datadir=/x\n",
                    {.data_dir = "/x"}}),
    case_name);

INSTANTIATE_TEST_SUITE_P(
    Checksum, FilesConfigSetting,
    testing::Values(config_case{"UpperYes", "checksum=YES\n", {.checksum = true}},
                    config_case{"LowerYes", "checksum=yes\n", {.checksum = true}},
                    config_case{"FirstThreeCharactersDecide", "checksum = YESSIR\n", {.checksum = true}},
                    config_case{
                        "LowerFirstThreeCharactersDecide", "checksum = yes, no\n", {.checksum = true}},
                    config_case{"MixedYesIsOff", "checksum=Yes\n", {}},
                    config_case{"TrueIsOff", "checksum=true\n", {}},
                    config_case{"OneIsOff", "checksum=1\n", {}}, config_case{"YeIsOff", "checksum=YE\n", {}},
                    config_case{"EmptyIsOff", "checksum=\n", {}}, config_case{"NoIsOff", "checksum=NO\n", {}},
                    config_case{"OffDoesNotClear", "checksum=YES\nchecksum=NO\n", {.checksum = true}},
                    config_case{"LaterOnSets", "checksum=NO\nchecksum=yes\n", {.checksum = true}},
                    config_case{"KeyMatchesAsPrefix", "checksums=YES\n", {.checksum = true}}),
    case_name);

TEST_F(FilesConfigParser, KeyWithoutEqualsFailsWithTheTrimmedLine) {
    for (const char *line : {"datadir /x", "dictdir", "datafiles: /l", "checksum YES"}) {
        int result = 0;
        EXPECT_EQ(messages_of([&] { result = load(std::string("\t ") + line + " # a=b\n"); }),
                  std::string("parameter format error: ") + line + "\n");
        EXPECT_EQ(result, -1);
    }
}

TEST_F(FilesConfigParser, FailureStopsAtItsLine) {
    messages_of([&] { load("dictdir=/a\ndatadir\ndatafiles=/l\n"); });
    EXPECT_STREQ(g_ctx.par.dict_dir, "/a");
    EXPECT_STREQ(g_dbfile_list, "");
}

TEST_F(FilesConfigParser, MissingFileFails) {
    std::snprintf(g_cfgname, DIR_SIZE, "%s", path("none.ini").c_str());
    int result = 0;
    EXPECT_EQ(messages_of([&] { result = load_config(); }),
              "open " + path("none.ini") + ": No such file or directory\n");
    EXPECT_EQ(result, -1);
}

} // namespace
} // namespace vexlo_test
