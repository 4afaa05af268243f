#include "process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <system_error>

#include "programs.h"

extern char **environ;

namespace vexlo_test {
namespace {

using steady = std::chrono::steady_clock;

constexpr std::string_view BANNER_START = "\nVexlo utilities.\n\n";

// A descriptor that is closed with its owner. Every one is close-on-exec.
class owned_fd {
public:
    owned_fd() = default;
    explicit owned_fd(int fd) : fd_(fd) {}
    ~owned_fd() { reset(); }
    owned_fd(const owned_fd &) = delete;
    owned_fd &operator=(const owned_fd &) = delete;

    int get() const { return fd_; }
    void reset(int fd = -1) {
        if (fd_ != -1)
            ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_ = -1;
};

struct pipe_ends {
    owned_fd read_end;
    owned_fd write_end;

    pipe_ends() {
        int fds[2];
        if (::pipe2(fds, O_CLOEXEC) != 0)
            fail_call("pipe");
        read_end.reset(fds[0]);
        write_end.reset(fds[1]);
    }
};

// The standard input of the child is a file in memory, so that feeding it can never block.
void fill_input(int fd, const std::string &text) {
    std::size_t done = 0;
    while (done < text.size()) {
        const ssize_t n = ::write(fd, text.data() + done, text.size() - done);
        if (n < 0)
            fail_call("write input");
        done += static_cast<std::size_t>(n);
    }
    if (::lseek(fd, 0, SEEK_SET) != 0)
        fail_call("rewind input");
}

// "NAME=value" strings and the null-terminated pointer array that exec takes.
class exec_strings {
public:
    explicit exec_strings(std::vector<std::string> strings) : strings_(std::move(strings)) {
        for (std::string &s : strings_)
            pointers_.push_back(s.data());
        pointers_.push_back(nullptr);
    }
    char *const *get() const { return pointers_.data(); }

private:
    std::vector<std::string> strings_;
    std::vector<char *> pointers_;
};

std::map<std::string, std::string> inherited_environment() {
    std::map<std::string, std::string> env;
    for (char **p = environ; *p != nullptr; ++p) {
        const std::string entry = *p;
        const std::size_t eq = entry.find('=');
        if (eq != std::string::npos)
            env[entry.substr(0, eq)] = entry.substr(eq + 1);
    }
    return env;
}

// The address sanitizer insists on being the first library unless told otherwise.
void add_interposer(std::map<std::string, std::string> &env, const run_options &options) {
    env["LD_PRELOAD"] = VEXLO_INTERPOSER;
    env["VEXLO_IO_RULES"] = options.io_rules;
    env["VEXLO_IO_LOG"] = options.io_log;
    std::string &asan = env["ASAN_OPTIONS"];
    asan += asan.empty() ? "" : ":";
    asan += "verify_asan_link_order=0";
}

std::vector<std::string> child_environment(const run_options &options) {
    std::map<std::string, std::string> env = inherited_environment();
    for (const auto &[name, value] : options.env)
        env[name] = value;
    if (!options.io_rules.empty())
        add_interposer(env, options);
    std::vector<std::string> strings;
    for (const auto &[name, value] : env)
        strings.push_back(name + "=" + value);
    return strings;
}

bool set_limit(__rlimit_resource what, const std::optional<unsigned long> &value) {
    if (!value)
        return true;
    const rlimit limit{*value, *value};
    return ::setrlimit(what, &limit) == 0;
}

bool set_limits(const run_options &options) {
    // An ignored signal stays ignored across exec.
    if (options.file_size)
        ::signal(SIGXFSZ, SIG_IGN);
    return set_limit(RLIMIT_FSIZE, options.file_size) && set_limit(RLIMIT_NOFILE, options.open_files) &&
           set_limit(RLIMIT_AS, options.address_space);
}

struct child_streams {
    int in;
    int out;
    int err;
};

// The child has the standard streams alone, whatever this process had inherited: descriptor numbers and
// limits then mean the same under every test driver.
void keep_standard_streams() {
    constexpr int searched = 1024;
    for (int fd = 3; fd < searched; ++fd)
        ::fcntl(fd, F_SETFD, FD_CLOEXEC);
}

// Signals that the test driver ignores, as under nohup, would be ignored by the child as well.
void take_signals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        ::signal(signal, SIG_DFL);
}

// Runs in the child between fork and exec; returns only when a step failed, with errno set. The child
// leads its own process group, so that a kill reaches what it started, and it ends with an aborted test.
void become(char *const *argv, char *const *env, const child_streams &streams, const run_options &options) {
    ::setpgid(0, 0);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::dup2(streams.in, 0) == -1 || ::dup2(streams.out, 1) == -1 || ::dup2(streams.err, 2) == -1)
        return;
    keep_standard_streams();
    take_signals();
    if (!options.work_dir.empty() && ::chdir(options.work_dir.c_str()) != 0)
        return;
    if (set_limits(options))
        ::execve(argv[0], argv, env);
}

// Starts the child. A failure before or in exec comes back as errno through a pipe that exec closes.
pid_t start_child(const std::vector<std::string> &argv, const child_streams &streams,
                  const run_options &options) {
    const exec_strings args(argv);
    const exec_strings env(child_environment(options));
    pipe_ends report;
    const pid_t pid = ::fork();
    if (pid == -1)
        fail_call("fork");
    if (pid == 0) {
        become(args.get(), env.get(), streams, options);
        const int error = errno;
        [[maybe_unused]] const ssize_t n = ::write(report.write_end.get(), &error, sizeof error);
        ::_exit(127);
    }
    ::setpgid(pid, pid);
    report.write_end.reset();
    int error = 0;
    if (::read(report.read_end.get(), &error, sizeof error) == sizeof error) {
        ::waitpid(pid, nullptr, 0);
        throw std::system_error(error, std::generic_category(), "start " + argv[0]);
    }
    return pid;
}

// One stream that is being collected.
struct collector {
    owned_fd &fd;
    std::string &text;
};

// Takes what is ready; closes the stream at its end.
void collect(collector &stream) {
    std::array<char, 65536> buffer;
    const ssize_t n = ::read(stream.fd.get(), buffer.data(), buffer.size());
    if (n > 0)
        stream.text.append(buffer.data(), static_cast<std::size_t>(n));
    else if (n == 0 || errno != EINTR)
        stream.fd.reset();
}

int milliseconds_until(steady::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady::now()).count();
    return static_cast<int>(std::clamp<decltype(left)>(left, 0, 1000000));
}

