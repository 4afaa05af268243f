#include "convert/row_sample.h"

#include <algorithm>

#include "convert/dump_format.h"
#include "convert/row_scanner.h"
#include "format/byte_order.h"
#include "values/errors.h"

namespace vexlo {

namespace {

constexpr size_t SAMPLE_WINDOW = 1 << 17;
constexpr uint64_t WALKED = 1 << 19;     // bytes of the table that are walked through
constexpr uint64_t WALKED_MAX = 4 << 20; // the same where rows are few
constexpr size_t TRUSTED_ROWS = 20;      // before a place that is no row
constexpr size_t ROWS_MAX = 200;         // of the first ones, and of longer ones
constexpr size_t ENTRIES_MAX = 20000;    // the same of rows with very many entries
constexpr uint64_t PROBES = 8;           // places behind the head
constexpr uint64_t PROBE_SIZE = 1 << 16;
constexpr size_t PROBE_BEGINS = 64; // where a row may begin at such a place
constexpr size_t ROWS_IN_SUCCESSION = 8;

} // namespace

bool fits(const Entry &entry, const ColumnRule &rule) {
    const bool is_long = rule.kind == ColumnKind::long_text || rule.kind == ColumnKind::long_raw;
    switch (entry.mark) {
    case ENTRY_NULL:
        return true;
    case ENTRY_LONG:
        return is_long;
    case ENTRY_LOB:
        return rule.kind == ColumnKind::lob;
    default:
        return rule.possible(entry.mark) && entry.mark <= rule.declared &&
               is_sound_value(rule.kind, entry.data, entry.mark) &&
               (rule.kind != ColumnKind::text || is_readable(entry.data, entry.mark));
    }
}

RowSample::RowSample(int fd, const std::string &path, const TableInfo &table, size_t entries_max,
                     std::optional<uint64_t> place)
    : window_(fd, path, table.rows_at, table.end, SAMPLE_WINDOW), columns_(table.columns.size()),
      entries_max_(entries_max), lengths_(entries_max + 1) {
    try {
        take_sample(table);
        if (place && !places_.empty())
            take_behind(*place);
    } catch (const InputError &) { // is told when the rows are read
    }
}

void RowSample::take_sample(const TableInfo &table) {
    if (!walk(table.rows_at + WALKED, false))
        return;
    const uint64_t head_end = window_.position();
    const uint64_t rest = table.end - std::min(table.end, head_end + PROBE_SIZE);
    for (uint64_t i = 0; i < PROBES; ++i) // the last rows are the newest ones
        probe(head_end + rest / (PROBES - 1) * i);
}

void RowSample::take_behind(uint64_t place) {
    window_.move_to(place);
    walk(place + PROBE_SIZE, true);
}

void RowSample::for_each(const Visit &visit) {
    try {
        for (const uint64_t place : places_) {
            window_.move_to(place);
            if (take_row() == Found::row)
                visit(row_);
        }
    } catch (const InputError &) { // the window reaches further than the row
    }
}

// Goes through the rows up to `end`; false when the table ends before, or something that is no row follows.
bool RowSample::walk(uint64_t end, bool longer_only) {
    size_t rows = 0;
    const uint64_t end_max = end + (WALKED_MAX - WALKED);
    while (window_.position() < end ||
           (!longer_only && rows < TRUSTED_ROWS && window_.position() < end_max)) {
        const Found found = take_row();
        if (found == Found::nothing && !longer_only && rows < TRUSTED_ROWS) {
            places_.clear();
            lengths_.assign(lengths_.size(), 0);
        }
        if (found != Found::row)
            return false;
        ++rows;
        keep(longer_only);
        window_.move_to(window_.position() + size_);
    }
    return true;
}

void RowSample::keep(bool longer_only) {
    const bool longer = row_.size() > columns_;
    const bool first = !longer_only && places_.size() < ROWS_MAX &&
                       (entries_ < ENTRIES_MAX || places_.size() < TRUSTED_ROWS);
    if (!first && (!longer || longer_ >= ROWS_MAX || longer_ * row_.size() >= ENTRIES_MAX))
        return;
    if (longer_only && std::find(places_.begin(), places_.end(), window_.position()) != places_.end())
        return; // is in the sample
    places_.push_back(window_.position());
    ++lengths_[row_.size()];
    entries_ += row_.size();
    longer_ += longer;
}

RowSample::Found RowSample::take_row() {
    row_.clear();
    size_t at = 0;
    bool has_long = false;
    for (;;) {
        if (at > ROW_SIZE_MAX || !window_.require(at + MARK_SIZE))
            return Found::nothing;
        const uint16_t mark = load_be16(window_.data() + at);
        at += MARK_SIZE;
        if (mark == ROW_END)
            break;
        if (mark == TABLE_END && at == MARK_SIZE)
            return Found::table_end;
        if (mark == TABLE_END || mark == LONG_BLOCK || row_.size() == entries_max_)
            return Found::nothing;
        has_long |= mark == ENTRY_LONG;
        row_.push_back({mark, nullptr});
        at += mark <= VALUE_MAX ? mark : 0;
    }
    const uint8_t *data = window_.data(); // the window may have moved on the way
    for (Entry &entry : row_) {
        entry.data = data + MARK_SIZE;
        data = entry.data + (entry.mark <= VALUE_MAX ? entry.mark : 0);
    }
    size_ = at;
    return !has_long || take_long_block(at) ? Found::row : Found::nothing;
}

// Steps over the LONG block at `at` from the window's begin, if there is one; false when it does not end.
bool RowSample::take_long_block(uint64_t at) {
    uint16_t mark;
    if (!window_.peek(at, mark) || mark != LONG_BLOCK)
        return true;
    for (at += MARK_SIZE; window_.peek(at, mark) && mark <= VALUE_MAX; at += mark) {
        at += MARK_SIZE;
        size_ = at;
        if (mark == LONG_END)
            return true;
    }
    return false;
}

// Looks for rows behind a place somewhere in the table.
void RowSample::probe(uint64_t place) {
    window_.move_to(place);
    for (const uint64_t begin : likely_begins())
        if (begins_rows(begin, place + PROBE_SIZE)) {
            window_.move_to(begin);
            walk(place + PROBE_SIZE, true);
            return;
        }
}

// The ends of the first runs of zeros behind the window's begin, and one byte before where a length can begin
// with a zero.
std::vector<uint64_t> RowSample::likely_begins() {
    std::vector<uint64_t> begins;
    const auto size = static_cast<size_t>(std::min(PROBE_SIZE, window_.end() - window_.position()));
    if (!window_.require(size))
        return begins;
    size_t zeros = 0;
    for (size_t at = 0; at < size && begins.size() < PROBE_BEGINS; ++at) {
        if (window_.data()[at] == 0) {
            ++zeros;
            continue;
        }
        if (zeros > MARK_SIZE)
            begins.push_back(window_.position() + at - 1);
        if (zeros >= MARK_SIZE)
            begins.push_back(window_.position() + at);
        zeros = 0;
    }
    return begins;
}

// Whether rows go on from `place`, as far as `end` if they are large.
bool RowSample::begins_rows(uint64_t place, uint64_t end) {
    for (size_t rows = 0; rows < ROWS_IN_SUCCESSION && place < end; ++rows) {
        window_.move_to(place);
        if (take_row() != Found::row || row_.empty())
            return false;
        place += size_;
    }
    return true;
}

} // namespace vexlo
