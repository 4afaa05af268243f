// Which tables a run takes, from which segments, and what their outputs are called.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "rescue/open_database.h"

namespace vexlo {

// A table, or one partition of it where each gets outputs of its own. Names are UTF-8.
struct PlannedTable {
    const TableRecord *table = nullptr;
    std::string owner, name;
    std::optional<std::string> partition;
    std::vector<TableSegment> segments;
    Obstacle obstacle = Obstacle::none;
    bool searched = false; // its blocks had to be looked for: nobody knows whether they are all there are
    uint64_t searched_partitions = 0; // partitions of which the same holds
    uint64_t lost_partitions = 0;     // partitions of which no block was found, or nothing but their number
    std::string stem;                 // path in the output directory that outputs get, without extension
    bool numbered = false;            // another table has the name that the stem would be
    std::string suspect_stem;         // the same of rows that cannot be trusted

    // Why it is not known that all its rows are in its segments, if so.
    std::vector<std::string> doubts() const;
    // Why its rows are not read.
    std::string obstacle_reason() const;
    // OWNER.TABLE or OWNER.TABLE/PARTITION
    std::string title() const { return owner + "." + name + (partition ? "/" + *partition : ""); }
};

// Whether a user came with the database. Before version 12 the dictionary does not tell, and names decide.
class OracleOwners {
public:
    explicit OracleOwners(const Dictionary &dictionary);
    bool contains(uint32_t user) const;

private:
    const Dictionary &dictionary_;
    bool marked_; // the dictionary tells
};

// The tables that the options select, in the order of the dictionary. The blocks of tables and partitions
// whose place is lost are looked for in all files.
std::vector<PlannedTable> plan_tables(const OpenDatabase &database, const RescueOptions &options);

// Reports the patterns of the options that selected none of the tables, and the tables of lost owners that
// may be meant. Throws UsageError when no table is selected at all.
void report_unmatched(std::span<const PlannedTable> tables, const Dictionary &dictionary,
                      const RescueOptions &options, Report &report);

// Gives every planned table its stems: names fit for files, long ones cut, equal ones numbered in their
// order.
void name_outputs(std::vector<PlannedTable> &tables);

} // namespace vexlo
