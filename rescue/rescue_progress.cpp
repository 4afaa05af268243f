#include "rescue/rescue_progress.h"

#include <algorithm>
#include <cstdio>

namespace vexlo {

namespace {

constexpr std::chrono::milliseconds BETWEEN_LINES{250};

} // namespace

RescueProgress::RescueProgress(Console &console, bool enabled, size_t tables, uint64_t blocks)
    : console_(console), enabled_(enabled), tables_(tables), total_(blocks), start_(Clock::now()),
      shown_(start_) {}

void RescueProgress::start_table(const std::string &title) {
    ++table_;
    title_ = printable(title);
    update(0);
}

void RescueProgress::update(uint64_t blocks) {
    blocks_ += blocks;
    if (!enabled_)
        return;
    const Clock::time_point now = Clock::now();
    if (now - shown_ < BETWEEN_LINES)
        return;
    shown_ = now;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    console_.status(rescue_progress_text(title_, table_, tables_, blocks_, total_, seconds));
}

std::string rescue_progress_text(const std::string &title, size_t table, size_t tables, uint64_t blocks,
                                 uint64_t total, double seconds) {
    total = std::max(total, blocks);
    const double rate = seconds > 0 ? static_cast<double>(blocks) / seconds : 0;
    const double left = rate > 0 ? static_cast<double>(total - blocks) / rate : 0;
    const auto left_seconds = static_cast<unsigned long long>(left + 0.5);
    char text[200];
    const int size = std::snprintf(
        text, sizeof text, "table %zu of %zu, %.40s: %llu of %llu blocks, %.0f blocks/s, %llu:%02llu left",
        table, tables, title.c_str(), static_cast<unsigned long long>(blocks),
        static_cast<unsigned long long>(total), rate, left_seconds / 60, left_seconds % 60);
    return {text, std::min(static_cast<size_t>(size), sizeof text - 1)};
}

} // namespace vexlo
