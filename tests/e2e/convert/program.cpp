#include "program.h"

#include <stdexcept>
#include <utility>

#include "programs.h"

namespace {

constexpr std::chrono::seconds TIME_LIMIT{120}; // of a machine that does other things as well

// Takes the last line off when it sums up: "vexlo-convert: 1 tables, 2 rows, 0 losses, 0.1 seconds".
std::string take_summary(std::string &err) {
    if (!err.ends_with(" seconds\n"))
        return "";
    const size_t before = err.rfind('\n', err.size() - 2);
    const size_t begin = before == std::string::npos ? 0 : before + 1;
    std::string line = err.substr(begin);
    err.resize(begin);
    line.resize(line.rfind(','));
    return line.substr(line.find(": ") + 2);
}

} // namespace

ProgramResult run_program(const std::vector<std::string> &command, vexlo_test::run_options options) {
    options.time_limit = TIME_LIMIT;
    vexlo_test::run_result result = vexlo_test::run_process(command, options);
    const int status = result.end == vexlo_test::ending::exited ? result.status : -1;
    std::string summary = take_summary(result.err);
    return {status, std::move(result.out), std::move(result.err), std::move(summary)};
}

ProgramResult run_convert(std::vector<std::string> arguments, const vexlo_test::run_options &options) {
    arguments.insert(arguments.begin(), vexlo_test::program_path("vexlo-convert"));
    return run_program(arguments, options);
}

std::string read_back(const std::string &format, const std::string &path, const std::string &table) {
    const ProgramResult result = run_program({PYTHON_PROGRAM, READ_BACK_SCRIPT, format, path, table});
    if (result.status != 0)
        throw std::runtime_error("cannot read back " + path + ": " + result.err);
    return result.out;
}
