#include "output/report.h"

namespace vexlo {

void Report::loss(std::string_view text, uint64_t count) {
    int converted = EXIT_CONVERTED;
    status_.compare_exchange_strong(converted, EXIT_LOSSES);
    losses_ += count;
    console_.line(text);
}

void Report::failure(std::string_view text) {
    status_ = EXIT_FAILED;
    console_.line(text);
}

TableReport::TableReport(Report &report, std::string_view path, std::string_view table)
    : report_(report), prefix_(std::string(path) + ": table \"" + printable(table) + "\"") {}

void TableReport::note(std::string_view text) {
    report_.note(prefix_ + ": " + std::string(text));
}

void TableReport::loss(std::string_view text, uint64_t count) {
    report_.loss(prefix_ + ": " + std::string(text), count);
}

void TableReport::row_loss(uint64_t row, uint64_t offset, std::string_view text) {
    if (++row_losses_ > ROW_LINES_MAX)
        return;
    report_.loss(prefix_ + ", row " + std::to_string(row) + ", offset " + std::to_string(offset) + ": " +
                 std::string(text));
}

void TableReport::finish() {
    if (row_losses_ > ROW_LINES_MAX)
        loss(std::to_string(row_losses_ - ROW_LINES_MAX) + " more losses in single rows are not listed",
             row_losses_ - ROW_LINES_MAX);
}

} // namespace vexlo
