#include "convert/dump_reader.h"

#include <cstring>
#include <utility>

#include "format/byte_order.h"
#include "convert/dump_format.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

constexpr size_t MARK_SIZE = 2;
constexpr int ROWS_TO_BELIEVE = 3;          // rows in succession that are no coincidence
constexpr size_t ROW_SIZE_MAX = 0x80000000; // a LONG holds less than 2 GiB

// The window has moved: what lay at `from` lies at `to` now.
void rebase(Field *fields, size_t count, const uint8_t *from, const uint8_t *to) {
    if (from == to)
        return;
    for (size_t i = 0; i < count; ++i)
        fields[i].data = to + (fields[i].data - from);
}

} // namespace

DumpReader::DumpReader(const DumpFile &file, const TableInfo &table, size_t window_size)
    : window_(file.fd(), file.path(), table.rows_at, table.end, window_size), fields_(table.columns.size()),
      look_ahead_left_(4 * (table.end - table.rows_at) + 1000000) {
    for (const ColumnInfo &column : table.columns)
        lengths_.push_back(value_lengths(column_kind(column.ctyp, column.national), column.clen));
}

std::vector<Damage> DumpReader::take_damage() {
    return std::exchange(damage_, {});
}

void DumpReader::note(std::string text, uint64_t offset) {
    damage_.push_back({rows_ + 1, offset, std::move(text)});
}

bool DumpReader::next(Row &row) {
    while (!done_) {
        Scan scan = scan_row(0, fields_.data());
        if (scan.result == ScanResult::table_end) {
            window_.advance(MARK_SIZE);
            finish();
        } else if (window_.position() == window_.end()) {
            done_ = true;
        } else if (accepts(scan)) {
            if (!scan.plausible) // looking at what follows has moved the window
                scan = scan_row(0, fields_.data());
            hand_out(scan, row);
            return true;
        } else if (!resynchronise(scan)) {
            done_ = true;
        }
    }
    return false;
}

// Bytes behind the end mark belong to nobody.
void DumpReader::finish() {
    done_ = true;
    ended_properly_ = window_.position() == window_.end();
    if (!ended_properly_)
        note(std::to_string(window_.end() - window_.position()) + " bytes after the end mark were not read",
             window_.position());
}

DumpReader::Scan &DumpReader::fail(Scan &scan, ScanResult result, const char *reason) {
    scan.result = result;
    scan.reason = reason;
    return scan;
}

// Takes the bytes from `from` on, counted from the window's start, for a row; `fields`, when not null,
// receives its columns.
DumpReader::Scan DumpReader::scan_row(size_t from, Field *fields) {
    Scan scan;
    const size_t columns = lengths_.size();
    size_t at = from;
    const uint8_t *data = window_.data();
    size_t available = window_.available();
    for (;;) {
        if (at + MARK_SIZE > available) {
            if (!window_.require(at + MARK_SIZE))
                return fail(scan, ScanResult::cut_off, "");
            if (fields != nullptr)
                rebase(fields, scan.entries, data, window_.data());
            data = window_.data();
            available = window_.available();
        }
        const uint16_t mark = load_be16(data + at);
        if (mark == ROW_END)
            break;
        if (mark == TABLE_END && at == from) {
            scan.result = ScanResult::table_end;
            return scan;
        }
        if (mark == TABLE_END || mark == LONG_BLOCK)
            return fail(scan, ScanResult::damaged, "a mark that cannot stand inside a row");
        if (scan.entries == columns)
            return fail(scan, ScanResult::damaged, "more entries than columns");
        at += MARK_SIZE;
        Field field{FieldKind::null, 0, data + at};
        if (mark <= VALUE_MAX) {
            const LengthRange &range = lengths_[scan.entries];
            scan.plausible &= mark - range.low <= range.high - range.low;
            field.kind = FieldKind::value;
            field.size = mark;
            at += mark;
        } else if (mark == ENTRY_LOB) {
            field.kind = FieldKind::lob;
        } else if (mark == ENTRY_LONG) {
            if (scan.long_column != NO_COLUMN)
                return fail(scan, ScanResult::damaged, "two LONG values in one row");
            scan.long_column = scan.entries;
        }
        if (fields != nullptr)
            fields[scan.entries] = field;
        ++scan.entries;
    }
    at += MARK_SIZE;
    scan.result = ScanResult::row;
    scan.size = at - from;
    if (window_.require(at + MARK_SIZE) && load_be16(window_.data() + at) == LONG_BLOCK)
        scan_long_block(from, at + MARK_SIZE, scan);
    if (fields != nullptr)
        rebase(fields, scan.entries, data, window_.data());
    return scan;
}

