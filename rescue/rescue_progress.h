// The progress line of a run.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "output/console.h"

namespace vexlo {

class RescueProgress {
public:
    // Over `tables` tables with `blocks` blocks as far as is known; shows nothing when not `enabled`.
    RescueProgress(Console &console, bool enabled, size_t tables, uint64_t blocks);

    // The next table begins.
    void start_table(const std::string &title);
    // So many blocks more are done. Called by one thread at a time.
    void update(uint64_t blocks);

private:
    using Clock = std::chrono::steady_clock;

    Console &console_;
    bool enabled_;
    size_t tables_;
    uint64_t total_;
    size_t table_ = 0;
    uint64_t blocks_ = 0;
    std::string title_;
    Clock::time_point start_, shown_;
};

// The text of the line: table number `table` of `tables`, `blocks` of `total` blocks done in `seconds`.
// `total` can be less than `blocks`, where more was found than was known.
std::string rescue_progress_text(const std::string &title, size_t table, size_t tables, uint64_t blocks,
                                 uint64_t total, double seconds);

} // namespace vexlo
