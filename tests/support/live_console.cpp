#include "live_console.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

#include "process.h"
#include "programs.h"

namespace vexlo_test {
namespace {

using steady = std::chrono::steady_clock;

constexpr std::chrono::seconds TIME_LIMIT{60};

struct channel {
    int program; // the end that the program gets
    int test;
};

channel open_terminal() {
    const int test = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (test < 0 || ::grantpt(test) != 0 || ::unlockpt(test) != 0)
        fail_call("terminal");
    const int program = ::open(::ptsname(test), O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (program < 0)
        fail_call("terminal");
    return {program, test};
}

channel open_pipe(bool into_program) {
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0)
        fail_call("pipe");
    return into_program ? channel{fds[0], fds[1]} : channel{fds[1], fds[0]};
}

} // namespace

live_console::live_console(const std::string &config, input kind) : end_(steady::now() + TIME_LIMIT) {
    const channel in = kind == input::terminal ? open_terminal() : open_pipe(true);
    const channel out = open_pipe(false);
    const std::string program = program_path("vexlo"), argument = "config=" + config;
    child_ = ::fork();
    if (child_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::dup2(in.program, STDIN_FILENO);
        ::dup2(out.program, STDOUT_FILENO);
        ::dup2(out.program, STDERR_FILENO);
        ::execl(program.c_str(), program.c_str(), argument.c_str(), static_cast<char *>(nullptr));
        ::_exit(127);
    }
    ::close(in.program);
    ::close(out.program);
    input_ = in.test;
    output_ = out.test;
    if (child_ < 0)
        fail_call("fork");
}

live_console::~live_console() {
    ::close(input_);
    ::close(output_);
    if (child_ > 0) {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
    }
}

void live_console::type(const std::string &text) const {
    if (::write(input_, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        fail_call("type");
}

// Adds what the program says next; false at its end and at the time limit.
bool live_console::receive() {
    pollfd ready{output_, POLLIN, 0};
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end_ - steady::now()).count();
    char text[4096];
    if (left <= 0 || ::poll(&ready, 1, static_cast<int>(left)) <= 0) {
        ::kill(child_, SIGKILL);
        return false;
    }
    const ssize_t n = ::read(output_, text, sizeof text);
    said_.append(text, n > 0 ? static_cast<std::size_t>(n) : 0);
    return n > 0;
}

std::string live_console::wait_for_prompt() {
    std::size_t at;
    while ((at = said_.find(PROMPT)) == std::string::npos)
        if (!receive())
            throw std::runtime_error("no prompt: " + said_);
    const std::string answer = said_.substr(0, at);
    said_.erase(0, at + PROMPT.size());
    return answer;
}

int live_console::wait_for_end() {
    while (receive())
        said_.clear();
    int status = 0;
    ::waitpid(child_, &status, 0);
    child_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

} // namespace vexlo_test
