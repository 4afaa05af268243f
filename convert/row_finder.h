// Finds the next row behind damage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "convert/byte_window.h"
#include "convert/row_scanner.h"

namespace vexlo {

// A run of zero bytes, as file offsets.
struct ZeroRun {
    uint64_t begin;
    uint64_t end;

    uint64_t size() const { return end - begin; }
};

// Every row ends with two zero bytes, so the rows begin at the ends of runs of zeros: where the run stops, or
// one byte before when the first entry's length has a zero byte of its own. A place is believed when rows of
// sound values follow it.
class RowFinder {
public:
    static constexpr uint64_t LONG_RUN = 4096; // more zeros than this are no ordinary end of a row

    // `window` and `scanner` must outlive the finder.
    RowFinder(ByteWindow &window, RowScanner &scanner);

    // The file offset where reading goes on after the row at `bad` could not be read; places from `begin` on,
    // inside the row before, are looked at too. Moves the window. Nothing when no row is found.
    std::optional<uint64_t> find(uint64_t begin, uint64_t bad);

    // How many other rows the row at the window's begin holds, when a length in it has become larger than it
    // was: they lead on to the rows behind it. `fields` as the scanner left them. Moves the window's data.
    size_t rows_held(const RowScan &scan, const Field *fields);

    // Whether there are rows at `from`, counted from the window's start, of which none speaks for itself and
    // some have values that are none, and behind them something that is no row; when that is `suspected`
    // already, any other row will do. Moves the window's data.
    bool goes_astray(size_t from, bool suspected);

    // The table has rows without entries: zeros can be such rows where they could also be the end of a value.
    void expect_empty_rows() { expects_empty_rows_ = true; }

    // The zeros that begin at the file offset `begin`. Moves the window.
    ZeroRun zeros_at(uint64_t begin);

private:
    // What follows a place that is taken for the begin of a row.
    struct Chain {
        bool believed = false;
        size_t rows = 0, values = 0, unsound = 0;
        size_t first_entries = 0;         // of the first row
        size_t fewest_entries = NO_ENTRY; // of the rows behind it
        bool first_unsound = false;       // the first row has values that are none of their column
        bool gets_better = false;         // the first row is such a one, and a row of telling values follows
    };

    std::optional<ZeroRun> next_run(uint64_t from);
    std::optional<uint64_t> row_behind(const ZeroRun &run, uint64_t begin, uint64_t bad);
    bool is_row(uint64_t position, uint64_t bad);
    Chain follow(size_t from);
    void take(const RowScan &scan, Chain &chain) const;
    bool is_tail(const Chain &chain) const;
    static std::vector<uint32_t> places_inside(const uint8_t *data, size_t end, const Field *fields,
                                               size_t entries);
    size_t rows_inside(size_t from, size_t end, std::vector<bool> &seen);
    bool spend(const RowScan &scan);

    ByteWindow &window_;
    RowScanner &scanner_;
    std::vector<Field> fields_;
    bool expects_empty_rows_;
    uint64_t entries_left_; // that may still be looked at: damage everywhere must come to an end
};

} // namespace vexlo
