// What formatting a run of rows gave. Batches are made on several threads and written in order by one.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "output/byte_buffer.h"
#include "output/report.h"
#include "values/row.h"

namespace vexlo {

// The losses of single rows and values, in the order of the rows. Of a run the first are kept with their
// text, as many as a report tells, and the rest as a number.
class RowLosses {
public:
    struct Loss {
        uint64_t row;
        uint64_t offset;
        std::string text;
    };

    // A loss at one row of the table, found at a file offset.
    void add(uint64_t row, uint64_t offset, std::string text) {
        ++count_;
        if (kept_.size() < TableReport::ROW_LINES_MAX)
            kept_.push_back({row, offset, std::move(text)});
    }
    // The same of a value that is NULL in the output because it could not be had.
    void add_null(uint64_t row, uint64_t offset, std::string text) {
        ++nulls_;
        add(row, offset, std::move(text));
    }
    bool empty() const { return count_ == 0; }
    uint64_t count() const { return count_; }
    // Counts the rows of the losses from behind the first `rows` rows of the table.
    void shift(uint64_t rows) {
        for (Loss &loss : kept_)
            loss.row += rows;
    }
    // Tells `report` of all of them and forgets them.
    void tell(TableReport &report);

private:
    std::vector<Loss> kept_;
    uint64_t count_ = 0;
    uint64_t nulls_ = 0; // of those
};

struct RowBatch {
    static constexpr size_t FULL_SIZE = 1 << 18;

    // A row that the target would refuse, or the rest of one that was given away in part: its bytes in
    // `rejected` go on to where the next one's begin. Of a batch only the first can be a rest.
    struct Rejected {
        uint64_t row;
        size_t at;
        bool is_rest;
    };

    ByteBuffer bytes;              // of the main output
    uint64_t rows = 0;             // in them
    ByteBuffer rejected;           // rows that the target would refuse, each without its number
    std::vector<Rejected> rejects; // these rows
    RowLosses losses;
    size_t longest_record = 0;   // of the main output, where the format has to tell it
    std::vector<size_t> longest; // bytes of the longest value of each column, the same

    // Takes what the batch holds in the middle of a row that is large; may be empty: then the batch grows.
    std::function<void(RowBatch &)> spill;
    bool ends_in_row = false; // while spill() runs: the row that was begun goes on in the next batch

    // Gives the bytes so far to spill() when they are many.
    void relieve() {
        if (full() && spill)
            give_away();
    }
    // Whether the batch is large enough to be written; a format takes batches of any size.
    bool full() const { return bytes.size() + rejected.size() >= FULL_SIZE; }
    // Begins and ends a row that is rejected, whose bytes are appended to `rejected` meanwhile.
    void begin_reject(uint64_t row);
    void end_reject() { rejecting_ = false; }
    // The bytes of entry `i` of `rejects`.
    std::string_view rejected_row(size_t i) const;
    // Rows that are rejected in this batch; each has one loss of its own.
    uint64_t rejected_rows() const {
        return rejects.size() - (!rejects.empty() && rejects.front().is_rest ? 1 : 0);
    }
    // Rows that have been formatted, those rejected among them.
    uint64_t taken() const { return rows + rejected_rows(); }
    // The batch counts its rows from 1: makes their numbers those behind the first `rows_before` rows of the
    // table.
    void number_from(uint64_t rows_before);
    // Makes the batch as good as new without giving up its memory.
    void clear();

private:
    void give_away();

    bool rejecting_ = false;
};

// So many bytes of values make a row large.
constexpr size_t LARGE_ROW_SIZE = 1 << 17;

// Whether the row of `columns` fields is to be written in parts, by relieve(): a value of it comes in pieces,
// or all together are many bytes.
bool is_large_row(const Row &row, size_t columns);

} // namespace vexlo
