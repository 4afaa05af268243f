#include "convert/surplus.h"

#include <algorithm>
#include <array>
#include <optional>

#include "convert/dump_format.h"
#include "convert/row_rules.h"
#include "convert/row_sample.h"

namespace vexlo {

namespace {

constexpr size_t TELLING_ROWS = 5;   // from which types alone can tell
constexpr size_t TELLING_LONGER = 3; // rows with more entries that damage does not make
constexpr uint64_t ENOUGH_ROWS = 40; // of a table for half of them to stand for all
constexpr size_t ODD_SHARE = 20;     // one row in as many may be a damaged one
constexpr uint32_t INFERRED_TYPES[] = {TYPE_NUMBER,   TYPE_DATE, TYPE_TIMESTAMP, TYPE_TIMESTAMP_TZ,
                                       TYPE_VARCHAR2, TYPE_LONG, TYPE_CLOB};
constexpr size_t INFERRED = std::size(INFERRED_TYPES);

// How what the rows of a sample have as an entry fits the columns that it could belong to.
class FitTable {
public:
    FitTable(RowSample &sample, const std::vector<ColumnRule> &rules)
        : columns_(rules.size()), misfits_((columns_ + SURPLUS_MAX) * (SURPLUS_MAX + 1)),
          values_(columns_ + SURPLUS_MAX) {
        sample.for_each([&](const std::vector<Entry> &row) { add(row, rules); });
    }

    size_t rows() const { return rows_; }
    // Whether, but for few rows, the entry can belong to the column.
    bool fits(size_t entry, size_t column) const { return misfits(entry, column) <= rows_ / ODD_SHARE; }
    bool mostly_misfits(size_t entry, size_t column) const { return 2 * misfits(entry, column) > rows_; }
    // Whether any row has a value there.
    bool has_values(size_t entry) const { return values_[entry] > 0; }
    // Whether rows enough have one to tell its type.
    bool is_telling(size_t entry) const {
        return values_[entry] >= std::max(TELLING_ROWS, rows_ / ODD_SHARE + 1);
    }

private:
    size_t misfits(size_t entry, size_t column) const {
        return misfits_[entry * (SURPLUS_MAX + 1) + entry - column];
    }

    void add(const std::vector<Entry> &row, const std::vector<ColumnRule> &rules) {
        ++rows_;
        for (size_t entry = 0; entry < row.size(); ++entry) {
            values_[entry] += row[entry].mark != ENTRY_NULL;
            for (size_t skipped = 0; skipped <= std::min(entry, SURPLUS_MAX); ++skipped)
                if (entry - skipped < columns_)
                    misfits_[entry * (SURPLUS_MAX + 1) + skipped] +=
                        !vexlo::fits(row[entry], rules[entry - skipped]);
        }
    }

    size_t columns_;
    size_t rows_ = 0;
    std::vector<uint32_t> misfits_, values_;
};

// In how many ways (two for more) the columns from `column` on can be given the entries from column + skipped
// on.
using Ways = std::vector<std::array<uint8_t, SURPLUS_MAX + 1>>;

// The columns' entries when there are `surplus` more of these. The question which ones belong to no column.
class Assignment {
public:
    // With `nulls_only` no entry is left out that has values.
    Assignment(const FitTable &table, size_t columns, size_t surplus, bool nulls_only)
        : table_(table), surplus_(surplus), nulls_only_(nulls_only), ways_(columns + 1) {
        for (size_t skipped = surplus + 1; skipped-- > 0;)
            ways_[columns][skipped] =
                skipped == surplus || (is_left_out(columns + skipped) && ways_[columns][skipped + 1] > 0);
        for (size_t column = columns; column-- > 0;)
            for (size_t skipped = surplus + 1; skipped-- > 0;)
                ways_[column][skipped] =
                    static_cast<uint8_t>(std::min(taken(column, skipped) + left_out(column, skipped), 2U));
    }

    bool exists() const { return ways_[0][0] > 0; }
    bool is_open() const { return ways_[0][0] > 1; }

    // The column of each entry, by the way that leaves out the last entries that can be left out.
    std::vector<size_t> columns_of_entries() const {
        std::vector<size_t> columns;
        size_t skipped = 0;
        for (size_t column = 0; column + 1 < ways_.size();) {
            const bool here = taken(column, skipped) > 0;
            columns.push_back(here ? column++ : NO_COLUMN);
            skipped += !here;
        }
        columns.resize(ways_.size() - 1 + surplus_, NO_COLUMN);
        return columns;
    }

private:
    bool is_left_out(size_t entry) const { return !nulls_only_ || !table_.has_values(entry); }