// Collects both streams to their ends. Returns `exited` then, or the limit that was met first.
ending collect_streams(std::array<collector, 2> streams, steady::time_point deadline,
                       std::size_t output_limit) {
    while (streams[0].fd.get() != -1 || streams[1].fd.get() != -1) {
        std::array<pollfd, 2> polled{{{streams[0].fd.get(), POLLIN, 0}, {streams[1].fd.get(), POLLIN, 0}}};
        const int ready = ::poll(polled.data(), polled.size(), milliseconds_until(deadline));
        if (ready < 0 && errno != EINTR)
            fail_call("poll");
        if (steady::now() >= deadline)
            return ending::time_limit;
        if (ready < 0)
            continue;
        for (std::size_t i = 0; i < polled.size(); ++i)
            if (polled[i].revents != 0)
                collect(streams[i]);
        if (streams[0].text.size() + streams[1].text.size() > output_limit)
            return ending::output_limit;
    }
    return ending::exited;
}

// Waits for the child, which has closed its output; false when it is still running at the deadline.
bool wait_until(pid_t pid, int &status, steady::time_point deadline) {
    for (;;) {
        const pid_t ended = ::waitpid(pid, &status, WNOHANG);
        if (ended == pid)
            return true;
        if (ended < 0 && errno != EINTR)
            fail_call("waitpid");
        if (steady::now() >= deadline)
            return false;
        ::poll(nullptr, 0, 1);
    }
}

