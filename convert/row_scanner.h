// Takes the bytes at some place of a table's data for a row.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "convert/byte_window.h"
#include "convert/row_rules.h"
#include "values/row.h"

namespace vexlo {

constexpr size_t MARK_SIZE = 2;          // every entry begins with a mark or a length of this size
constexpr size_t ROW_SIZE_MAX = 8 << 20; // without its LONG block: 1000 columns of 4000 bytes are half of it
constexpr uint64_t LONG_SIZE_MAX = 0x80000000;
constexpr size_t NO_ENTRY = SIZE_MAX;

enum class ScanResult : uint8_t { row, table_end, damaged, cut_off };

// A row as it was found; sizes and places are bytes from its begin.
struct RowScan {
    ScanResult result = ScanResult::damaged;
    const char *reason = "";      // when damaged
    bool is_longer = false;       // that is because there are more entries than columns
    uint64_t size = 0;            // of the row with its LONG block
    size_t row_size = 0;          // of the row alone
    size_t entries = 0;           // columns that have an entry
    bool as_declared = true;      // no value is longer than its column is declared
    size_t long_entry = NO_ENTRY; // the entry that says that a LONG block follows
    uint64_t long_at = 0;         // first chunk of the LONG block, 0 when there is none
    uint64_t long_size = 0;       // its bytes without the chunk lengths
    size_t long_chunks = 0;
    bool odd_chunks = false; // a chunk is larger than a full one, or one before the last is smaller
};

class RowScanner {
public:
    // Rows whose entries follow `rules`, in `window`, which must outlive the scanner.
    RowScanner(ByteWindow &window, std::vector<ColumnRule> rules);

    size_t columns() const { return rules_.size(); }
    const std::vector<ColumnRule> &rules() const { return rules_; }
    // Some column can end with a zero byte: what stands behind it can look like a row of its own.
    bool tails_look_like_rows() const { return tails_look_like_rows_; }

    // Takes the bytes from `from` on, counted from the window's start, for a row. `fields`, with room for all
    // columns, receives its entries; they hold until the window moves.
    RowScan scan(size_t from, Field *fields);

    // How many of the values are none of their column's type. `fields` as scan() left them.
    size_t unsound_values(const RowScan &scan, const Field *fields) const;

    // Whether the values are of their columns' types and some of them speak for it.
    bool is_telling(const RowScan &scan, const Field *fields) const;

    // Whether there is reason to look for other rows inside a value of the row at `from`.
    bool is_odd(size_t from, const RowScan &scan, const Field *fields) const;

    // Whether a value that is none of its column's type holds zeros enough to be the ends of rows.
    bool hides_zeros(const RowScan &scan, const Field *fields) const;

    // The bytes at `data`, `size` of them, are a value of column `column` without its length, the entries of
    // the columns behind it, and the row's end. The size of the value; 0 when they are not.
    size_t value_before(const uint8_t *data, size_t size, size_t column) const;

private:
    bool are_entries(const uint8_t *data, size_t size, size_t column) const;
    bool bring(size_t size, size_t from, RowScan &scan, Field *fields);
    size_t take_plain_entries(size_t at, RowScan &scan, Field *fields) const;
    const char *take_entry(uint16_t mark, const uint8_t *data, RowScan &scan, Field *fields) const;
    const char *refused_mark(uint16_t mark) const;
    void scan_long_block(size_t from, RowScan &scan);

    ByteWindow &window_;
    std::vector<ColumnRule> rules_;
    bool has_long_ = false, has_lob_ = false;
    bool tails_look_like_rows_ = false;
};

} // namespace vexlo