    unsigned taken(size_t column, size_t skipped) const {
        return table_.fits(column + skipped, column) ? ways_[column + 1][skipped] : 0U;
    }

    unsigned left_out(size_t column, size_t skipped) const {
        return skipped < surplus_ && is_left_out(column + skipped) ? ways_[column][skipped + 1] : 0U;
    }

    const FitTable &table_;
    size_t surplus_;
    bool nulls_only_;
    Ways ways_;
};

std::vector<ColumnRule> declared_rules(const TableInfo &table) {
    std::vector<ColumnRule> rules;
    for (const ColumnInfo &column : table.columns)
        rules.push_back(column_rule(column));
    return rules;
}

// Rows that have more entries than columns.
size_t longer_rows(const RowSample &sample, size_t columns) {
    size_t longer = 0;
    for (size_t entries = columns + 1; entries < sample.lengths().size(); ++entries)
        longer += sample.lengths()[entries];
    return longer;
}

// How many more entries than columns the longest rows have. A single one can be a damaged row.
size_t surplus_of_longest(const RowSample &sample, size_t columns) {
    const size_t longer = longer_rows(sample, columns);
    const size_t least = 2 * longer >= sample.rows() ? 1 : 2;
    for (size_t entries = sample.lengths().size(); entries-- > columns + 1;)
        if (sample.lengths()[entries] >= least)
            return entries - columns;
    return 0;
}

// An entry that no row has a value in is the one that is left out, if that is enough.
Assignment assign(const FitTable &table, size_t columns, size_t surplus) {
    const Assignment nulls_left_out(table, columns, surplus, true);
    return nulls_left_out.exists() ? nulls_left_out : Assignment(table, columns, surplus, false);
}

// Whether every column whose own entries do not fit it is given values that do, or they another column.
bool explains(const Assignment &assignment, const FitTable &table) {
    const std::vector<size_t> column_of = assignment.columns_of_entries();
    for (size_t entry = 0; entry < column_of.size(); ++entry) {
        const size_t column = column_of[entry];
        if (column != NO_COLUMN && table.mostly_misfits(column, column) && !table.is_telling(entry) &&
            column_of[column] == NO_COLUMN)
            return false;
    }
    return true;
}

// The smallest surplus with which the rows fit; nothing when that is none. Rows end with their last value, so
// that there may be none with all entries: then the types decide, as far as they can.
std::optional<Assignment> find_assignment(const FitTable &table, size_t columns, size_t longest) {
    bool misfit = false;
    for (size_t column = 0; column < columns; ++column)
        misfit |= table.mostly_misfits(column, column);
    if (longest == 0 && (!misfit || table.rows() < TELLING_ROWS))
        return std::nullopt;
    for (size_t surplus = std::max<size_t>(longest, 1); surplus <= SURPLUS_MAX; ++surplus) {
        const Assignment assignment = assign(table, columns, surplus);
        if (assignment.exists() && (longest > 0 || explains(assignment, table)))
            return assignment;
    }
    return std::nullopt;
}

// Whether the values of the row fit the columns that they are given, and some of them speak for it.
bool is_telling(const std::vector<Entry> &row, const std::vector<size_t> &column_of,
                const std::vector<ColumnRule> &rules) {
    bool telling = false;
    for (size_t i = 0; i < std::min(row.size(), column_of.size()); ++i) {
        if (column_of[i] == NO_COLUMN)
            continue;
        const ColumnRule &rule = rules[column_of[i]];
        if (!fits(row[i], rule))
            return false;
        telling |= row[i].mark <= VALUE_MAX && is_telling_value(rule.kind, row[i].data, row[i].mark);
    }
    return telling;
}

// Whether the rows with more entries than columns, if there are any, speak for the assignment: binary values
// hold what looks like such rows, and damage makes a few.
bool is_confirmed(RowSample &sample, const Assignment &assignment, const std::vector<ColumnRule> &rules) {
    const std::vector<size_t> column_of = assignment.columns_of_entries();
    size_t longer = 0, telling = 0;
    sample.for_each([&](const std::vector<Entry> &row) {
        longer += row.size() > rules.size();
        telling += row.size() > rules.size() && is_telling(row, column_of, rules);
    });
    return longer == 0 || (telling >= TELLING_LONGER && 4 * telling >= 3 * longer) ||
           2 * longer >= sample.rows();
}

// For each entry the first type that all its values, but for those of few rows, are of; 0 when there is none.
std::vector<uint32_t> inferred_types(RowSample &sample, size_t entries) {
    std::vector<std::array<uint32_t, INFERRED>> misfits(entries);
    size_t rows = 0;
    sample.for_each([&](const std::vector<Entry> &row) {
        ++rows;
        for (size_t entry = 0; entry < std::min(entries, row.size()); ++entry)
            for (size_t i = 0; i < INFERRED; ++i)
                misfits[entry][i] +=
                    !fits(row[entry], column_rule({false, INFERRED_TYPES[i], VALUE_MAX, ""}));
    });
    std::vector<uint32_t> types;
    for (const std::array<uint32_t, INFERRED> &counts : misfits) {
        const auto found = std::find_if(counts.begin(), counts.end(),
                                        [&](uint32_t count) { return count <= rows / ODD_SHARE; });
        types.push_back(found == counts.end() ? 0 : INFERRED_TYPES[found - counts.begin()]);
    }
    return types;
}

// The entries that belong to no column, counted from 1.
std::string list_left_out(const TableInfo &table) {
    std::string list;
    for (size_t i = 0; i < table.entry_columns.size(); ++i)
        if (table.entry_columns[i] == NO_COLUMN)
            list += (list.empty() ? "" : ", ") + std::to_string(i + 1);
    return list;
}

// Makes columns of the entries that none is known for.
void add_extra_columns(RowSample &sample, TableInfo &table) {
    const std::vector<uint32_t> types = inferred_types(sample, table.entry_columns.size());
    size_t extras = 0;
    for (size_t i = 0; i < table.entry_columns.size(); ++i) {
        if (table.entry_columns[i] != NO_COLUMN)
            continue;
        table.entry_columns[i] = table.columns.size();
        table.columns.push_back({false, types[i], VALUE_MAX, "EXTRA_" + std::to_string(++extras)});
    }
}

// Whether the sample has few of the rows that the directory counts: a length that takes in most of the table
// has made a long row of them.
bool lacks_rows(const RowSample &sample, const TableInfo &table) {
    return table.counted && 2 * sample.rows() < std::min<uint64_t>(table.nrows, ENOUGH_ROWS);
}

// Gives the entries of the table's rows to its columns where there are more of them.
void assign_entries(RowSample &sample, TableInfo &table) {
    if (lacks_rows(sample, table))
        return;
    const size_t columns = table.columns.size();
    const std::vector<ColumnRule> rules = declared_rules(table);
    const FitTable fit(sample, rules);
    const std::optional<Assignment> assignment =
        find_assignment(fit, columns, surplus_of_longest(sample, columns));
    if (!assignment || !is_confirmed(sample, *assignment, rules))
        return;
    table.entry_columns = assignment->columns_of_entries();
    table.open = assignment->is_open();
    table.remark = "rows have " + std::to_string(table.entry_columns.size()) + " entries for " +
                   std::to_string(columns) + " columns; ";
    if (table.open)
        add_extra_columns(sample, table);
    else
        table.remark += "entry " + list_left_out(table) + " belongs to none and is left out";
    if (table.open)
        table.remark += "which belong to none cannot be told: the last values come as EXTRA_n";
}

} // namespace

void infer_types(int fd, const std::string &path, TableInfo &table) {
    RowSample sample(fd, path, table, table.columns.size());
    if (sample.rows() == 0)
        return;
    const std::vector<uint32_t> types = inferred_types(sample, table.columns.size());
    for (size_t i = 0; i < table.columns.size(); ++i)
        if (table.columns[i].ctyp == 0)
            table.columns[i].ctyp = types[i];
}

void find_surplus(int fd, const std::string &path, TableInfo &table) {
    RowSample sample(fd, path, table, table.columns.size() + SURPLUS_MAX);
    assign_entries(sample, table);
}

std::optional<TableInfo> find_late_surplus(int fd, const std::string &path, const TableInfo &table,
                                           uint64_t place) {
    const size_t columns = table.columns.size();
    RowSample sample(fd, path, table, columns + SURPLUS_MAX, place);
    const size_t longer = longer_rows(sample, columns);
    TableInfo refined = table;
    if (longer >= TELLING_LONGER && sample.rows() - longer >= TELLING_ROWS)
        assign_entries(sample, refined);
    return refined.entry_columns.empty() ? std::nullopt : std::optional(refined);
}

} // namespace vexlo
