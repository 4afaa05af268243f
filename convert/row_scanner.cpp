#include "convert/row_scanner.h"

#include <algorithm>
#include <utility>

#include "convert/dump_format.h"
#include "format/byte_order.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

constexpr uint16_t FULL_CHUNK = 0x8000; // the buffer a LONG value is gathered in
constexpr size_t SWALLOWING_SIZE = 8;   // a value that could hold rows is longer than this
constexpr const char *MORE_ENTRIES = "more entries than columns";
constexpr const char *WRONG_LENGTH = "a value of a length that its column cannot have";

// The window may have moved: what lay at `from` lies at `to`.
void rebase(Field *fields, size_t count, const uint8_t *from, const uint8_t *to) {
    for (size_t i = 0; i < count && from != to; ++i)
        fields[i].data = to + (fields[i].data - from);
}

// Whether the bytes have two zeros side by side, as they stand at the end of every row.
bool hold_zero_pair(const uint8_t *data, size_t size) {
    return holds_zero_pair(reinterpret_cast<const char *>(data), size);
}

void fail(RowScan &scan, ScanResult result, const char *reason) {
    scan.result = result;
    scan.reason = reason;
}

} // namespace

RowScanner::RowScanner(ByteWindow &window, std::vector<ColumnRule> rules)
    : window_(window), rules_(std::move(rules)) {
    for (const ColumnRule &rule : rules_) {
        has_long_ |= rule.kind == ColumnKind::long_text || rule.kind == ColumnKind::long_raw;
        has_lob_ |= rule.kind == ColumnKind::lob;
        tails_look_like_rows_ |= can_end_with_zero(rule.kind);
    }
}

RowScan RowScanner::scan(size_t from, Field *fields) {
    RowScan scan;
    size_t at = from;
    const uint8_t *data = window_.data();
    for (;;) {
        at = take_plain_entries(at, scan, fields);
        if (at + MARK_SIZE > window_.available()) {
            if (!bring(at + MARK_SIZE, from, scan, fields))
                return scan;
            data = window_.data();
        }
        const uint16_t mark = load_be16(data + at);
        at += MARK_SIZE;
        if (mark == ROW_END)
            break;
        if (mark == TABLE_END && at == from + MARK_SIZE) {
            scan.result = ScanResult::table_end;
            return scan;
        }
        if (const char *reason = take_entry(mark, data + at, scan, fields)) {
            scan.is_longer = reason == MORE_ENTRIES;
            fail(scan, ScanResult::damaged, reason);
            return scan;
        }
        at += fields[scan.entries - 1].size;
    }
    scan.result = ScanResult::row;
    scan.size = scan.row_size = at - from;
    if (!window_.require(at + MARK_SIZE))
        return scan;
    rebase(fields, scan.entries, data, window_.data());
    if (load_be16(window_.data() + at) == LONG_BLOCK)
        scan_long_block(from, scan);
    return scan;
}

// Brings the row's bytes up to `size` into the window, which may move.
bool RowScanner::bring(size_t size, size_t from, RowScan &scan, Field *fields) {
    if (size - from > ROW_SIZE_MAX) {
        fail(scan, ScanResult::damaged, "a row longer than any row can be");
        return false;
    }
    const uint8_t *const data = window_.data();
    if (!window_.require(size)) {
        fail(scan, ScanResult::cut_off, "row is cut off by the end of the table's data");
        return false;
    }
    rebase(fields, scan.entries, data, window_.data());
    return true;
}

// Takes the NULLs and possible values at `at`, as far as they are in the window: most rows have nothing else.
// Returns where another mark, or what is not in the window, begins.
size_t RowScanner::take_plain_entries(size_t at, RowScan &scan, Field *fields) const {
    const uint8_t *const data = window_.data();
    const size_t available = window_.available();
    const ColumnRule *rule = rules_.data() + scan.entries, *const end = rules_.data() + rules_.size();
    Field *field = fields + scan.entries;
    bool as_declared = scan.as_declared;
    for (; rule != end && at + MARK_SIZE <= available; ++rule, ++field) {
        const uint16_t mark = load_be16(data + at);
        const bool is_null = mark == ENTRY_NULL;
        if (!is_null && !rule->possible(mark))
            break;
        const uint32_t size = is_null ? 0U : mark;
        at += MARK_SIZE;
        *field = {is_null ? FieldKind::null : FieldKind::value, size, {data + at}};
        as_declared &= size <= rule->declared;
        at += size;
    }
    scan.as_declared = as_declared;
    scan.entries = static_cast<size_t>(field - fields);
    return at;
}

