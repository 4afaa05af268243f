// Tables of text on a terminal.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace vexlo {

// Lines of cells whose columns are as wide as their widest cell. Cells must be fit for a terminal
// (printable()).
class TextTable {
public:
    enum class Align : uint8_t { left, right };

    explicit TextTable(std::vector<Align> columns) : columns_(std::move(columns)) {}

    // As many cells as there are columns.
    void add(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }
    // Two spaces between columns, none at the ends of lines.
    std::string text() const;

private:
    std::vector<Align> columns_;
    std::vector<std::vector<std::string>> rows_;
};

} // namespace vexlo
