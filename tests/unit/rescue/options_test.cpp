#include <gtest/gtest.h>

#include "rescue/options.h"

namespace vexlo {
namespace {

struct Parsed {
    int status;
    RescueOptions options;
    std::string out, err;
};

Parsed parse(std::vector<std::string> words) {
    words.insert(words.begin(), "vexlo-rescue");
    Parsed parsed;
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    parsed.status = parse_rescue_options(words, parsed.options);
    parsed.out = testing::internal::GetCapturedStdout();
    parsed.err = testing::internal::GetCapturedStderr();
    return parsed;
}

// Refused: status 2 and one line on standard error, nothing on standard output.
void expect_refused(const std::vector<std::string> &words) {
    const Parsed parsed = parse(words);
    EXPECT_EQ(parsed.status, 2) << testing::PrintToString(words);
    EXPECT_EQ(parsed.out, "") << testing::PrintToString(words);
    EXPECT_TRUE(parsed.err.starts_with("vexlo-rescue: ")) << parsed.err;
    EXPECT_EQ(parsed.err.find('\n'), parsed.err.size() - 1) << parsed.err;
}

TEST(RescueOptions, ListTakesPatternsAndFiles) {
    const Parsed parsed =
        parse({"list", "--files", "a.dbf", "scott.*", "--files", "b*", "hr.\"Emp\"", "--columns"});
    ASSERT_EQ(parsed.status, -1) << parsed.err;
    EXPECT_EQ(parsed.options.verb, Verb::list);
    EXPECT_EQ(parsed.options.where.files, (std::vector<std::string>{"a.dbf", "b*"}));
    ASSERT_EQ(parsed.options.patterns.size(), 2U);
    EXPECT_EQ(parsed.options.patterns[0].text(), "scott.*");
    EXPECT_TRUE(parsed.options.patterns[1].matches("HR", "Emp"));
    EXPECT_TRUE(parsed.options.columns);
    EXPECT_GE(parsed.options.jobs, 1U);
}

TEST(RescueOptions, UnloadTakesEverythingThatShapesItsOutputs) {
    const Parsed parsed = parse({"unload",
                                 "--to",
                                 "csv",
                                 "--output",
                                 "out",
                                 "--charset",
                                 "WE8ISO8859P1",
                                 "--ncharset",
                                 "UTF8",
                                 "--eol",
                                 "lf",
                                 "--encoding",
                                 "raw",
                                 "--hidden",
                                 "--jobs",
                                 "3",
                                 "--dbid",
                                 "77",
                                 "--by-partition",
                                 "--resume",
                                 "--all-owners",
                                 "--config",
                                 "c.ini",
                                 "--quiet",
                                 "--ignore-maps",
                                 "--trust-blocks",
                                 "--json"});
    ASSERT_EQ(parsed.status, -1) << parsed.err;
    const RescueOptions &options = parsed.options;
    EXPECT_EQ(options.verb, Verb::unload);
    EXPECT_EQ(options.format.format, "csv");
    EXPECT_EQ(options.output, "out");
    EXPECT_EQ(options.charset, "WE8ISO8859P1");
    EXPECT_EQ(options.ncharset, "UTF8");
    EXPECT_EQ(options.jobs, 3U);
    EXPECT_EQ(options.where.dbid, 77U);
    EXPECT_EQ(options.where.config, "c.ini");
    EXPECT_TRUE(options.format.lf && options.format.raw && options.hidden && options.by_partition);
    EXPECT_TRUE(options.resume && options.all_owners && options.quiet && options.json);
    EXPECT_TRUE(options.reading.ignore_maps && options.reading.trust_blocks);
}

TEST(RescueOptions, CheckTakesTheFilesAlone) {
    const Parsed parsed = parse({"check", "--list", "files.txt"});
    ASSERT_EQ(parsed.status, -1) << parsed.err;
    EXPECT_EQ(parsed.options.verb, Verb::check);
    EXPECT_EQ(parsed.options.where.list, "files.txt");
    expect_refused({"check", "scott.emp"});
}

TEST(RescueOptions, NonsenseIsRefusedWithOneLine) {
    expect_refused({});
    expect_refused({"dump"});
    expect_refused({"--jobs", "2"});
    expect_refused({"list", "--nonsense"});
    expect_refused({"list", "--files"});
    expect_refused({"list", "--jobs", "0"});
    expect_refused({"list", "--jobs", "257"});
    expect_refused({"list", "--jobs", "two"});
    expect_refused({"list", "--dbid", "-1"});
    expect_refused({"list", "a.b.c"});
    expect_refused({"list", "--files", "a", "--list", "b"});
    expect_refused({"list", "--files", "a", "--config", "b"});
    expect_refused({"list", "--list", "a", "--config", "b"});
    expect_refused({"list", "--to", "csv"});
    expect_refused({"list", "--output", "d"});
    expect_refused({"check", "--columns"});
    expect_refused({"unload"});
    expect_refused({"unload", "--to", "csv"});
    expect_refused({"unload", "--output", "d"});
    expect_refused({"unload", "--to", "xml", "--output", "d"});
    expect_refused({"unload", "--to", "csv", "--output", "-"});
    expect_refused({"unload", "--to", "csv", "--output", ""});
    expect_refused({"unload", "--to", "csv", "--output", "d", "--eol", "cr"});
    expect_refused({"unload", "--to", "csv", "--output", "d", "--overwrite", "--resume"});
    expect_refused({"unload", "--to", "csv", "--output", "d", "--columns"});
    expect_refused({"unload", "--to", "sqlite", "--output", "d", "--by-partition"});
    expect_refused({"unload", "--to", "csv", "--output", "d", "--ddl-only"});
    expect_refused({"unload", "--to", "sqlite", "--output", "d", "--compress", "gzip"});
    expect_refused({"unload", "--to", "csv", "--output", "d", "line\nbreak.\""});
}

TEST(RescueOptions, HelpAndVersionGoToStandardOutput) {
    for (const std::vector<std::string> &words : {std::vector<std::string>{"--help"}, {"unload", "--help"}}) {
        const Parsed help = parse(words);
        EXPECT_EQ(help.status, 0);
        EXPECT_NE(help.out.find("vexlo-rescue"), std::string::npos);
        EXPECT_EQ(help.err, "");
    }
    const Parsed version = parse({"--version"});
    EXPECT_EQ(version.status, 0);
    EXPECT_TRUE(version.out.starts_with("vexlo-rescue "));
    EXPECT_EQ(parse({"check", "--version"}).out, version.out);
}

std::vector<std::string> unload_words(std::vector<std::string> more) {
    more.insert(more.begin(), {"unload", "--output", "d"});
    if (std::ranges::find(more, "--to") == more.end())
        more.insert(more.end(), {"--to", "csv"});
    return more;
}

bool same(const std::vector<std::string> &one, const std::vector<std::string> &other) {
    return same_outputs(parse(unload_words(one)).options, parse(unload_words(other)).options);
}

TEST(RescueOptions, OutputsAreTheSameWhateverSaysHowTheyAreMade) {
    EXPECT_TRUE(same({}, {"--jobs", "7", "--quiet", "--json", "--resume", "--files", "elsewhere"}));
    EXPECT_TRUE(same({"a.b"}, {"--overwrite", "a.b"}));
}

TEST(RescueOptions, OutputsDifferWithEveryOptionThatShapesThem) {
    for (const std::vector<std::string> &words : {std::vector<std::string>{"a.b"},
                                                  {"--all-owners"},
                                                  {"--ignore-maps"},
                                                  {"--trust-blocks"},
                                                  {"--hidden"},
                                                  {"--by-partition"},
                                                  {"--eol", "lf"},
                                                  {"--encoding", "raw"},
                                                  {"--charset", "UTF8"},
                                                  {"--ncharset", "UTF8"},
                                                  {"--compress", "gzip"},
                                                  {"--dbid", "1"}})
        EXPECT_FALSE(same({}, words)) << words[0];
    EXPECT_FALSE(same({"--to", "sql", "--ddl-only"}, {"--to", "sql", "--data-only"}));
}

} // namespace
} // namespace vexlo
