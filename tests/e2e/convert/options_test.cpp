// What every option refuses.
#include <algorithm>
#include <filesystem>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

struct Nonsense {
    std::string option;
    std::vector<std::string> values; // none for an option that takes none
    std::vector<std::string> beside; // what makes the rest of the command line sound
};

const std::vector<std::string> LIST = {"--list"}, CSV = {"--to", "csv"}, JSONL = {"--to", "jsonl"},
                               SQL = {"--to", "sql"}, SQLITE = {"--to", "sqlite"};

const std::vector<Nonsense> NONSENSE = {
    {"--list", {"=no", "=1"}, {}},
    {"--json", {"=yes"}, LIST},
    {"--quick", {"=0"}, LIST},
    {"--to", {"", "xml", "CSV", "csv,jsonl", "csv\nx", "csv jsonl"}, {}},
    {"--dialect", {"", "db2", "ORACLE", "oracle\n"}, SQL},
    {"--encoding", {"", "latin1", "raw,utf8"}, CSV},
    {"--eol", {"", "cr", "\n"}, CSV},
    {"--null", {"\\.", "a,b", "\"", "a\nb", "\r"}, CSV},
    {"--delimiter", {"", "ab", "\"", "\n", "a", "5", "-", ".", "/", "\\", "\\n", "\x80", "\xC2\xA6"}, CSV},
    {"--no-header", {"=x"}, CSV},
    {"--date-format", {"", "%Q", "%", "%Y%", std::string(1000, 'x')}, CSV},
    {"--json-numbers", {"", "numbers", "String"}, JSONL},
    {"--numbers", {"", "float", "exact,real"}, SQLITE},
    {"--ddl-only", {"=2", "=maybe"}, SQL},
    {"--data-only", {"=x"}, SQL},
    {"--compress", {"", "bzip2", "gz", "gzip,zstd"}, CSV},
    {"--lowercase", {"=x"}, CSV},
    {"--table", {"", "A.B.C", "\"A", "SCOTT.", ".EMP", "A\"B", "\"A\"B", "\"\""}, CSV},
    {"--exclude", {"", "A.B.C", "\"A", "SCOTT.", ".EMP", "A\"B"}, CSV},
    {"--jobs", {"", "0", "-1", "65", "x", "1.5", "2x", "99999999999999999999", "1\n2"}, CSV},
    {"--output", {"", "/dev/null/x", "/proc/nothing/x"}, CSV},
    {"--charset", {"", "NO-SUCH", "AL32UTF8 ", "\n"}, CSV},
    {"--ncharset", {"", "NO-SUCH"}, CSV},
    {"--salvage", {"=x"}, CSV},
    {"--dictionary", {"", "/nowhere", "/dev/null"}, {"--to", "csv", "--salvage"}},
    {"--quiet", {"=x"}, CSV},
    {"--help", {"=x"}, CSV},
    {"--version", {"=x"}, CSV},
};

class RefusedOptions : public testing::Test {
protected:
    RefusedOptions() {
        Dump dump;
        dump.tables = {{.name = "EMP",
                        .columns = {{"ID", 2, 22}, {"N", 1, 20, true}},
                        .rows = {row({value(ora_number("1"))})}}};
        write_text(file_, dump_bytes(dump));
    }

    // One line and status 2, and nothing else has happened.
    void expect_refused(std::vector<std::string> arguments) {
        const std::string words = testing::PrintToString(arguments);
        arguments.insert(arguments.end(), {"--quiet", file_});
        run_options options;
        options.work_dir = dir_.path();
        const ProgramResult result = run_convert(arguments, options);
        EXPECT_EQ(result.status, 2) << words;
        EXPECT_EQ(result.out, "") << words;
        EXPECT_EQ(result.err.substr(0, 15), "vexlo-convert: ") << words;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << words << result.err;
        EXPECT_TRUE(result.err.ends_with('\n')) << words;
        EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_.path()), {}), 1) << words;
    }

    scratch_dir dir_;
    std::string file_ = dir_ / "SCOTT.dat";
};

TEST_F(RefusedOptions, NonsenseIsOneLineAndStatusTwo) {
    for (const Nonsense &nonsense : NONSENSE)
        for (const std::string &value : nonsense.values) {
            std::vector<std::string> arguments = nonsense.beside;
            if (value.starts_with('=')) {
                arguments.push_back(nonsense.option + value);
            } else {
                arguments.insert(arguments.end(), {nonsense.option, value});
            }
            expect_refused(arguments);
        }
}

// An option without its value at the end of the line, and one that is given twice.
TEST_F(RefusedOptions, ValuesThatAreMissingOrTooMany) {
    for (const Nonsense &nonsense : NONSENSE) {
        if (nonsense.values.front().starts_with('='))
            continue;
        std::vector<std::string> arguments = nonsense.beside;
        arguments.insert(arguments.begin(), {file_, "--quiet"});
        arguments.push_back(nonsense.option);
        const ProgramResult result = run_convert(arguments);
        EXPECT_EQ(result.status, 2) << nonsense.option;
        EXPECT_EQ(std::count(result.err.begin(), result.err.end(), '\n'), 1) << nonsense.option << result.err;
    }
    expect_refused({"--to", "csv", "--to", "jsonl"});
    expect_refused({"--to", "csv", "--eol", "lf", "--eol", "crlf"});
    expect_refused({"--to", "csv", "--charset", "AL32UTF8", "--charset", "UTF8"});
    expect_refused({"--to", "csv", "--jobs", "2", "--jobs", "3"});
    expect_refused({"--to", "jsonl", "--eol", "crlf"}); // defaults that mean nothing here
    expect_refused({"--to", "jsonl", "--delimiter", ","});
    expect_refused({"--to", "sql", "--null", ""});
    expect_refused({"--to", "csv", "--numbers", "exact"});
    expect_refused({"--to", "sql", "--json-numbers", "number"});
    expect_refused({"--list", "--encoding", "utf8"});
    expect_refused({"--to", "csv", "--encoding", "raw", "--charset", "AL32UTF8"});
    expect_refused({"--to", "csv", "--encoding", "raw", "--ncharset", "AL16UTF16"});
    expect_refused({"--to", "csv", "--nonsense"});
    expect_refused({"--to", "csv", "--nonsense=\nx"});
    expect_refused({"--to", "csv", "-x"});
    expect_refused({"--to", "csv", "--dictionary", "."});
    expect_refused({"--to", "sql", "--ddl-only", "--data-only"});
}

TEST_F(RefusedOptions, TheTableAboveHasEveryOption) {
    std::set<std::string> known, shown;
    for (const Nonsense &nonsense : NONSENSE)
        known.insert(nonsense.option);
    std::istringstream help(run_convert({"--help"}).out);
    for (std::string word; help >> word;)
        if (const size_t at = word.find("--"); at != std::string::npos && word.size() > at + 2)
            shown.insert(word.substr(at));
    EXPECT_EQ(shown, known);
}

} // namespace