// Null, or why there cannot be such an entry.
const char *RowScanner::take_entry(uint16_t mark, const uint8_t *data, RowScan &scan, Field *fields) const {
    if (scan.entries == rules_.size())
        return mark == TABLE_END || mark == LONG_BLOCK ? refused_mark(mark) : MORE_ENTRIES;
    Field &field = fields[scan.entries];
    field = {FieldKind::null, 0, {data}};
    if (mark <= VALUE_MAX) {
        const ColumnRule &rule = rules_[scan.entries];
        if (!rule.possible(mark))
            return WRONG_LENGTH;
        scan.as_declared &= mark <= rule.declared;
        field.kind = FieldKind::value;
        field.size = mark;
    } else if (mark == ENTRY_LOB && has_lob_) {
        field.kind = FieldKind::lob;
    } else if (mark == ENTRY_LONG && has_long_) {
        if (scan.long_entry != NO_ENTRY)
            return "two LONG values in one row";
        scan.long_entry = scan.entries;
    } else if (mark != ENTRY_NULL) {
        return refused_mark(mark);
    }
    ++scan.entries;
    return nullptr;
}

const char *RowScanner::refused_mark(uint16_t mark) const {
    switch (mark) {
    case ENTRY_LONG:
        return "a LONG value in a table without LONG columns";
    case ENTRY_LOB:
        return "a LOB value in a table without LOB columns";
    default:
        return "a mark that cannot stand inside a row";
    }
}

// The chunks are counted, not read: a LONG value is larger than a window.
void RowScanner::scan_long_block(size_t from, RowScan &scan) {
    if (scan.long_entry == NO_ENTRY)
        return fail(scan, ScanResult::damaged, "a LONG block after a row without a LONG value");
    uint64_t at = from + scan.row_size + MARK_SIZE;
    scan.long_at = at - from;
    uint16_t size, previous = FULL_CHUNK;
    for (;;) {
        if (!window_.peek(at, size))
            return fail(scan, ScanResult::cut_off, "row is cut off by the end of the table's data");
        at += MARK_SIZE;
        if (size == LONG_END)
            break;
        if (size > VALUE_MAX || scan.long_size + size > LONG_SIZE_MAX)
            return fail(scan, ScanResult::damaged, "a LONG block that does not end");
        scan.odd_chunks |= previous != FULL_CHUNK || size > FULL_CHUNK;
        previous = size;
        scan.long_size += size;
        ++scan.long_chunks;
        at += size;
    }
    scan.size = at - from;
}

size_t RowScanner::unsound_values(const RowScan &scan, const Field *fields) const {
    size_t count = 0;
    for (size_t i = 0; i < scan.entries; ++i)
        count += fields[i].kind == FieldKind::value &&
                 (fields[i].size > rules_[i].declared ||
                  !is_sound_value(rules_[i].kind, fields[i].data, fields[i].size));
    return count;
}

bool RowScanner::is_telling(const RowScan &scan, const Field *fields) const {
    bool telling = false;
    for (size_t i = 0; i < scan.entries; ++i)
        telling |= fields[i].kind == FieldKind::value &&
                   is_telling_value(rules_[i].kind, fields[i].data, fields[i].size);
    return telling && unsound_values(scan, fields) == 0;
}

bool RowScanner::is_odd(size_t from, const RowScan &scan, const Field *fields) const {
    if (!scan.as_declared || scan.odd_chunks)
        return true;
    if (scan.long_at == 0 && !hold_zero_pair(window_.data() + from, scan.row_size - MARK_SIZE))
        return false;
    for (size_t i = 0; i < scan.entries; ++i)
        if (fields[i].size > SWALLOWING_SIZE && rules_[i].free_length &&
            hold_zero_pair(fields[i].data, fields[i].size))
            return true;
    const size_t block = from + scan.row_size;
    return scan.long_at != 0 && scan.long_size > SWALLOWING_SIZE && from + scan.size <= window_.available() &&
           hold_zero_pair(window_.data() + block, static_cast<size_t>(scan.size) - scan.row_size - MARK_SIZE);
}

bool RowScanner::hides_zeros(const RowScan &scan, const Field *fields) const {
    for (size_t i = 0; i < scan.entries; ++i)
        if (fields[i].kind == FieldKind::value && hold_zero_pair(fields[i].data, fields[i].size) &&
            !is_sound_value(rules_[i].kind, fields[i].data, fields[i].size))
            return true;
    return false;
}

size_t RowScanner::value_before(const uint8_t *data, size_t size, size_t column) const {
    if (size < MARK_SIZE || load_be16(data + size - MARK_SIZE) != ROW_END)
        return 0;
    for (size_t value = 1; value + MARK_SIZE <= size; ++value)
        if (are_entries(data + value, size - value - MARK_SIZE, column + 1))
            return value;
    return 0;
}

// Whether the bytes are sound entries of the columns from `column` on, and nothing else.
bool RowScanner::are_entries(const uint8_t *data, size_t size, size_t column) const {
    size_t at = 0;
    for (; at + MARK_SIZE <= size && column < rules_.size(); ++column) {
        const uint16_t mark = load_be16(data + at);
        at += MARK_SIZE;
        if (mark == ENTRY_NULL)
            continue;
        const ColumnRule &rule = rules_[column];
        if (!rule.possible(mark) || mark > size - at || !is_sound_value(rule.kind, data + at, mark))
            return false;
        at += mark;
    }
    return at == size;
}

} // namespace vexlo
