// Standard error, or another stream, as the program uses it: lines that stay, and on a terminal one progress
// line that is rewritten. Any thread may write.
#pragma once

#include <cstdio>
#include <mutex>
#include <string>
#include <string_view>

namespace vexlo {

class Console {
public:
    // Writes to `stream`, which must outlive the console, in the name of `program`, a literal.
    explicit Console(const char *program, std::FILE *stream = stderr) : program_(program), stream_(stream) {}

    // Writes "<program>: <text>\n".
    void line(std::string_view text);

    // Replaces the progress line.
    void status(std::string_view text);

    // Removes the progress line.
    void clear_status();

private:
    void remove_status();

    const char *program_;
    std::FILE *stream_;
    std::mutex mutex_;
    bool status_shown_ = false;
};

// What is wrong with a command line, as its parser says it: the first line, fit for a terminal.
std::string parser_fault(std::string_view what);

// `name` fit for a terminal: control characters are written as \xHH.
std::string printable(std::string_view name);

} // namespace vexlo
