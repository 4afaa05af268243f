#include "rescue/text_table.h"

#include <algorithm>

namespace vexlo {

namespace {

// Characters of a UTF-8 text.
size_t width(const std::string &text) {
    return static_cast<size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

} // namespace

std::string TextTable::text() const {
    std::vector<size_t> widths(columns_.size());
    for (const auto &row : rows_)
        for (size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], width(row[i]));
    std::string text;
    for (const auto &row : rows_) {
        for (size_t i = 0; i < row.size(); ++i) {
            const std::string padding(widths[i] - width(row[i]), ' ');
            text += columns_[i] == Align::left ? row[i] + padding : padding + row[i];
            text += "  ";
        }
        text.erase(text.find_last_not_of(' ') + 1);
        text += '\n';
    }
    return text;
}

} // namespace vexlo
