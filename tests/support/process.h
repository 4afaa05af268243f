// Running a program under test as a child process, and taking its console output apart.
#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vexlo_test {

constexpr std::string_view PROMPT = "VEXLO> ";

// Throws what errno says, with the name of the call that failed.
[[noreturn]] void fail_call(const char *what);

// How the streams of the child are collected.
enum class capture {
    separate, // standard output in `out`, standard error in `err`
    merged,   // both through one pipe, in the order in which they were written, in `out`
};

struct run_options {
    std::vector<std::pair<std::string, std::string>> env; // added to, or replacing, the inherited environment
    std::string work_dir;                                 // empty: the caller's
    std::string input;                                    // whole standard input
    capture mode = capture::separate;
    std::chrono::milliseconds time_limit{20000};
    std::size_t output_limit = std::size_t{16} << 20; // bytes of both streams together

    // Resource limits of the child, hard and soft. With file_size the child ignores SIGXFSZ, so that a write
    // beyond it fails with EFBIG. address_space does not go together with a sanitizer build, which reserves
    // terabytes of addresses.
    std::optional<unsigned long> file_size;
    std::optional<unsigned long> open_files;
    std::optional<unsigned long> address_space;

    // Rules for the interposer (see interposer.md), which is preloaded when there are any.
    std::string io_rules;
    std::string io_log; // file that receives the rules' totals when the child exits
};

enum class ending { exited, signalled, time_limit, output_limit };

struct run_result {
    ending end = ending::exited;
    int status = -1; // exit status, when it exited
    int signal = 0;  // terminating signal, when it did not
    std::string out;
    std::string err;

    // One line for a failed assertion: how it ended and the end of both streams.
    std::string describe() const;
};

// Runs argv[0] (a path, not searched for) with the arguments `argv`. Returns after the child has ended; at
// a limit the child's process group is killed and the output collected so far is returned. Throws
// std::system_error when the child cannot be started.
run_result run_process(const std::vector<std::string> &argv, const run_options &options = {});

// Runs the console program `binary` with "config=..." and types `commands`, one a line, then "exit".
// `config` is a configuration file, or a directory that holds "config.ini". `options.input` is not used.
run_result run_console(const std::string &binary, const std::string &config,
                       const std::vector<std::string> &commands, run_options options = {});

// run_console on the program under test.
run_result run_vexlo(const std::string &config, const std::vector<std::string> &commands,
                     run_options options = {});

// `err` without the banner. Throws std::invalid_argument when it does not begin with one.
std::string strip_banner(std::string_view err);

// `text` without any prompt.
std::string strip_prompts(std::string_view text);

// Standard error after the banner, cut at the prompts. The last entry of `commands` belongs to the line
// that ended the program (normally empty, for "exit"); `commands` is empty when no prompt was reached.
struct console_text {
    std::string startup;               // between the banner and the first prompt
    std::vector<std::string> commands; // what stands after each prompt
};

// Throws std::invalid_argument when `err` does not begin with the banner.
console_text split_console(std::string_view err);

} // namespace vexlo_test
