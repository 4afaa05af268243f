#include "output/report.h"

#include <utility>

namespace vexlo {

void Report::loss(std::string_view text, uint64_t count) {
    count_losses(count);
    console_.line(text);
}

void Report::count_losses(uint64_t count) {
    int converted = EXIT_CONVERTED;
    status_.compare_exchange_strong(converted, EXIT_LOSSES);
    losses_ += count;
}

void Report::failure(std::string_view text) {
    status_ = EXIT_FAILED;
    console_.line(text);
}

TableReport::TableReport(Report &report, std::string_view path, std::string_view table)
    : report_(report), prefix_(std::string(path) + ": table \"" + printable(table) + "\"") {}

void TableReport::release() {
    is_held_ = false;
    for (const Line &line : std::exchange(held_, {}))
        tell(line);
    report_.count_nulls(std::exchange(held_nulls_, 0));
}

void TableReport::drop() {
    is_held_ = false;
    held_.clear();
    held_nulls_ = 0;
    row_losses_ = 0;
}

void TableReport::tell(Line line) {
    if (is_held_)
        return held_.push_back(std::move(line));
    const bool is_known = lines_++ < passed_over_;
    if (line.losses != 0 && is_known)
        report_.count_losses(line.losses);
    else if (line.losses != 0)
        report_.loss(line.text, line.losses);
    else if (!is_known)
        report_.note(line.text);
}

void TableReport::note(std::string_view text) {
    tell({prefix_ + ": " + std::string(text), 0});
}

void TableReport::loss(std::string_view text, uint64_t count) {
    tell({prefix_ + ": " + std::string(text), count});
}

void TableReport::row_loss(uint64_t row, uint64_t offset, std::string_view text) {
    if (++row_losses_ > ROW_LINES_MAX)
        return;
    tell({prefix_ + ", row " + std::to_string(row) + ", offset " + std::to_string(offset) + ": " +
              std::string(text),
          1});
}

void TableReport::count_nulls(uint64_t count) {
    if (is_held_)
        held_nulls_ += count;
    else
        report_.count_nulls(count);
}

void TableReport::finish() {
    if (row_losses_ > ROW_LINES_MAX)
        loss(std::to_string(row_losses_ - ROW_LINES_MAX) + " more losses in single rows are not listed",
             row_losses_ - ROW_LINES_MAX);
}

} // namespace vexlo
