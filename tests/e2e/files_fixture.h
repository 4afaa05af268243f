// A configuration, a datafile list and datafiles without content: all that the program needs to reach its
// prompt.
#pragma once

#include <string>
#include <vector>

#include "process.h"
#include "sample/datafile.h"
#include "scratch_dir.h"

namespace vexlo_test {

constexpr std::size_t BLOCK_SIZE = 8192;

// One datafile as its headers state it, BLOCK_SIZE, tablespace 0. File number 1 is the SYSTEM datafile:
// only it has a root address.
sample::DatafileInfo datafile_info(std::uint32_t fno);

// A directory with config.ini, files.txt and, at first, the SYSTEM datafile system01.dbf alone.
class site {
public:
    site();

    // Path of `name` inside the directory.
    std::string path(const std::string &name) const { return dir_.file(name); }
    std::string system_path() const { return path("system01.dbf"); }
    std::string config_path() const { return path("config.ini"); }
    std::string list_path() const { return path("files.txt"); }
    std::string dict_dir() const { return path("dict"); }

    // Writes the datafile and returns its path; the list stays as it is.
    std::string make_datafile(const std::string &name, sample::DatafileInfo info) const;

    void set_config(const std::string &text) const { write_text(config_path(), text); }
    void set_list(const std::string &text) const { write_text(list_path(), text); }
    // The paths, one a line, each ended by a newline.
    void set_files(const std::vector<std::string> &paths) const;

    // Runs the program, types `commands` and then "exit".
    run_result run(const std::vector<std::string> &commands = {}, run_options options = {}) const;

    // Runs the program with `input` as it is for its standard input.
    run_result run_raw(const std::string &input, run_options options = {}) const;

private:
    scratch_dir dir_;
};

// Expects the program to have ended with status 255 after exactly `message`, before any prompt.
void expect_start_failure(const run_result &result, const std::string &message);

// Expects the program to have ended through "exit" after a start without a message.
void expect_clean_run(const run_result &result);

// What standard error says after each command; the entry of "exit" is left out.
std::vector<std::string> replies(const run_result &result);

// The row that "list files" prints for a datafile.
std::string file_row(const sample::DatafileInfo &info, const std::string &path);

inline constexpr char FILE_LIST_HEADER[] =
    "TS#   FILE_ID   RELATIVE_FNO    BLOCKS    BLOCK_SIZE  FILE_NAME\n";

// Blocks that the header of such a datafile states.
inline constexpr std::uint32_t DATAFILE_BLOCKS = 8;

} // namespace vexlo_test
