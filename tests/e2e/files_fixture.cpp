#include "files_fixture.h"

#include <cstdio>
#include <utility>

#include <gtest/gtest.h>

#include "programs.h"

namespace vexlo_test {

namespace {

constexpr std::uint32_t ROOT_ADDRESS = 0x00400009;

} // namespace

sample::DatafileInfo datafile_info(std::uint32_t fno) {
    sample::DatafileInfo info;
    info.fno = fno;
    info.rfn = fno;
    info.rootdba = fno == 1 ? ROOT_ADDRESS : 0;
    return info;
}

site::site() {
    dir_.make_dir("dict");
    dir_.make_dir("data");
    set_config("dictdir=" + dict_dir() + "\ndatadir=" + path("data") + "\ndatafiles=" + list_path() + "\n");
    set_files({make_datafile("system01.dbf", datafile_info(1))});
}

std::string site::make_datafile(const std::string &name, sample::DatafileInfo info) const {
    info.path = path(name);
    const std::uint32_t rootdba = info.rootdba;
    sample::Datafile(std::move(info)).close(rootdba);
    return path(name);
}

void site::set_files(const std::vector<std::string> &paths) const {
    std::string text;
    for (const std::string &file : paths)
        text += file + "\n";
    set_list(text);
}

run_result site::run(const std::vector<std::string> &commands, run_options options) const {
    return run_vexlo(config_path(), commands, std::move(options));
}

run_result site::run_raw(const std::string &input, run_options options) const {
    options.input = input;
    return run_process({program_path("vexlo"), "config=" + config_path()}, options);
}

void expect_start_failure(const run_result &result, const std::string &message) {
    ASSERT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 255) << result.describe();
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(strip_banner(result.err), message);
}

void expect_clean_run(const run_result &result) {
    ASSERT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
    const console_text text = split_console(result.err);
    EXPECT_EQ(text.startup, "");
    ASSERT_FALSE(text.commands.empty());
    EXPECT_EQ(text.commands.back(), "");
}

std::vector<std::string> replies(const run_result &result) {
    std::vector<std::string> commands = split_console(result.err).commands;
    if (!commands.empty())
        commands.pop_back();
    return commands;
}

std::string file_row(const sample::DatafileInfo &info, const std::string &path) {
    char numbers[80];
    std::snprintf(numbers, sizeof numbers, "%-6u%-10u%-16u%-10u%-12zu", info.tsn, info.fno, info.rfn,
                  DATAFILE_BLOCKS, info.block_size);
    return numbers + path + "\n";
}

} // namespace vexlo_test
