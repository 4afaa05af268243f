#include "convert/surplus.h"

#include <algorithm>

#include "convert/dump_format.h"
#include "convert/row_rules.h"
#include "format/byte_order.h"
#include "output/file_handle.h"

namespace vexlo {

namespace {

constexpr size_t SAMPLE_SIZE = 1 << 17;
constexpr size_t SAMPLE_ROWS = 200;
constexpr size_t TRUSTED_ROWS = 20; // before a place that is no row
constexpr size_t SURPLUS_MAX = 16;
constexpr uint32_t INFERRED_TYPES[] = {2, 12, 1}; // NUMBER, DATE, VARCHAR2

struct Entry {
    uint16_t mark; // or the size of a value
    const uint8_t *data;
};

using Sample = std::vector<std::vector<Entry>>;

// Takes the entries of the row at `p` without asking which column they belong to; null when it is no row that
// ends before `end`.
const uint8_t *take_row(const uint8_t *p, const uint8_t *end, size_t entries_max, std::vector<Entry> &row) {
    bool has_long = false;
    while (end - p >= 2) {
        const uint16_t mark = load_be16(p);
        p += 2;
        if (mark == ROW_END)
            break;
        const size_t size = mark <= VALUE_MAX ? mark : 0;
        if (mark == TABLE_END || mark == LONG_BLOCK || row.size() == entries_max ||
            static_cast<size_t>(end - p) < size)
            return nullptr;
        has_long |= mark == ENTRY_LONG;
        row.push_back({mark, p});
        p += size;
    }
    if (!has_long || end - p < 2 || load_be16(p) != LONG_BLOCK)
        return end - p >= 2 ? p : nullptr;
    for (p += 2; end - p >= 2;) {
        const uint16_t size = load_be16(p);
        p += 2;
        if (size == LONG_END)
            return p;
        if (size > VALUE_MAX || end - p < size)
            break;
        p += size;
    }
    return nullptr;
}

// The first rows of a table. None when the rows are too few to be trusted: damage makes long rows of short
// ones.
Sample take_sample(const std::vector<uint8_t> &bytes, size_t entries_max) {
    const uint8_t *const end = bytes.data() + bytes.size();
    const uint8_t *p = bytes.data();
    Sample sample;
    while (sample.size() < SAMPLE_ROWS && (end - p != 2 || load_be16(p) != TABLE_END)) {
        std::vector<Entry> row;
        p = take_row(p, end, entries_max, row);
        if (p == nullptr)
            return sample.size() < TRUSTED_ROWS ? Sample{} : sample;
        sample.push_back(std::move(row));
    }
    return sample;
}

// What people write: bytes of other types hold control characters.
bool is_readable(const uint8_t *data, size_t size) {
    return std::none_of(data, data + size,
                        [](uint8_t c) { return c < ' ' && c != '\t' && c != '\n' && c != '\r'; });
}

// As the database writes a NUMBER: a negative one has a mark at its end unless it has all the digits there
// can be. That tells numbers from texts.
bool is_stored_number(const uint8_t *data, size_t size) {
    constexpr size_t SIZE_MAX_STORED = 21;
    constexpr uint8_t POSITIVE = 0x80, NEGATIVE_END = 0x66;
    return size == 1 || size >= SIZE_MAX_STORED || data[0] >= POSITIVE || data[size - 1] == NEGATIVE_END;
}

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
               (rule.kind != ColumnKind::text || is_readable(entry.data, entry.mark)) &&
               (rule.kind != ColumnKind::number || is_stored_number(entry.data, entry.mark));
    }
}

// Whether what all rows have as their entry `index` fits the rule.
bool all_fit(const Sample &sample, size_t index, const ColumnRule &rule) {
    return std::all_of(sample.begin(), sample.end(), [&](const std::vector<Entry> &row) {
        return index >= row.size() || fits(row[index], rule);
    });
}

// In how many ways (two for more) the columns from `column` on can be given the entries from column + skipped
// on.
using Ways = std::vector<std::vector<uint8_t>>;

