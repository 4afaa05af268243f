// Rows of a table whose entries are not known to belong to its columns yet.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "convert/byte_window.h"
#include "convert/dump_file.h"
#include "convert/row_rules.h"

namespace vexlo {

constexpr size_t SURPLUS_MAX = 16; // entries of no column that rows may have

struct Entry {
    uint16_t mark; // or the size of a value
    const uint8_t *data;
};

// Whether the entry can be one of a column with this rule.
bool fits(const Entry &entry, const ColumnRule &rule);

// The first rows of a table, and of those behind them, and at places all over a large table, the ones that
// have more entries than the table has columns. None when so few rows stand before a place that is no row
// that they cannot be trusted: damage makes long rows of short ones.
class RowSample {
public:
    // Of the table in the file `fd`, which must stay open. Rows of more than `entries_max` entries are none.
    // `path` must outlive the sample. A place that cannot be read ends it. Longer rows are looked for behind
    // the file offset `place` as well.
    RowSample(int fd, const std::string &path, const TableInfo &table, size_t entries_max,
              std::optional<uint64_t> place = std::nullopt);

    size_t rows() const { return places_.size(); }
    // How many of the rows have 0, 1, ... entries.
    const std::vector<size_t> &lengths() const { return lengths_; }

    // Reads the rows again; the entries hold until `visit` returns.
    using Visit = std::function<void(const std::vector<Entry> &row)>;
    void for_each(const Visit &visit);

private:
    // The row at the window's begin.
    enum class Found : uint8_t { row, table_end, nothing };

    void take_sample(const TableInfo &table);
    void take_behind(uint64_t place);
    Found take_row();
    bool take_long_block(uint64_t at);
    bool walk(uint64_t end, bool longer_only);
    void keep(bool longer_only);
    void probe(uint64_t place);
    bool begins_rows(uint64_t place, uint64_t end);
    std::vector<uint64_t> likely_begins();

    ByteWindow window_;
    size_t columns_, entries_max_;
    std::vector<Entry> row_;
    uint64_t size_ = 0; // of the row with its LONG block
    std::vector<uint64_t> places_;
    std::vector<size_t> lengths_;
    size_t entries_ = 0, longer_ = 0; // of the rows kept
};

} // namespace vexlo
