// The program under test while it runs: a test types a line, sees the answer, and changes something before it
// types the next.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>

namespace vexlo_test {

class live_console {
public:
    enum class input { pipe, terminal };

    // Starts the program of this build with "config=...". Throws std::system_error when it cannot be started.
    explicit live_console(const std::string &config, input kind = input::pipe);
    ~live_console(); // kills the program if it still runs
    live_console(const live_console &) = delete;
    live_console &operator=(const live_console &) = delete;

    // Types `text` as it is. On a terminal the byte 4 at the start of a line is the end of input.
    void type(const std::string &text) const;

    // What both streams say up to the next prompt, without it. Throws std::runtime_error when none comes
    // before the time limit or the end.
    std::string wait_for_prompt();

    // The exit status once the program has ended; -1 when a signal ended it or the time limit came first.
    int wait_for_end();

private:
    bool receive();

    const std::chrono::steady_clock::time_point end_; // when it is killed at the latest
    pid_t child_ = -1;
    int input_ = -1;  // what is typed goes in here
    int output_ = -1; // both streams come out here
    std::string said_;
};

} // namespace vexlo_test
