// What the user is told about a conversion, and the exit status that follows from it. Any thread may report.
#pragma once

#include <atomic>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "output/console.h"

namespace vexlo {

constexpr int EXIT_CONVERTED = 0;
constexpr int EXIT_LOSSES = 1;
constexpr int EXIT_FAILED = 2;

class Report {
public:
    explicit Report(Console &console) : console_(console) {}

    // Something to know that costs no data.
    void note(std::string_view text) { console_.line(text); }
    // Data that could not be converted: `count` losses told in one line.
    void loss(std::string_view text, uint64_t count = 1);
    // The same where the line has been told before.
    void count_losses(uint64_t count);
    // An input or an output that failed as a whole.
    void failure(std::string_view text);

    // Values that are NULL in the output because they could not be had, and characters that had to be
    // replaced. These only count what is told elsewhere.
    void count_nulls(uint64_t count) { nulls_ += count; }
    void count_replaced(uint64_t count) { replaced_ += count; }

    int exit_status() const { return status_; }
    uint64_t losses() const { return losses_; }
    uint64_t nulls() const { return nulls_; }
    uint64_t replaced() const { return replaced_; }
    Console &console() { return console_; }

private:
    Console &console_;
    std::atomic<int> status_ = EXIT_CONVERTED;
    std::atomic<uint64_t> losses_ = 0, nulls_ = 0, replaced_ = 0;
};

// The report of one table. Lines start with the file and the table; of the losses of single rows and values
// the first ROW_LINES_MAX are told one by one and the rest as a number, so that a ruined table does not flood
// the terminal.
class TableReport {
public:
    static constexpr uint64_t ROW_LINES_MAX = 100;

    TableReport(Report &report, std::string_view path, std::string_view table);

    // The next so many lines count, but are not told: they have been before.
    void pass_over(uint64_t lines) { passed_over_ = lines; }
    // Lines told so far, or passed over.
    uint64_t lines() const { return lines_; }

    // From here on what is told is kept back, until release() tells it or drop() makes it never told.
    void hold() { is_held_ = true; }
    void release();
    void drop();

    void note(std::string_view text);
    void loss(std::string_view text, uint64_t count = 1);
    // A loss at one row of the table, found at a file offset.
    void row_loss(uint64_t row, uint64_t offset, std::string_view text);
    // As many losses more, whose text is not known: they count among those not told one by one.
    void more_row_losses(uint64_t count) { row_losses_ += count; }
    void count_nulls(uint64_t count);
    void count_replaced(uint64_t count) { report_.count_replaced(count); }
    // Tells how many losses were not told one by one.
    void finish();

private:
    struct Line {
        std::string text;
        uint64_t losses; // 0 of a note
    };

    void tell(Line line);

    Report &report_;
    std::string prefix_;
    uint64_t row_losses_ = 0;
    uint64_t lines_ = 0, passed_over_ = 0;
    bool is_held_ = false;
    std::vector<Line> held_;
    uint64_t held_nulls_ = 0;
};

} // namespace vexlo
