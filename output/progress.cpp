#include "output/progress.h"

#include <cstdio>

namespace vexlo {

namespace {

constexpr double MEBIBYTE = 1024.0 * 1024.0;
constexpr std::chrono::milliseconds BETWEEN_LINES{250};

} // namespace

Progress::Progress(Console &console, bool enabled, uint64_t total_bytes)
    : console_(console), enabled_(enabled), total_bytes_(total_bytes), start_(Clock::now()), shown_(start_) {}

void Progress::refresh(const std::string &table, uint64_t rows, uint64_t bytes) {
    calls_left_ = CALLS_PER_LOOK;
    const Clock::time_point now = Clock::now();
    if (now - shown_ < BETWEEN_LINES)
        return;
    shown_ = now;
    const double seconds = std::chrono::duration<double>(now - start_).count();
    console_.status(progress_text(printable(table), rows, bytes, total_bytes_, seconds));
}

std::string progress_text(const std::string &table, uint64_t rows, uint64_t bytes, uint64_t total,
                          double seconds) {
    const double rate = seconds > 0 ? static_cast<double>(bytes) / seconds : 0;
    const double left = rate > 0 && total > bytes ? static_cast<double>(total - bytes) / rate : 0;
    const auto left_seconds = static_cast<unsigned long>(left + 0.5);
    char text[160];
    const int n = std::snprintf(
        text, sizeof text, "%.40s: %llu rows, %.1f of %.1f MiB, %.1f MiB/s, %lu:%02lu left", table.c_str(),
        static_cast<unsigned long long>(rows), static_cast<double>(bytes) / MEBIBYTE,
        static_cast<double>(total) / MEBIBYTE, rate / MEBIBYTE, left_seconds / 60, left_seconds % 60);
    return {text, static_cast<size_t>(n) < sizeof text ? static_cast<size_t>(n) : sizeof text - 1};
}

} // namespace vexlo
