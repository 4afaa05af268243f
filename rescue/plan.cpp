#include "rescue/plan.h"

#include <algorithm>
#include <array>
#include <map>
#include <string_view>

#include "output/console.h"
#include "output/names.h"

namespace vexlo {

namespace {

constexpr uint32_t USER_SYS = 0;

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

// The segment of a table whose place is lost: it lies in the tablespace that has blocks of its data object.
// Files that belong to no tablespace for sure count when no other has any.
std::vector<TableSegment> search_table(const OpenDatabase &database, const TableRecord &table) {
    std::vector<TableSegment> found;
    for (const uint32_t tablespace : database.files.tablespaces()) {
        const std::span<const ScanRange> ranges = database.scans.of(tablespace).object(table.data_object);
        const bool is_own = std::ranges::any_of(
            ranges, [&](const ScanRange &range) { return range.file->identity().tablespace == tablespace; });
        if (is_own || (!ranges.empty() && found.empty()))
            found = {{{tablespace, 0, 0, table.object, table.data_object, true}, {}, {}, table.object}};
        if (is_own)
            break;
    }
    return found;
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
        if (table.obstacle == Obstacle::unplaced && record.data_object != 0)
            table.segments = search_table(database, record);
        if (table.was_searched())
            table.obstacle = Obstacle::none;
        if (options.by_partition && partitioned)
            std::ranges::move(split_partitions(dictionary, table), std::back_inserter(tables));
        else
            tables.push_back(std::move(table));
    }
    name_outputs(tables);
    return tables;
}

void report_unmatched(std::span<const PlannedTable> tables, const RescueOptions &options, Report &report) {
    for (const NamePattern &pattern : options.patterns)
        if (std::ranges::none_of(
                tables, [&](const PlannedTable &table) { return pattern.matches(table.owner, table.name); }))
            report.failure(printable(pattern.text()) + ": no such table in the files");
}

void name_outputs(std::vector<PlannedTable> &tables) {
    UniqueNames names;
    std::map<const TableRecord *, std::string> folders;
    std::map<const TableRecord *, UniqueNames> names_in_folder;
    for (PlannedTable &table : tables) {
        const std::string name = safe_file_name(table.owner + "." + table.name);
        if (!table.partition) {
            table.stem = names.take(name);
            continue;
        }
        const auto [folder, is_new] = folders.try_emplace(table.table);
        if (is_new)
            folder->second = names.take(name);
        UniqueNames &inside = names_in_folder[table.table];
        table.stem = folder->second + "/" + inside.take(safe_file_name(*table.partition));
    }
    for (PlannedTable &table : tables) {
        UniqueNames &inside = table.partition ? names_in_folder[table.table] : names;
        const size_t base = table.partition ? table.stem.rfind('/') + 1 : 0;
        table.suspect_stem = table.stem.substr(0, base) + inside.take(table.stem.substr(base) + ".suspect");
    }
}

} // namespace vexlo
