// Reads the rows of one table of a dump file, one after the other, and finds its way past damage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "convert/byte_window.h"
#include "convert/dump_file.h"
#include "convert/long_stream.h"
#include "convert/row_finder.h"
#include "convert/row_scanner.h"
#include "values/padded_bytes.h"
#include "values/row.h"

namespace vexlo {

// The rows of a window are one turn of a thread: long enough to make little of what handing them over costs,
// short enough that what it reads and writes stays in the processor's cache.
constexpr size_t WINDOW_SIZE = 1 << 18;
constexpr size_t LONG_WINDOW_SIZE =
    1 << 20; // of a table with LONG values, which are looked at where they stand

// Something in a table's data that is not as it should be.
struct Damage {
    uint64_t row;    // number the row would have had
    uint64_t offset; // in the file
    std::string text;
};

class DumpReader {
public:
    // Starts at the first row. `table` must have no fault and, like `file`, outlive the reader.
    DumpReader(const DumpFile &file, const TableInfo &table, size_t window_size);
    DumpReader(const DumpFile &file, const TableInfo &table)
        : DumpReader(file, table, table.has_long ? LONG_WINDOW_SIZE : WINDOW_SIZE) {}

    // Reads the next row. False at the end of the table. Damage met on the way is appended to damage().
    // Throws InputError when the file cannot be read.
    bool next(Row &row);

    // From here on rows with more entries than columns that are no damage end the table: the rows before them
    // may have been read wrongly then. late_surplus() is the table as it is to be read.
    void watch_for_surplus() { surplus_tries_ = table_.entry_columns.empty() ? SURPLUS_TRIES : 0; }
    const std::optional<TableInfo> &late_surplus() const { return late_surplus_; }

    // Bytes of the longest row as its columns are declared, without a LONG value.
    uint64_t row_size_max() const;
    // Columns of the rows.
    size_t columns() const { return columns_.empty() ? fields_.size() : columns_.size(); }

    // From here on the values of all rows stay where they are as long as the memory lives that take_held()
    // returns, but for a LONG value: that can have been put together elsewhere, or come as a stream. `memory`
    // is what was returned before and is not needed any more.
    void hold_rows(std::vector<PaddedBytes> memory);
    // Whether the rows that are held fill the reader's memory.
    bool holds_enough() const { return window_.holds_enough(HELD_REST); }
    std::vector<PaddedBytes> take_held() { return window_.take_held(); }
    // Of the row handed out last: whether it has a LONG value, and where that lies when it was put together.
    bool has_long() const { return has_long_; }
    std::span<const uint8_t> joined_long() const { return joined_long_; }
    const LongStream &long_stream() const { return long_stream_; }

    bool has_damage() const { return !damage_.empty(); }
    // What was wrong since the last call, which empties the list.
    std::vector<Damage> take_damage();

    uint64_t rows() const { return rows_; }
    // File offset up to which the table has been read.
    uint64_t position() const { return window_.position(); }
    // The end mark was met, at the very end of the table's section. Valid once next() has returned false.
    bool ended_properly() const { return ended_properly_; }

private:
    static constexpr unsigned SURPLUS_TRIES = 100; // rows that are asked for it
    static constexpr size_t HELD_REST = 1 << 12;   // room that is not worth the copy of a row begun in it

    struct RowBefore {
        uint64_t at;
        size_t entries;
        bool lacks_long = false; // it says that there is a LONG value, and none follows
    };

    bool meets_surplus(const RowScan &scan);
    bool is_trusted(RowScan &scan);
    bool leads_astray(RowScan &scan);
    bool row_before_is_unsound();
    uint64_t count_missing();
    void count_rows();
    void count_lost(uint64_t place, uint64_t bytes);
    void pass_damage(const RowScan &scan);
    void pass_end_mark();
    bool resynchronise(uint64_t begin, const std::string &reason);
    void finish();

    bool pass_hole(RowScan &scan);
    bool is_hole(const ZeroRun &run);
    std::string leave_hole(const ZeroRun &run);
    uint64_t zeros_before(uint64_t size);

    bool is_column_list(size_t at);
    std::string lost_length(uint64_t bad, uint64_t next);
    void hand_out(const RowScan &scan, Row &row);
    const Field *by_column();
    bool is_block_at_hand(const RowScan &scan) const;
    void join_long(const RowScan &scan);
    std::span<const uint8_t> gather_long(const RowScan &scan);
    void note(std::string text, uint64_t offset);

    const DumpFile &file_;
    const TableInfo &table_;
    ByteWindow window_;
    RowScanner scanner_;
    RowFinder finder_;
    std::vector<Field> fields_;  // of the entries
    std::vector<Field> columns_; // of the columns, where these are others
    bool holds_rows_ = false;
    PaddedBytes long_value_; // of the row handed out last, the same of the next three
    bool has_long_ = false;
    std::span<const uint8_t> joined_long_;
    LongStream long_stream_;
    std::vector<Damage> damage_;
    uint64_t rows_ = 0;
    uint64_t empty_rows_ = 0;
    uint64_t odd_rows_ = 0;           // with a value longer than its column
    uint64_t lost_rows_ = 0;          // about as many as have been skipped
    std::optional<uint64_t> missing_; // rows that may still be hidden in others; unknown before a first doubt
    unsigned surplus_tries_ = 0;      // that are left
    std::optional<TableInfo> late_surplus_;
    RowBefore before_;
    uint64_t zeros_known_to_ = 0; // zeros before this offset have been looked at
    std::optional<bool> long_runs_are_rows_;
    uint64_t hole_bytes_ = 0;
    bool done_ = false;
    bool ended_properly_ = false;
};

} // namespace vexlo