Ways count_ways(const Sample &sample, const std::vector<ColumnRule> &rules, size_t surplus) {
    Ways ways(rules.size() + 1, std::vector<uint8_t>(surplus + 2, 0));
    std::fill(ways.back().begin(), ways.back().begin() + static_cast<std::ptrdiff_t>(surplus) + 1,
              uint8_t{1});
    for (size_t column = rules.size(); column-- > 0;)
        for (size_t skipped = surplus + 1; skipped-- > 0;) {
            const bool here = all_fit(sample, column + skipped, rules[column]);
            const unsigned count = (here ? ways[column + 1][skipped] : 0U) + ways[column][skipped + 1];
            ways[column][skipped] = static_cast<uint8_t>(std::min(count, 2U));
        }
    return ways;
}

// The column of each entry, by the way that leaves out the last entries that can be left out.
std::vector<size_t> give_entries(const Sample &sample, const std::vector<ColumnRule> &rules, const Ways &ways,
                                 size_t surplus) {
    std::vector<size_t> columns;
    size_t skipped = 0;
    for (size_t column = 0; column < rules.size();) {
        const bool here = ways[column + 1][skipped] > 0 && all_fit(sample, column + skipped, rules[column]);
        columns.push_back(here ? column++ : NO_COLUMN);
        skipped += !here;
    }
    columns.resize(rules.size() + surplus, NO_COLUMN);
    return columns;
}

// The first type that all values of an entry are of; 0 when there is none.
uint32_t inferred_type(const Sample &sample, size_t entry) {
    for (const uint32_t ctyp : INFERRED_TYPES)
        if (all_fit(sample, entry, column_rule({false, ctyp, VALUE_MAX, ""})))
            return ctyp;
    return 0;
}

// The first bytes of a table's rows.
std::vector<uint8_t> first_bytes(int fd, const std::string &path, const TableInfo &table) {
    std::vector<uint8_t> bytes(
        static_cast<size_t>(std::min<uint64_t>(SAMPLE_SIZE, table.end - table.rows_at)));
    bytes.resize(read_at(fd, bytes.data(), bytes.size(), table.rows_at, path));
    return bytes;
}

} // namespace

void infer_types(int fd, const std::string &path, TableInfo &table) {
    const std::vector<uint8_t> bytes = first_bytes(fd, path, table);
    const Sample sample = take_sample(bytes, table.columns.size());
    for (size_t i = 0; i < table.columns.size() && !sample.empty(); ++i)
        if (table.columns[i].ctyp == 0)
            table.columns[i].ctyp = inferred_type(sample, i);
}

void find_surplus(int fd, const std::string &path, TableInfo &table) {
    const size_t columns = table.columns.size();
    const std::vector<uint8_t> bytes = first_bytes(fd, path, table);
    const Sample sample = take_sample(bytes, columns + SURPLUS_MAX);
    size_t entries = 0, longer = 0;
    for (const std::vector<Entry> &row : sample) {
        entries = std::max(entries, row.size());
        longer += row.size() > columns;
    }
    if (2 * longer < sample.size() || longer == 0) // single rows can be damaged ones
        return;
    std::vector<ColumnRule> rules;
    for (const ColumnInfo &column : table.columns)
        rules.push_back(column_rule(column));
    const size_t surplus = entries - columns;
    const Ways ways = count_ways(sample, rules, surplus);
    if (ways[0][0] == 0)
        return;
    table.entry_columns = give_entries(sample, rules, ways, surplus);
    table.open = ways[0][0] > 1;
    std::string which;
    size_t extras = 0;
    for (size_t i = 0; i < entries; ++i) {
        if (table.entry_columns[i] != NO_COLUMN)
            continue;
        which += (which.empty() ? "" : ", ") + std::to_string(i + 1);
        if (!table.open)
            continue;
        table.entry_columns[i] = table.columns.size();
        table.columns.push_back(
            {false, inferred_type(sample, i), VALUE_MAX, "EXTRA_" + std::to_string(++extras)});
    }
    table.remark =
        "rows have " + std::to_string(entries) + " entries for " + std::to_string(columns) + " columns; ";
    table.remark += table.open ? "which belong to none cannot be told: the last values come as EXTRA_n"
                               : "entry " + which + " belongs to none and is left out";
}

} // namespace vexlo
