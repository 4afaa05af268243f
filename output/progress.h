// The progress line of a long conversion.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "output/console.h"

namespace vexlo {

class Progress {
public:
    // Over `total_bytes` of dump data; shows nothing when not `enabled`.
    Progress(Console &console, bool enabled, uint64_t total_bytes);

    // Tells where the conversion is: a table, rows of it done, and bytes of all dumps done. Cheap; the line
    // is rewritten a few times a second.
    void update(const std::string &table, uint64_t rows, uint64_t bytes) {
        if (enabled_ && --calls_left_ == 0)
            refresh(table, rows, bytes);
    }

private:
    using Clock = std::chrono::steady_clock;

    void refresh(const std::string &table, uint64_t rows, uint64_t bytes);

    static constexpr unsigned CALLS_PER_LOOK = 8; // at the clock

    Console &console_;
    bool enabled_;
    uint64_t total_bytes_;
    unsigned calls_left_ = CALLS_PER_LOOK;
    Clock::time_point start_, shown_;
};

// The text of the line, for `bytes` of `total` done in `seconds`.
std::string progress_text(const std::string &table, uint64_t rows, uint64_t bytes, uint64_t total,
                          double seconds);

} // namespace vexlo
