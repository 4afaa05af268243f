#include "rescue/plan.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

#include "output/console.h"
#include "output/names.h"
#include "values/errors.h"

namespace vexlo {

namespace {

// Users that versions before 12 create with the database or with its options; sorted.
constexpr auto ORACLE_OWNERS = std::to_array<std::string_view>({"ANONYMOUS",
                                                                "APPQOSSYS",
                                                                "AURORA$JIS$UTILITY$",
                                                                "AURORA$ORB$UNAUTHENTICATED",
                                                                "BI",
                                                                "CTXSYS",
                                                                "DBSNMP",
                                                                "DIP",
                                                                "DMSYS",
                                                                "DVF",
                                                                "DVSYS",
                                                                "EXFSYS",
                                                                "FLOWS_FILES",
                                                                "LBACSYS",
                                                                "MDDATA",
                                                                "MDSYS",
                                                                "MGMT_VIEW",
                                                                "ODM",
                                                                "ODM_MTR",
                                                                "OLAPSYS",
                                                                "ORACLE_OCM",
                                                                "ORDDATA",
                                                                "ORDPLUGINS",
                                                                "ORDSYS",
                                                                "OSE$HTTP$ADMIN",
                                                                "OUTLN",
                                                                "OWBSYS",
                                                                "OWBSYS_AUDIT",
                                                                "PUBLIC",
                                                                "SI_INFORMTN_SCHEMA",
                                                                "SPATIAL_CSW_ADMIN_USR",
                                                                "SPATIAL_WFS_ADMIN_USR",
                                                                "SYS",
                                                                "SYSMAN",
                                                                "SYSTEM",
                                                                "TRACESVR",
                                                                "TSMSYS",
                                                                "WKPROXY",
                                                                "WKSYS",
                                                                "WK_TEST",
                                                                "WMSYS",
                                                                "XDB",
                                                                "XS$NULL"});
static_assert(std::is_sorted(ORACLE_OWNERS.begin(), ORACLE_OWNERS.end()));

// Application Express comes with the database too, its version in the name of its owner.
constexpr auto ORACLE_OWNER_PREFIXES = std::to_array<std::string_view>({"APEX_", "FLOWS_0"});

bool is_oracle_name(std::string_view name) {
    return std::binary_search(ORACLE_OWNERS.begin(), ORACLE_OWNERS.end(), name) ||
           std::any_of(ORACLE_OWNER_PREFIXES.begin(), ORACLE_OWNER_PREFIXES.end(),
                       [&](std::string_view prefix) { return name.starts_with(prefix); });
}

bool is_selected(const PlannedTable &table, bool by_oracle, const RescueOptions &options) {
    if (options.patterns.empty())
        return options.all_owners || !by_oracle;
    return std::any_of(options.patterns.begin(), options.patterns.end(),
                       [&](const NamePattern &pattern) { return pattern.matches(table.owner, table.name); });
}

// The table once for each of its partitions, the subpartitions of one together.
std::vector<PlannedTable> split_partitions(const Dictionary &dictionary, const PlannedTable &whole) {
    std::vector<PlannedTable> parts;
    for (const TableSegment &segment : whole.segments) {
        const std::string partition = dictionary.text(segment.partition);
        if (parts.empty() || parts.back().partition != partition) {
            parts.push_back(whole);
            parts.back().segments.clear();
            parts.back().partition = partition;
        }
        parts.back().segments.push_back(segment);
    }
    return parts;
}

// The tablespace that has blocks of a data object. Files that belong to no tablespace for sure count when no
// other has any.
std::optional<uint32_t> search_object(const OpenDatabase &database, uint32_t data_object) {
    std::optional<uint32_t> found;
    if (data_object == 0)
        return found;
    for (const uint32_t tablespace : database.files.tablespaces()) {
        const std::span<const ScanRange> ranges = database.scans.of(tablespace).object(data_object);
        if (std::ranges::any_of(ranges, [&](const ScanRange &range) {
                return range.file->identity().tablespace == tablespace;
            }))
            return tablespace;
        if (!ranges.empty() && !found)
            found = tablespace;
    }
    return found;
}

// Gives a table whose place is lost its segment, when blocks of it are found.
void search_table(const OpenDatabase &database, PlannedTable &table) {
    const TableRecord &record = *table.table;
    const std::optional<uint32_t> tablespace = search_object(database, record.data_object);
    if (!tablespace)
        return;
    table.segments = {{{*tablespace, 0, 0, record.object, record.data_object, true}, {}, {}, record.object}};
    table.obstacle = Obstacle::none;
    table.searched = true;
}

// Gives the partitions whose places are lost their tablespace; those of which no block is found are left out.
void search_partitions(const OpenDatabase &database, PlannedTable &table) {
    if (table.obstacle != Obstacle::none)
        return;
    std::vector<TableSegment> placed;
    for (TableSegment &part : table.segments) {
        if (part.segment.unplaced) {
            const std::optional<uint32_t> tablespace = search_object(database, part.segment.data_object);
            ++(tablespace ? table.searched_partitions : table.lost_partitions);
            if (!tablespace)
                continue;
            part.segment.tablespace = *tablespace;
        }
        placed.push_back(part);
    }
    table.segments = std::move(placed);
    if (table.segments.empty() && table.lost_partitions > 0)
        table.obstacle = Obstacle::no_partitions;
}

// The partitions that nothing but their number tells of: they belong to the table, and where each partition
// has outputs of its own they are an entry without any.
void add_lost_partitions(const Dictionary &dictionary, size_t first, bool split,
                         std::vector<PlannedTable> &tables) {
    const Obstacle obstacle = tables[first].obstacle;
    const uint64_t lost = dictionary.lost_partitions(*tables[first].table);
    if (lost == 0 || (obstacle != Obstacle::none && obstacle != Obstacle::no_partitions))
        return;
    if (split) {
        PlannedTable rest;
        rest.table = tables[first].table;
        rest.owner = tables[first].owner;
        rest.name = tables[first].name;
        rest.obstacle = Obstacle::no_partitions;
        tables.push_back(std::move(rest));
    }
    tables[split ? tables.size() - 1 : first].lost_partitions += lost;
}

// Names a table that a pattern would select if the name of its owner were not lost; empty when there is none.
std::string lost_owner_hint(const Dictionary &dictionary, const NamePattern &pattern) {
    for (const TableRecord &table : dictionary.tables()) {
        if (dictionary.knows_owner(table.object))
            continue;
        const std::string name = dictionary.object_name(table.object);
        if (pattern.matches_table(name))
            return "; " + printable(dictionary.owner_name(table.object) + "." + name) +
                   " may be it, the name of its owner is lost";
    }
    return "";
}

} // namespace

OracleOwners::OracleOwners(const Dictionary &dictionary)
    : dictionary_(dictionary),
      marked_(std::any_of(dictionary.users().begin(), dictionary.users().end(),
                          [](const UserRecord &user) { return user.is_oracle_maintained(); })) {}

bool OracleOwners::contains(uint32_t user) const {
    if (user == USER_SYS)
        return true;
    const UserRecord *record = dictionary_.user(user);
    if (record == nullptr)
        return false;
    return marked_ ? record->is_oracle_maintained() : is_oracle_name(dictionary_.bytes(record->name));
}

std::vector<std::string> PlannedTable::doubts() const {
    std::vector<std::string> texts;
    if (searched)
        texts.emplace_back("row of TAB$ is lost, blocks were found by going through the files");
    if (searched_partitions > 0)
        texts.push_back(std::to_string(searched_partitions) +
                        " partitions have lost their rows, blocks were found by going through the files");
    if (lost_partitions > 0)
        texts.push_back(std::to_string(lost_partitions) + " partitions lost");
    return texts;
}

std::string PlannedTable::obstacle_reason() const {
    const bool counted = obstacle == Obstacle::no_partitions && lost_partitions > 0;
    return counted ? doubts().back() : std::string(obstacle_text(obstacle));
}

std::vector<PlannedTable> plan_tables(const OpenDatabase &database, const RescueOptions &options) {
    const Dictionary &dictionary = database.dictionary;
    const OracleOwners oracle_owners(dictionary);
    std::vector<PlannedTable> tables;
    for (const TableRecord &record : dictionary.tables()) {
        PlannedTable table;
        table.table = &record;
        table.owner = dictionary.owner_name(record.object);
        table.name = dictionary.object_name(record.object);
        const ObjectRecord *object = dictionary.object(record.object);
        if (!is_selected(table, object != nullptr && oracle_owners.contains(object->owner), options))
            continue;
        table.obstacle = dictionary.obstacle(record);
        table.segments = dictionary.segments(record);
        const bool partitioned = !dictionary.partitions(record.object).empty() && !table.segments.empty();
        if (table.obstacle == Obstacle::unplaced)
            search_table(database, table);
        const size_t first = tables.size();
        const bool split = options.by_partition && partitioned;
        if (split)
            std::ranges::move(split_partitions(dictionary, table), std::back_inserter(tables));
        else
            tables.push_back(std::move(table));
        if (partitioned)
            for (size_t i = first; i < tables.size(); ++i)
                search_partitions(database, tables[i]);
        add_lost_partitions(dictionary, first, split, tables);
    }
    name_outputs(tables);
    return tables;
}

void report_unmatched(std::span<const PlannedTable> tables, const Dictionary &dictionary,
                      const RescueOptions &options, Report &report) {
    std::string meant;
    for (const NamePattern &pattern : options.patterns) {
        if (std::ranges::any_of(
                tables, [&](const PlannedTable &table) { return pattern.matches(table.owner, table.name); }))
            continue;
        const std::string hint = lost_owner_hint(dictionary, pattern);
        if (!tables.empty())
            report.failure(printable(pattern.text()) + ": no such table in the files" + hint);
        else if (meant.empty())
            meant = hint;
    }
    if (tables.empty())
        throw UsageError("no table is selected" + meant);
}

void name_outputs(std::vector<PlannedTable> &tables) {
    UniqueNames names;
    std::map<const TableRecord *, std::string> folders;
    std::map<const TableRecord *, UniqueNames> names_in_folder;
    for (PlannedTable &table : tables) {
        const std::string name = safe_file_name(table.owner + "." + table.name);
        if (!table.partition) {
            table.stem = names.take(name);
            table.numbered = table.stem != name;
            continue;
        }
        const auto [folder, is_new] = folders.try_emplace(table.table);
        if (is_new)
            folder->second = names.take(name);
        table.numbered = folder->second != name;
        UniqueNames &inside = names_in_folder[table.table];
        const std::string part = safe_file_name(*table.partition), given = inside.take(part);
        table.stem = folder->second + "/" + given;
        table.numbered = table.numbered || given != part;
    }
    for (PlannedTable &table : tables) {
        UniqueNames &inside = table.partition ? names_in_folder[table.table] : names;
        const size_t base = table.partition ? table.stem.rfind('/') + 1 : 0;
        table.suspect_stem = table.stem.substr(0, base) + inside.take(table.stem.substr(base) + ".suspect");
    }
}

} // namespace vexlo