void DumpReader::scan_long_block(size_t from, size_t at, Scan &scan) {
    if (scan.long_column == NO_COLUMN) {
        fail(scan, ScanResult::damaged, "a LONG block after a row without a LONG value");
        return;
    }
    scan.long_at = at - from;
    for (;;) {
        if (!window_.require(at + MARK_SIZE)) {
            fail(scan, ScanResult::cut_off, "");
            return;
        }
        const uint16_t size = load_be16(window_.data() + at);
        at += MARK_SIZE;
        if (size == LONG_END)
            break;
        if (size > VALUE_MAX || at + size - from > ROW_SIZE_MAX) {
            fail(scan, ScanResult::damaged, "a LONG block that does not end");
            return;
        }
        scan.long_size += size;
        ++scan.long_chunks;
        at += size;
    }
    scan.size = at - from;
}

// A value of a length its column cannot have is either odd data in a sound row or the first sign of lost
// bytes. It is taken for the former when rows follow where the row says that it ends.
bool DumpReader::accepts(const Scan &scan) {
    return scan.result == ScanResult::row && (scan.plausible || followed_by_rows(scan.size, false));
}

// Whether rows, or the proper end of the table, follow at `from`. An empty row convinces nobody: two zero
// bytes are found everywhere.
bool DumpReader::followed_by_rows(size_t from, bool plausible_only) {
    for (int seen = 0; seen < ROWS_TO_BELIEVE; ++seen) {
        if (!window_.require(from + MARK_SIZE))
            return window_.position() + from == window_.end();
        const Scan scan = scan_row(from, nullptr);
        const size_t steps = scan.entries + scan.long_chunks + 1;
        if (look_ahead_left_ < steps)
            look_ahead_left_ = 0;
        if (look_ahead_left_ == 0)
            return false;
        look_ahead_left_ -= steps;
        if (scan.result == ScanResult::table_end)
            return window_.position() + from + MARK_SIZE == window_.end();
        if (scan.result != ScanResult::row || scan.entries == 0 || (plausible_only && !scan.plausible))
            return false;
        from += scan.size;
    }
    return true;
}

// Looks for the next row end behind which rows follow, and goes there. A value whose length was lost reads as
// the end of its row, so the damage shows at the row after it: that is why the row before is named. False
// when the rest of the table cannot be read.
bool DumpReader::resynchronise(const Scan &bad) {
    const uint64_t start = window_.position();
    std::string text = bad.result == ScanResult::damaged ? bad.reason : "a value too long for its column";
    if (rows_ > 0 && previous_entries_ < lengths_.size())
        text += "; the row before it may have lost its last columns";
    // Two zero bytes directly before the row were its predecessor's end: the search begins behind them.
    while (window_.require(MARK_SIZE + 1)) {
        // A row is at least two bytes: the first cannot be the end searched for.
        const uint8_t *p = window_.data() + 1;
        const size_t have = window_.available() - 1;
        const auto *zero = static_cast<const uint8_t *>(std::memchr(p, 0, have - 1));
        if (zero == nullptr) {
            window_.advance(have - 1);
            continue;
        }
        window_.advance(static_cast<size_t>(zero - window_.data()));
        if (window_.data()[1] == 0 && followed_by_rows(MARK_SIZE, true)) {
            window_.advance(MARK_SIZE);
            note(text + "; " + std::to_string(window_.position() - start) + " bytes skipped", start);
            previous_entries_ = lengths_.size();
            return true;
        }
        if (look_ahead_left_ == 0)
            break;
    }
    if (bad.result == ScanResult::cut_off)
        text = "row is cut off by the end of the table's data";
    note(text + "; the remaining " + std::to_string(window_.end() - start) +
             " bytes of the table cannot be read",
         start);
    return false;
}

void DumpReader::hand_out(const Scan &scan, Row &row) {
    for (size_t i = scan.entries; i < fields_.size(); ++i)
        fields_[i] = {FieldKind::null, 0, nullptr};
    row.offset = window_.position();
    if (scan.long_column != NO_COLUMN)
        join_long(scan);
    row.number = ++rows_;
    row.fields = fields_.data();
    previous_entries_ = scan.entries;
    window_.advance(scan.size);
}

void DumpReader::join_long(const Scan &scan) {
    Field &field = fields_[scan.long_column];
    if (scan.long_size == 0) {
        if (scan.long_at == 0)
            note("LONG value is missing, taken as NULL", window_.position());
        return;
    }
    const uint8_t *chunk = window_.data() + scan.long_at;
    field.kind = FieldKind::value;
    field.size = static_cast<uint32_t>(scan.long_size);
    field.data = chunk + MARK_SIZE;
    if (scan.long_chunks == 1)
        return;
    long_value_.clear();
    long_value_.reserve(scan.long_size + READ_SLACK);
    for (size_t i = 0; i < scan.long_chunks; ++i) {
        const uint16_t size = load_be16(chunk);
        chunk += MARK_SIZE;
        long_value_.insert(long_value_.end(), chunk, chunk + size);
        chunk += size;
    }
    long_value_.resize(scan.long_size + READ_SLACK);
    field.data = long_value_.data();
}

} // namespace vexlo
