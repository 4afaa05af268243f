#include "convert/list_end.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "convert/dump_format.h"
#include "convert/row_sample.h"
#include "convert/row_scanner.h"
#include "format/byte_order.h"
#include "output/file_handle.h"

namespace vexlo {

namespace {

// What the rows behind a column list say about its end.
struct RowsBehind {
    bool fit = false; // the first row and most others are those of its columns, or there are none
    bool has_rows = false;
    size_t longest = 0; // entries of the longest row
};

// Whether a table ends at the file offset, which another one follows or nothing.
bool is_table_end(int fd, const std::string &path, uint64_t offset, uint64_t end) {
    uint8_t mark[MARK_SIZE];
    return end - offset == sizeof mark && read_at(fd, mark, sizeof mark, offset, path) == sizeof mark &&
           load_be16(mark) == TABLE_END;
}

// Whether the entry at the file offset is one of zeros, which look like rows without entries.
bool are_zeros(int fd, const std::string &path, uint64_t offset) {
    uint8_t entry[COL_SIZE];
    return read_at(fd, entry, sizeof entry, offset, path) == sizeof entry &&
           std::all_of(entry, entry + sizeof entry, [](uint8_t byte) { return byte == 0; });
}

// Of rows of up to `entries_max` entries. Only the columns that are known say what fits them.
RowsBehind rows_behind(int fd, const std::string &path, const TableInfo &table, size_t known,
                       size_t entries_max) {
    std::vector<ColumnRule> rules;
    for (size_t i = 0; i < known; ++i)
        rules.push_back(column_rule(table.columns[i]));
    RowSample sample(fd, path, table, entries_max);
    RowsBehind behind;
    size_t rows = 0, fitting = 0;
    bool first_fits = false;
    sample.for_each([&](const std::vector<Entry> &row) {
        bool all_fit = true;
        for (size_t i = 0; i < std::min(row.size(), known); ++i)
            all_fit &= fits(row[i], rules[i]);
        fitting += all_fit;
        first_fits |= rows++ == 0 && all_fit;
        behind.longest = std::max(behind.longest, row.size());
    });
    behind.has_rows = rows > 0;
    behind.fit =
        rows > 0 ? first_fits && 4 * fitting >= 3 * rows : is_table_end(fd, path, table.rows_at, table.end);
    return behind;
}

} // namespace

void add_damaged_end(int fd, const std::string &path, uint64_t end, FoundList &list) {
    const size_t known = list.columns.size();
    TableInfo table{};
    table.columns = list.columns;
    table.rows_at = list.offset + known * COL_SIZE;
    table.end = end;
    if (!are_zeros(fd, path, table.rows_at) && rows_behind(fd, path, table, known, known + SURPLUS_MAX).fit)
        return;
    for (size_t damaged = 1; damaged <= DAMAGED_MAX && end - table.rows_at >= COL_SIZE; ++damaged) {
        uint8_t entry[COL_SIZE];
        if (read_at(fd, entry, sizeof entry, table.rows_at, path) < sizeof entry)
            return;
        table.columns.push_back(damaged_column_entry(entry));
        table.rows_at += sizeof entry;
        const RowsBehind behind = rows_behind(fd, path, table, known, table.columns.size());
        if (!behind.fit || (behind.has_rows && behind.longest <= known))
            continue;
        list.columns = std::move(table.columns);
        list.damaged += damaged;
        return;
    }
}

} // namespace vexlo
