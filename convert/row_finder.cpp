#include "convert/row_finder.h"

#include <algorithm>
#include <cstring>

#include "convert/dump_format.h"
#include "format/byte_order.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

constexpr size_t SOUND_ROWS = 3; // rows in succession, of sound values, that are no coincidence
constexpr size_t ANY_ROWS = 8;   // the same of rows whose lengths alone are right
// Rows inside a value that are no coincidence: of telling values, and of lengths that are right.
constexpr size_t SOUND_ROWS_INSIDE = 2;
constexpr size_t ANY_ROWS_INSIDE = 4;
constexpr size_t ROWS_BEHIND = 3;  // that show whether they lead on
constexpr size_t ROWS_ASTRAY = 16; // that are read in front of what is no row

constexpr uint64_t CHUNK_COST = 16;    // of a LONG value against an entry: it is looked for all over the file
constexpr size_t PLACES_MAX = 1 << 20; // that are looked at in one row: a value of nothing but zeros has many

// The entry of a row begins two bytes before its data.
bool is_entry(const Field *fields, size_t entries, const uint8_t *mark) {
    const auto found = std::lower_bound(fields, fields + entries, mark + MARK_SIZE,
                                        [](const Field &field, const uint8_t *p) { return field.data < p; });
    return found != fields + entries && found->data == mark + MARK_SIZE;
}

} // namespace

RowFinder::RowFinder(ByteWindow &window, RowScanner &scanner)
    : window_(window), scanner_(scanner), fields_(scanner.columns()),
      expects_empty_rows_(!scanner.tails_look_like_rows()),
      entries_left_(4 * (window.end() - window.position()) + 1000000) {}

std::optional<uint64_t> RowFinder::find(uint64_t begin, uint64_t bad) {
    uint64_t from = begin;
    while (entries_left_ > 0) {
        const std::optional<ZeroRun> run = next_run(from);
        if (!run)
            return std::nullopt;
        if (const std::optional<uint64_t> row = row_behind(*run, begin, bad))
            return row;
        from = run->end;
    }
    return std::nullopt;
}

// The next two or more zeros from `from` on.
std::optional<ZeroRun> RowFinder::next_run(uint64_t from) {
    window_.move_to(from);
    while (window_.require(MARK_SIZE)) {
        const size_t have = window_.available();
        const auto *zero = static_cast<const uint8_t *>(std::memchr(window_.data(), 0, have - 1));
        if (zero == nullptr) {
            window_.advance(have - 1);
            continue;
        }
        window_.advance(static_cast<size_t>(zero - window_.data()));
        if (window_.data()[1] == 0)
            return zeros_at(window_.position());
        window_.advance(MARK_SIZE);
    }
    return std::nullopt;
}

ZeroRun RowFinder::zeros_at(uint64_t begin) {
    window_.move_to(begin);
    while (window_.require(1)) {
        const uint8_t *p = window_.data();
        const uint8_t *const end = p + window_.available();
        const uint8_t *const other = skip_zeros(p, end);
        window_.advance(static_cast<size_t>(other - p));
        if (other != end)
            break;
    }
    return {begin, window_.position()};
}

// The first row that begins with the end of the run, or the first of the empty rows before it.
std::optional<uint64_t> RowFinder::row_behind(const ZeroRun &run, uint64_t begin, uint64_t bad) {
    for (const uint64_t position : {run.end - 1, run.end}) {
        // Of the two zeros before the bad row one may be the first byte of a row whose predecessor lost a
        // byte.
        const bool behind_end = position >= run.begin + MARK_SIZE;
        if ((!behind_end && position + 1 != bad) || position < begin || position == bad ||
            !is_row(position, bad))
            continue;
        if (!expects_empty_rows_)
            return position;
        // The zeros are empty rows, as far as they have not been read as such before.
        const uint64_t first = run.begin < bad && bad <= run.end ? bad - 1 : run.begin + MARK_SIZE;
        return position > first ? position - (position - first) / MARK_SIZE * MARK_SIZE : position;
    }
    return std::nullopt;
}

bool RowFinder::is_row(uint64_t position, uint64_t bad) {
    window_.move_to(position);
    const Chain chain = follow(0);
    return chain.believed && !chain.gets_better && !(position > bad && is_tail(chain));
}

// The end of a damaged row reads as a short row when a value inside it ended with zeros.
bool RowFinder::is_tail(const Chain &chain) const {
    return scanner_.tails_look_like_rows() && chain.rows > 1 && chain.first_entries < scanner_.columns() &&
           chain.first_entries < chain.fewest_entries;
}

