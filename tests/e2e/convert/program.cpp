#include "program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

#include "dump_writer.h"
#include "temporary_dir.h"

namespace {

void redirect(const std::string &path, int fd) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (file < 0 || dup2(file, fd) < 0)
        _exit(126);
}

} // namespace

ProgramResult run_program(const std::vector<std::string> &command) {
    TemporaryDir dir;
    std::vector<char *> argv;
    for (const std::string &word : command)
        argv.push_back(const_cast<char *>(word.c_str()));
    argv.push_back(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        redirect(dir / "out", STDOUT_FILENO);
        redirect(dir / "err", STDERR_FILENO);
        execv(argv[0], argv.data());
        _exit(127);
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
        throw std::runtime_error("cannot run " + command[0]);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, read_file(dir / "out"), read_file(dir / "err")};
}

ProgramResult run_convert(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), VEXLO_CONVERT_PROGRAM);
    return run_program(arguments);
}

std::string read_back(const std::string &format, const std::string &path, const std::string &table) {
    const ProgramResult result = run_program({PYTHON_PROGRAM, READ_BACK_SCRIPT, format, path, table});
    if (result.status != 0)
        throw std::runtime_error("cannot read back " + path + ": " + result.err);
    return result.out;
}
