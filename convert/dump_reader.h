// Reads the rows of one table of a dump file, one after the other, and finds its way past damage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "convert/byte_window.h"
#include "values/column_type.h"
#include "values/row.h"
#include "convert/dump_file.h"

namespace vexlo {

constexpr size_t WINDOW_SIZE = 1 << 20;

// Something in a table's data that is not as it should be.
struct Damage {
    uint64_t row;    // number the row would have had
    uint64_t offset; // in the file
    std::string text;
};

class DumpReader {
public:
    // Starts at the first row. `table` must have no fault and, like `file`, outlive the reader.
    DumpReader(const DumpFile &file, const TableInfo &table, size_t window_size = WINDOW_SIZE);

    // Reads the next row. False at the end of the table. Damage met on the way is appended to damage().
    // Throws InputError when the file cannot be read.
    bool next(Row &row);

    bool has_damage() const { return !damage_.empty(); }
    // What was wrong since the last call, which empties the list.
    std::vector<Damage> take_damage();

    uint64_t rows() const { return rows_; }
    // File offset up to which the table has been read.
    uint64_t position() const { return window_.position(); }
    // The end mark was met, at the very end of the table's section. Valid once next() has returned false.
    bool ended_properly() const { return ended_properly_; }

private:
    // What lies at some place of the data, when it is taken for a row.
    enum class ScanResult : uint8_t { row, table_end, damaged, cut_off };

    struct Scan {
        ScanResult result = ScanResult::damaged;
        size_t size = 0;                // bytes of the row with its LONG block
        size_t entries = 0;             // columns that have an entry
        bool plausible = true;          // every value has a length its column can have
        const char *reason = "";        // when damaged
        size_t long_column = NO_COLUMN; // the column whose entry says that a LONG block follows
        size_t long_at = 0;             // first chunk of the LONG block, 0 when there is none
        size_t long_size = 0;           // its bytes without the chunk lengths
        size_t long_chunks = 0;
    };

    static constexpr size_t NO_COLUMN = SIZE_MAX;

    Scan scan_row(size_t from, Field *fields);
    void scan_long_block(size_t from, size_t at, Scan &scan);
    Scan &fail(Scan &scan, ScanResult result, const char *reason);
    bool accepts(const Scan &scan);
    bool followed_by_rows(size_t from, bool plausible_only);
    bool resynchronise(const Scan &bad);
    void hand_out(const Scan &scan, Row &row);
    void join_long(const Scan &scan);
    void note(std::string text, uint64_t offset);
    void finish();

    ByteWindow window_;
    std::vector<LengthRange> lengths_;
    std::vector<Field> fields_;
    std::vector<uint8_t> long_value_;
    std::vector<Damage> damage_;
    uint64_t rows_ = 0;
    uint64_t look_ahead_left_; // entries that may still be looked at twice
    size_t previous_entries_ = 0;
    bool done_ = false;
    bool ended_properly_ = false;
};

} // namespace vexlo
