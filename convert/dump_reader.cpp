#include "convert/dump_reader.h"

#include <algorithm>
#include <utility>

#include "convert/dump_format.h"
#include "convert/surplus.h"
#include "format/byte_order.h"
#include "output/console.h"
#include "values/errors.h"

namespace vexlo {

namespace {

constexpr uint64_t LOOK_BACK_MAX = 0x20000;   // bytes of the row before that are searched again
constexpr uint64_t LONG_JOINED_MAX = 1 << 20; // a longer LONG value is handed out as a stream

// The rules of a row's entries.
std::vector<ColumnRule> rules_of(const TableInfo &table) {
    std::vector<ColumnRule> rules;
    if (table.entry_columns.empty())
        for (const ColumnInfo &column : table.columns)
            rules.push_back(column_rule(column));
    for (const size_t column : table.entry_columns)
        rules.push_back(column_rule(column == NO_COLUMN ? ColumnInfo{} : table.columns[column]));
    return rules;
}

std::string bytes_text(uint64_t count) {
    return std::to_string(count) + " bytes";
}

} // namespace

DumpReader::DumpReader(const DumpFile &file, const TableInfo &table, size_t window_size)
    : file_(file), table_(table), window_(file.fd(), file.path(), table.rows_at, table.end, window_size),
      scanner_(window_, rules_of(table)), finder_(window_, scanner_), fields_(scanner_.columns()),
      columns_(table.entry_columns.empty() ? 0 : table.columns.size()),
      long_stream_(file.fd(), file.path()), before_{table.rows_at, scanner_.columns()} {}

uint64_t DumpReader::row_size_max() const {
    uint64_t size = 0;
    for (const ColumnRule &rule : scanner_.rules())
        size += rule.declared;
    return size;
}

void DumpReader::hold_rows(std::vector<PaddedBytes> memory) {
    window_.give_back(std::move(memory));
    holds_rows_ = true;
}

std::vector<Damage> DumpReader::take_damage() {
    return std::exchange(damage_, {});
}

void DumpReader::note(std::string text, uint64_t offset) {
    damage_.push_back({rows_ + 1, offset, std::move(text)});
}

bool DumpReader::next(Row &row) {
    while (!done_) {
        RowScan scan = scanner_.scan(0, fields_.data());
        if (scan.result != ScanResult::row) {
            pass_damage(scan);
        } else if (pass_hole(scan)) {
            continue;
        } else if (leads_astray(scan)) {
            done_ = !resynchronise(scan.as_declared ? before_.at : window_.position(), "no row stands here");
        } else if (is_trusted(scan)) {
            hand_out(scan, row);
            return true;
        } else if (!resynchronise(window_.position(), "a value whose length takes in other rows")) {
            done_ = true;
        }
    }
    return false;
}

// A lost length can leave the reader in the middle of a value: that reads as rows without entries, or of
// values that are none, until something is no row at all. So can one that has become larger than its column.
bool DumpReader::leads_astray(RowScan &scan) {
    const bool is_first_empty = scan.entries == 0 && empty_rows_ == 0;
    const bool are_declared = rows_ > 0 && odd_rows_ <= rows_ / 8; // otherwise being longer says nothing
    if ((scan.as_declared && !is_first_empty) || scan.long_at != 0 || !are_declared)
        return false;
    const bool astray = finder_.goes_astray(scan.row_size, is_first_empty && row_before_is_unsound());
    scan = scanner_.scan(0, fields_.data()); // looking ahead has moved what the fields point to
    return astray;
}

bool DumpReader::row_before_is_unsound() {
    const uint64_t position = window_.position();
    window_.move_to(before_.at);
    const RowScan before = scanner_.scan(0, fields_.data());
    const bool unsound =
        before.result == ScanResult::row && scanner_.unsound_values(before, fields_.data()) > 0;
    window_.move_to(position);
    return unsound;
}

// A length that has become larger makes one value of several rows. Values may be any bytes, though, and a
// table that has all its rows is not doubted.
bool DumpReader::is_trusted(RowScan &scan) {
    const Field *const fields = fields_.data();
    const bool hides_zeros = empty_rows_ > 0 && scanner_.hides_zeros(scan, fields);
    if (missing_ == 0U || (!hides_zeros && !scanner_.is_odd(0, scan, fields)))
        return true;
    const uint64_t position = window_.position();
    const size_t hidden = hides_zeros ? 1 : finder_.rows_held(scan, fields);
    window_.move_to(position);
    if (hidden > 0 && !missing_)
        missing_ = count_missing();
    if (hidden > 0 && hidden / 2 < *missing_) { // rows that are none may have been counted
        *missing_ -= std::min<uint64_t>(hidden, *missing_);
        return false;
    }
    scan = scanner_.scan(0, fields_.data()); // looking around has moved what the fields point to
    return true;
}

// How many rows the directory counts that neither show when the rest of the table is read without a doubt nor
// have been lost with what cannot be read. A table without a count, or one that failed and was cut off, has
// none missing as long as nothing else is wrong with it.
uint64_t DumpReader::count_missing() {
    TableInfo rest = table_;
    rest.rows_at = window_.position();
    rest.nrows = table_.nrows - static_cast<uint32_t>(std::min<uint64_t>(rows_, table_.nrows));
    DumpReader counter(file_, rest);
    counter.missing_ = 0;
    counter.count_rows();
    const uint64_t lost = lost_rows_ + counter.lost_rows_;
    if (!table_.counted || !counter.ended_properly_)
        return lost == 0 ? 0 : UINT64_MAX;
    const uint64_t known = rows_ + counter.rows_ + lost;
    return table_.nrows - std::min<uint64_t>(known, table_.nrows);
}

// Reads what there is, as far as the file can be read.
void DumpReader::count_rows() {
    try {
        for (Row row; next(row);)
            damage_.clear();
    } catch (const InputError &) { // is told when these rows are read
    }
}

// About as many rows have been lost at `place` as fit into the bytes that are skipped.
void DumpReader::count_lost(uint64_t place, uint64_t bytes) {
    const uint64_t row_size = rows_ == 0 ? UINT64_MAX : (place - table_.rows_at) / rows_;
    lost_rows_ += 1 + bytes / std::max<uint64_t>(row_size, MARK_SIZE);
}

bool DumpReader::meets_surplus(const RowScan &scan) {
    if (!scan.is_longer || surplus_tries_ == 0)
        return false;
    --surplus_tries_;
    late_surplus_ = find_late_surplus(file_.fd(), file_.path(), table_, window_.position());
    return late_surplus_.has_value();
}

void DumpReader::pass_damage(const RowScan &scan) {
    const bool ends = meets_surplus(scan) || window_.position() == window_.end();
    if (scan.result == ScanResult::table_end)
        pass_end_mark();
    else if (ends || !resynchronise(before_.at, scan.reason))
        done_ = true;
}

// A mark before the end of the section is not the table's end when rows follow. Bytes that are none belong to
// nobody, and a column list is that of a table which the directory does not name.
void DumpReader::pass_end_mark() {
    const uint64_t mark = window_.position();
    const bool at_end = mark + MARK_SIZE == window_.end();
    if (!at_end && !is_column_list(MARK_SIZE)) {
        const uint64_t behind = mark + MARK_SIZE;
        const std::optional<uint64_t> row = finder_.find(behind, mark);
        if (row && *row + MARK_SIZE < window_.end()) {
            window_.move_to(*row);
            note("a table end mark inside the table; " + bytes_text(*row - mark) + " skipped", mark);
            before_ = {before_.at, scanner_.columns()};
            return;
        }
    }
    window_.move_to(mark + MARK_SIZE);
    finish();
}

bool DumpReader::is_column_list(size_t at) {
    return window_.require(at + COL_SIZE) && is_column_entry(window_.data() + at);
}

void DumpReader::finish() {
    done_ = true;
    ended_properly_ = window_.position() == window_.end();
    if (!ended_properly_)
        note(bytes_text(window_.end() - window_.position()) + " after the end mark were not read",
             window_.position());
}

// Goes to the next row behind the place that cannot be read as one. A value that took bytes of what follows
// it, or one whose length was lost, shows at the row after it: that is why the search begins in the row
// before. False when the rest of the table cannot be read.
bool DumpReader::resynchronise(uint64_t begin, const std::string &reason) {
    const uint64_t bad = window_.position();
    begin = std::max(begin, bad - std::min(bad, LOOK_BACK_MAX));
    const std::optional<uint64_t> row = finder_.find(begin, bad);
    if (!row) {
        window_.move_to(bad);
        note(reason + "; the remaining " + bytes_text(window_.end() - bad) + " of the table cannot be read",
             bad);
        return false;
    }
    const ZeroRun zeros = finder_.zeros_at(*row);
    if (is_hole(zeros)) {
        note(reason + "; " + leave_hole(zeros), bad);
        return true;
    }
    count_lost(bad, *row - std::min(*row, bad));
    std::string text = reason + "; ";
    if (*row <= bad)
        text += "the row before it took " + bytes_text(bad - *row) + " too many";
    else
        text += bytes_text(*row - bad) + " skipped";
    if (*row > bad && rows_ > 0 && before_.entries < scanner_.columns())
        text += lost_length(bad, *row);
    else if (*row > bad && before_.lacks_long)
        text += "; the LONG value of the row before it is lost";
    note(text, bad);
    window_.move_to(*row);
    before_ = {*row, scanner_.columns()};
    return true;
}

// Two zero bytes where the length of a value should stand read as the end of its row. The bytes from `bad` up
// to `next` are then that value, the entries behind it and their row's end.
std::string DumpReader::lost_length(uint64_t bad, uint64_t next) {
    window_.move_to(bad);
    const size_t size = static_cast<size_t>(std::min<uint64_t>(next - bad, ROW_SIZE_MAX));
    const ColumnRule &rule = scanner_.rules()[before_.entries];
    if (!window_.require(size) || !table_.entry_columns.empty())
        return "";
    const size_t value = scanner_.value_before(window_.data(), size, before_.entries);
    if (value == 0 || value > rule.declared || !is_sound_value(rule.kind, window_.data(), value))
        return "; the row before it may have lost its last columns";
    return "; the length of column \"" + printable(table_.columns[before_.entries].name) +
           "\" was never written to the row before it: " + bytes_text(value) +
           " of that value, and the columns behind it, are lost";
}

// Zeros that are not rows: a part of the file that was never written, or lost. The row that they begin in is
// lost with them, unless all its values are sound. True when the window has gone behind them.
bool DumpReader::pass_hole(RowScan &scan) {
    const uint64_t position = window_.position();
    const size_t behind = scan.entries == 0 ? 0 : static_cast<size_t>(scan.size);
    const uint8_t *const data = window_.data();
    if (position + behind < zeros_known_to_ || behind + MARK_SIZE > window_.available() ||
        load_be16(data + behind) != ROW_END)
        return false;
    const bool cut = scan.entries > 0 && scanner_.unsound_values(scan, fields_.data()) > 0;
    if (scan.entries > 0 && !cut)
        return false;
    ZeroRun run = finder_.zeros_at(position + behind);
    zeros_known_to_ = run.end;
    const bool hole = is_hole(run);
    window_.move_to(position);
    if (!hole) {
        scan = scanner_.scan(0, fields_.data());
        return false;
    }
    if (cut)
        run.begin -= zeros_before(behind);
    const std::string text = leave_hole(run);
    note(text, run.begin);
    return true;
}

// Goes to the next row behind the hole; returns what is to be said about it.
std::string DumpReader::leave_hole(const ZeroRun &run) {
    hole_bytes_ += run.size();
    count_lost(run.begin, run.size());
    const std::optional<uint64_t> row = finder_.find(run.end - MARK_SIZE - 1, 0);
    std::string text =
        "a hole of " + bytes_text(run.size()) + " of zeros at offset " + std::to_string(run.begin);
    if (row && *row > run.end)
        text += "; " + bytes_text(*row - run.end) + " behind it skipped";
    else if (!row)
        text += "; the remaining " + bytes_text(window_.end() - run.end) + " of the table cannot be read";
    window_.move_to(row ? *row : window_.end());
    before_ = {window_.position(), scanner_.columns()};
    return text;
}

// How many of the `size` bytes at the window's begin are zeros at their end.
uint64_t DumpReader::zeros_before(uint64_t size) {
    if (!window_.require(size))
        return 0;
    uint64_t count = 0;
    while (count < size && window_.data()[size - 1 - count] == 0)
        ++count;
    return count;
}

// Whether the directory's count leaves no room for as many empty rows as the long runs of zeros would be. The
// rows behind the first such run are counted for that, once.
bool DumpReader::is_hole(const ZeroRun &run) {
    if (run.size() <= RowFinder::LONG_RUN)
        return false;
    if (!long_runs_are_rows_) {
        TableInfo rest = table_;
        rest.rows_at = run.end;
        rest.nrows = 0;
        DumpReader counter(file_, rest);
        counter.long_runs_are_rows_ = false;
        counter.missing_ = 0;
        counter.count_rows();
        const uint64_t empty = (run.size() + counter.hole_bytes_) / MARK_SIZE;
        long_runs_are_rows_ = rows_ + empty + counter.rows() <= table_.nrows;
    }
    return !*long_runs_are_rows_;
}

void DumpReader::hand_out(const RowScan &scan, Row &row) {
    for (size_t i = scan.entries; i < fields_.size(); ++i)
        fields_[i] = {FieldKind::null, 0, {nullptr}};
    row.offset = window_.position();
    joined_long_ = {};
    has_long_ = scan.long_entry != NO_ENTRY;
    if (has_long_)
        join_long(scan);
    row.number = ++rows_;
    row.fields = columns_.empty() ? fields_.data() : by_column();
    before_ = {window_.position(), scan.entries, scan.long_entry != NO_ENTRY && scan.long_at == 0};
    odd_rows_ += !scan.as_declared;
    if (scan.entries == 0 && empty_rows_++ == 0)
        finder_.expect_empty_rows();
    if (holds_rows_)
        window_.hold();
    if (scan.size <= window_.available())
        window_.advance(static_cast<size_t>(scan.size));
    else
        window_.move_to(window_.position() + scan.size);
}

// The fields of the columns, from those of the entries.
const Field *DumpReader::by_column() {
    for (size_t i = 0; i < fields_.size(); ++i)
        if (table_.entry_columns[i] != NO_COLUMN)
            columns_[table_.entry_columns[i]] = fields_[i];
    return columns_.data();
}

// Whether the row's LONG block, if it has one, is in the window and its value in one piece.
bool DumpReader::is_block_at_hand(const RowScan &scan) const {
    return scan.long_chunks <= 1 && scan.size <= window_.available();
}

// A value of no bytes has no block: only where the row's data is cut off it may have had one.
void DumpReader::join_long(const RowScan &scan) {
    Field &field = fields_[scan.long_entry];
    if (scan.long_at == 0) {
        if (window_.available() < scan.row_size + MARK_SIZE)
            note("LONG value is missing, taken as NULL", window_.position());
        return;
    }
    if (scan.long_size == 0)
        return;
    if (scan.long_size > LONG_JOINED_MAX) {
        const uint64_t row = window_.position();
        long_stream_.set_block(row + scan.long_at, row + scan.size);
        field.kind = FieldKind::stream;
        field.stream = &long_stream_;
        return;
    }
    if (!is_block_at_hand(scan))
        joined_long_ = gather_long(scan);
    const uint8_t *const value =
        joined_long_.empty() ? window_.data() + scan.long_at + MARK_SIZE : joined_long_.data();
    field = {FieldKind::value, static_cast<uint32_t>(scan.long_size), {value}};
}

// The chunks of a LONG value that is not in the window in one piece.
std::span<const uint8_t> DumpReader::gather_long(const RowScan &scan) {
    long_value_.resize(static_cast<size_t>(scan.long_size));
    uint8_t *out = long_value_.data();
    uint64_t at = scan.long_at;
    for (size_t i = 0; i < scan.long_chunks; ++i) {
        uint16_t size = 0;
        window_.peek(at, size);
        at += MARK_SIZE;
        out += read_at(file_.fd(), out, size, window_.position() + at, file_.path());
        at += size;
    }
    return long_value_.bytes();
}

} // namespace vexlo