void finish_child(pid_t pid, run_result &result, steady::time_point deadline) {
    int status = 0;
    if (result.end == ending::exited && !wait_until(pid, status, deadline))
        result.end = ending::time_limit;
    if (result.end != ending::exited) {
        ::kill(-pid, SIGKILL);
        ::waitpid(pid, &status, 0);
        result.signal = SIGKILL;
    } else if (WIFSIGNALED(status)) {
        result.end = ending::signalled;
        result.signal = WTERMSIG(status);
    } else {
        result.status = WEXITSTATUS(status);
    }
}

std::string tail(const std::string &text) {
    constexpr std::size_t shown = 2000;
    return text.size() <= shown ? text : "..." + text.substr(text.size() - shown);
}

} // namespace

void fail_call(const char *what) {
    throw std::system_error(errno, std::generic_category(), what);
}

std::string run_result::describe() const {
    std::string how;
    switch (end) {
    case ending::exited:
        how = "exited with status " + std::to_string(status);
        break;
    case ending::signalled:
        how = "ended by signal " + std::to_string(signal);
        break;
    case ending::time_limit:
        how = "killed at the time limit";
        break;
    case ending::output_limit:
        how = "killed at the output limit";
        break;
    }
    return how + "; out: \"" + tail(out) + "\"; err: \"" + tail(err) + "\"";
}

run_result run_process(const std::vector<std::string> &argv, const run_options &options) {
    const steady::time_point deadline = steady::now() + options.time_limit;
    run_result result;
    const owned_fd input(::memfd_create("input", MFD_CLOEXEC));
    if (input.get() == -1)
        fail_call("memfd_create");
    fill_input(input.get(), options.input);
    pipe_ends out;
    pipe_ends err;
    const bool merged = options.mode == capture::merged;
    const child_streams streams{input.get(), out.write_end.get(),
                                merged ? out.write_end.get() : err.write_end.get()};
    const pid_t pid = start_child(argv, streams, options);
    out.write_end.reset();
    err.write_end.reset();
    result.end = collect_streams({collector{out.read_end, result.out}, collector{err.read_end, result.err}},
                                 deadline, options.output_limit);
    finish_child(pid, result, deadline);
    return result;
}

run_result run_console(const std::string &binary, const std::string &config,
                       const std::vector<std::string> &commands, run_options options) {
    options.input.clear();
    for (const std::string &command : commands)
        options.input += command + "\n";
    options.input += "exit\n";
    const std::string file = std::filesystem::is_directory(config) ? config + "/config.ini" : config;
    return run_process({binary, "config=" + file}, options);
}

run_result run_vexlo(const std::string &config, const std::vector<std::string> &commands,
                     run_options options) {
    return run_console(program_path("vexlo"), config, commands, std::move(options));
}

std::string strip_banner(std::string_view err) {
    const std::size_t notice = BANNER_START.size();
    if (!err.starts_with(BANNER_START))
        throw std::invalid_argument("no banner");
    const std::size_t end = err.find('\n', notice);
    if (end == std::string_view::npos || end == notice || !err.substr(end).starts_with("\n\n"))
        throw std::invalid_argument("the banner has no notice line with an empty line after it");
    return std::string(err.substr(end + 2));
}

std::string strip_prompts(std::string_view text) {
    std::string rest;
    for (std::size_t at = text.find(PROMPT); at != std::string_view::npos; at = text.find(PROMPT)) {
        rest += text.substr(0, at);
        text.remove_prefix(at + PROMPT.size());
    }
    return rest.append(text);
}

console_text split_console(std::string_view err) {
    const std::string body = strip_banner(err);
    console_text split;
    std::string_view rest = body;
    std::string *target = &split.startup;
    for (std::size_t at = rest.find(PROMPT); at != std::string_view::npos; at = rest.find(PROMPT)) {
        *target = rest.substr(0, at);
        rest.remove_prefix(at + PROMPT.size());
        target = &split.commands.emplace_back();
    }
    *target = rest;
    return split;
}

} // namespace vexlo_test