// Follows the rows from `from` on. Empty rows speak neither for nor against a place.
RowFinder::Chain RowFinder::follow(size_t from) {
    Chain chain;
    size_t zeros = 0;
    while (chain.rows < ANY_ROWS && zeros <= LONG_RUN) {
        if (window_.position() + from == window_.end()) {
            chain.believed = chain.rows > 0;
            return chain;
        }
        const RowScan scan = scanner_.scan(from, fields_.data());
        if (scan.result == ScanResult::table_end) {
            chain.believed = window_.position() + from + MARK_SIZE == window_.end();
            return chain;
        }
        if (!spend(scan) || scan.result == ScanResult::damaged || scan.size > ROW_SIZE_MAX)
            return chain;
        if (scan.result == ScanResult::cut_off)
            break;
        from += static_cast<size_t>(scan.size);
        zeros = scan.entries == 0 ? zeros + MARK_SIZE : 0;
        if (scan.entries > 0)
            take(scan, chain);
        if (chain.rows >= SOUND_ROWS && 4 * chain.unsound <= chain.values)
            break;
    }
    chain.believed = chain.rows >= ANY_ROWS || (chain.rows > 0 && 4 * chain.unsound <= chain.values);
    return chain;
}

void RowFinder::take(const RowScan &scan, Chain &chain) const {
    const size_t unsound = scanner_.unsound_values(scan, fields_.data());
    if (chain.rows == 0) {
        chain.first_entries = scan.entries;
        chain.first_unsound = unsound > 0;
    } else {
        chain.fewest_entries = std::min(chain.fewest_entries, scan.entries);
        chain.gets_better |= chain.first_unsound && scanner_.is_telling(scan, fields_.data());
    }
    ++chain.rows;
    chain.values += scan.entries;
    chain.unsound += unsound;
}

bool RowFinder::spend(const RowScan &scan) {
    const uint64_t cost = scan.entries + CHUNK_COST * scan.long_chunks + 1;
    entries_left_ -= std::min(cost, entries_left_);
    return entries_left_ > 0;
}

bool RowFinder::goes_astray(size_t from, bool suspected) {
    size_t unsound = 0;
    for (size_t rows = 0; rows < ROWS_ASTRAY && from < ROW_SIZE_MAX; ++rows) {
        const RowScan scan = scanner_.scan(from, fields_.data());
        if (scan.result == ScanResult::damaged)
            return unsound > 0;
        if (!spend(scan) || scan.result != ScanResult::row)
            return false;
        if (scanner_.is_telling(scan, fields_.data()))
            return suspected && unsound > 0;
        unsound += scanner_.unsound_values(scan, fields_.data());
        from += static_cast<size_t>(scan.size);
    }
    return false;
}

size_t RowFinder::rows_held(const RowScan &scan, const Field *fields) {
    if (scan.size > window_.available())
        return 0;
    const auto end = static_cast<size_t>(scan.size);
    std::vector<bool> seen(end); // the begins of rows that do not lead on
    for (const uint32_t place : places_inside(window_.data(), end, fields, scan.entries))
        if (const size_t rows = rows_inside(place, end, seen))
            return rows;
    return 0;
}

// Where rows could begin: behind two zeros that are no entry's length.
std::vector<uint32_t> RowFinder::places_inside(const uint8_t *data, size_t end, const Field *fields,
                                               size_t entries) {
    std::vector<uint32_t> places;
    for (size_t at = 0; at + MARK_SIZE < end && places.size() < PLACES_MAX;) {
        const auto *zero = static_cast<const uint8_t *>(std::memchr(data + at, 0, end - at));
        if (zero == nullptr)
            break;
        const size_t begin = static_cast<size_t>(zero - data);
        at = static_cast<size_t>(skip_zeros(zero, data + end) - data);
        if (at - begin < MARK_SIZE || at == end)
            continue;
        if (at - begin > MARK_SIZE && !is_entry(fields, entries, data + at - 1))
            places.push_back(static_cast<uint32_t>(at - 1));
        if (!is_entry(fields, entries, data + at))
            places.push_back(static_cast<uint32_t>(at));
    }
    return places;
}

// The rows from `from` on that begin before `end`, when they are too many, or too good, for a coincidence and
// lead on to the rows behind.
size_t RowFinder::rows_inside(size_t from, size_t end, std::vector<bool> &seen) {
    size_t rows = 0, telling = 0, behind = 0;
    while (from < end || (from != end && behind < ROWS_BEHIND)) {
        if (from < end && seen[from])
            return 0;
        const RowScan scan = scanner_.scan(from, fields_.data());
        if (from > end && (scan.result == ScanResult::table_end || scan.result == ScanResult::cut_off))
            break;
        if (!spend(scan) || scan.result != ScanResult::row || scan.size > ROW_SIZE_MAX)
            return 0;
        if (from < end) {
            seen[from] = true;
            rows += scan.entries > 0;
            telling += scanner_.is_telling(scan, fields_.data());
        } else {
            behind += scan.entries > 0;
        }
        from += static_cast<size_t>(scan.size);
    }
    return telling >= SOUND_ROWS_INSIDE || rows >= ANY_ROWS_INSIDE ? rows : 0;
}

} // namespace vexlo
