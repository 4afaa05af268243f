#include "rescue/dictionary.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "rescue/dictionary_reader.h"
#include "values/errors.h"
#include "values/padded_bytes.h"

namespace vexlo {

namespace {

// The record with this key in a list sorted by it; null when there is none.
template <class RECORD, class KEY, class MEMBER>
const RECORD *find_record(const std::vector<RECORD> &records, KEY key, MEMBER member) {
    const auto it = std::partition_point(records.begin(), records.end(),
                                         [&](const RECORD &record) { return record.*member < key; });
    return it != records.end() && (*it).*member == key ? &*it : nullptr;
}

// All records with this key.
template <class RECORD, class KEY, class MEMBER>
std::span<const RECORD> find_records(const std::vector<RECORD> &records, KEY key, MEMBER member) {
    const auto first = std::partition_point(records.begin(), records.end(),
                                            [&](const RECORD &record) { return record.*member < key; });
    const auto last = std::partition_point(first, records.end(),
                                           [&](const RECORD &record) { return record.*member == key; });
    return {first, last};
}

} // namespace

std::string_view obstacle_text(Obstacle obstacle) {
    constexpr std::string_view TEXTS[] = {
        "",
        "index-organized table",
        "storage of a nested table",
        "external table",
        "temporary table",
        "columns are lost",
        "partitions are lost",
        "row of TAB$ and columns are lost",
        "row of TAB$ is lost, which tells its rows from others of its cluster",
        "row of TAB$ is lost, and no block of the table is found",
        "no storage"};
    return TEXTS[static_cast<size_t>(obstacle)];
}

Dictionary::Dictionary(FileSet &files, const ScanIndexes &scans, ReadOptions options,
                       std::optional<Charset> charset) {
    if (files.root() == nullptr && files.scanned(0).empty())
        throw InputError("no file of the SYSTEM tablespace is given, which holds the dictionary");
    DictionaryReader(*this, files, scans, options).read();
    if (names_.dropped() > 0)
        notes_.push_back(std::to_string(names_.dropped()) +
                         " names of the dictionary are left out: there are more than 4 GiB of them");
    tally_.coalesce();
    charset_ = charset ? charset->oracle : find_charset_name("NLS_CHARACTERSET", DATABASE_FORM);
    national_charset_ = find_charset_name("NLS_NCHAR_CHARACTERSET", NATIONAL_FORM);
    const Charset *known = charset ? &*charset : find_charset(charset_);
    if (known == nullptr)
        notes_.push_back(charset_.empty()
                             ? "the character set of the database is lost, names are read as UTF-8"
                             : "character set \"" + charset_ + "\" is not known, names are read as UTF-8");
    decoder_ = std::make_unique<TextDecoder>(known != nullptr ? *known : UTF8_CHARSET);
}

Dictionary::~Dictionary() = default;

const UserRecord *Dictionary::user(uint32_t number) const {
    return find_record(users_, number, &UserRecord::user);
}

const TablespaceRecord *Dictionary::tablespace(uint32_t number) const {
    return find_record(tablespaces_, number, &TablespaceRecord::tablespace);
}

const ObjectRecord *Dictionary::object(uint32_t number) const {
    return find_record(objects_, number, &ObjectRecord::object);
}

const TableRecord *Dictionary::table(uint32_t object) const {
    return find_record(tables_, object, &TableRecord::object);
}

const ClusterRecord *Dictionary::cluster(uint32_t object) const {
    return find_record(clusters_, object, &ClusterRecord::object);
}

const IndexRecord *Dictionary::index(uint32_t object) const {
    return find_record(indexes_, object, &IndexRecord::object);
}

const IndexPartitionRecord *Dictionary::index_partition(uint32_t index, uint32_t object) const {
    const auto it = std::partition_point(
        index_partitions_.begin(), index_partitions_.end(), [&](const IndexPartitionRecord &part) {
            return std::tie(part.index, part.object) < std::tie(index, object);
        });
    return it != index_partitions_.end() && it->index == index && it->object == object ? &*it : nullptr;
}

std::span<const ColumnRecord> Dictionary::columns(uint32_t table) const {
    return find_records(columns_, table, &ColumnRecord::table);
}

std::span<const PartitionRecord> Dictionary::partitions(uint32_t parent) const {
    return find_records(partitions_, parent, &PartitionRecord::parent);
}

// Subpartitions that have lost the row of their partition are known as partitions of the table. One of them
// may belong to any partition that has fewer of them than its row counts. The count of a table whose
// partitions are made when rows come for them is the most that it may have.
uint64_t Dictionary::lost_partitions(const TableRecord &table) const {
    constexpr uint32_t MADE_ON_DEMAND = 1048575;
    uint64_t known = 0, unowned = 0, lost = 0;
    for (const PartitionRecord &partition : partitions(table.object)) {
        const ObjectRecord *record = object(partition.object);
        const bool is_unowned = record != nullptr && record->type == OBJECT_TABLE_SUBPARTITION;
        ++(is_unowned ? unowned : known);
        const size_t inner = partitions(partition.object).size();
        lost += partition.subpartitions > inner ? partition.subpartitions - inner : 0;
    }
    lost -= std::min(lost, unowned);
    const PartitionedRecord *counted = find_record(partitioned_, table.object, &PartitionedRecord::object);
    if (counted != nullptr && counted->partitions < MADE_ON_DEMAND && counted->partitions > known)
        lost += counted->partitions - known;
    return lost;
}

// The row counts columns that can be selected by *, which have numbers; the hidden ones that store an object
// have the number of its column.
uint32_t Dictionary::lost_columns(const TableRecord &table) const {
    std::set<uint16_t> numbers;
    for (const ColumnRecord &column : columns(table.object))
        if (column.column != 0)
            numbers.insert(column.column);
    const auto known = static_cast<uint32_t>(numbers.size());
    return table.columns > known ? table.columns - known : 0;
}

bool Dictionary::has_all_columns(const TableRecord &table) const {
    return table.internal_columns != 0 && columns(table.object).size() >= table.internal_columns;
}

std::span<const LobRecord> Dictionary::lobs(uint32_t table) const {
    return find_records(lobs_, table, &LobRecord::table);
}

std::span<const LobFragmentRecord> Dictionary::lob_fragments(uint32_t lob_object) const {
    return find_records(lob_fragments_, lob_object, &LobFragmentRecord::parent);
}

std::span<const KeyColumnRecord> Dictionary::primary_key(uint32_t table) const {
    return find_records(keys_, table, &KeyColumnRecord::table);
}

const DefaultRecord *Dictionary::added_default(uint32_t table, uint32_t internal_column) const {
    for (const DefaultRecord &record : find_records(defaults_, table, &DefaultRecord::table))
        if (record.internal_column == internal_column)
            return &record;
    return nullptr;
}

bool Dictionary::has_data_object(uint32_t data_object) const {
    return std::binary_search(data_objects_.begin(), data_objects_.end(), data_object);
}

std::string_view Dictionary::property(std::string_view name) const {
    for (const auto &[key, value] : properties_)
        if (bytes(key) == name)
            return bytes(value);
    return {};
}

// The name that a property states. Where it is lost every column with text of this form has the number of the
// set.
std::string Dictionary::find_charset_name(std::string_view property_name, uint8_t form) {
    if (const std::string_view stated = property(property_name); !stated.empty())
        return std::string(stated);
    std::map<uint16_t, size_t> numbers;
    for (const ColumnRecord &column : columns_)
        if (column.charset_form == form)
            ++numbers[column.charset];
    std::erase_if(numbers, [](const auto &counted) { return charset_of_number(counted.first).empty(); });
    const auto most = std::ranges::max_element(
        numbers, [](const auto &one, const auto &other) { return one.second < other.second; });
    if (most == numbers.end())
        return {};
    std::string name(charset_of_number(most->first));
    notes_.push_back("the property " + std::string(property_name) + " is lost, columns state " + name);
    return name;
}

std::string Dictionary::text(NameRef name) const {
    const std::lock_guard<std::mutex> guard(decoder_lock_);
    const PaddedBytes padded(bytes(name));
    uint64_t replaced = 0;
    return std::string(decoder_->decode(padded.data(), padded.size(), replaced));
}

std::string Dictionary::owner_name(uint32_t object_number) const {
    const ObjectRecord *record = object(object_number);
    const UserRecord *owner = record == nullptr ? nullptr : user(record->owner);
    return owner == nullptr || owner->name.empty() ? "UNKNOWN" : text(owner->name);
}

bool Dictionary::knows_owner(uint32_t object_number) const {
    const ObjectRecord *record = object(object_number);
    return record != nullptr && user(record->owner) != nullptr;
}

std::string Dictionary::object_name(uint32_t object_number) const {
    const ObjectRecord *record = object(object_number);
    return record == nullptr || record->name.empty() ? "OBJ_" + std::to_string(object_number)
                                                     : text(record->name);
}

Obstacle Dictionary::obstacle(const TableRecord &table) const {
    const ObjectRecord *record = object(table.object);
    const bool temporary = record != nullptr && (record->flags & OBJECT_TEMPORARY) != 0;
    if ((table.property & TABLE_INDEX_ORGANIZED) != 0)
        return Obstacle::index_organized;
    if ((table.property & TABLE_NESTED) != 0)
        return Obstacle::nested;
    if ((table.property & TABLE_EXTERNAL) != 0)
        return Obstacle::external;
    if (temporary || (table.property & TABLE_TEMPORARY) != 0)
        return Obstacle::temporary;
    if (columns(table.object).empty())
        return table.row_lost ? Obstacle::row_lost : Obstacle::no_columns;
    if (table.row_lost && lies_in_cluster(table))
        return Obstacle::lost_in_cluster;
    const std::vector<TableSegment> parts = segments(table);
    const bool stored = std::any_of(parts.begin(), parts.end(), [](const TableSegment &part) {
        return part.segment.has_storage() || part.segment.unplaced;
    });
    if (stored)
        return Obstacle::none;
    return table.row_lost  ? Obstacle::unplaced
           : parts.empty() ? Obstacle::no_partitions
                           : Obstacle::no_storage;
}

// A table in a cluster has the data object number of the cluster.
bool Dictionary::lies_in_cluster(const TableRecord &lost) const {
    return std::any_of(clusters_.begin(), clusters_.end(), [&](const ClusterRecord &cluster) {
        return cluster.data_object != 0 && cluster.data_object == lost.data_object;
    });
}

std::vector<TableSegment> Dictionary::segments(const TableRecord &table) const {
    if (table.cluster != 0)
        return {cluster_segment(table)};
    const bool partitioned = (table.property & TABLE_PARTITIONED) != 0 || !partitions(table.object).empty();
    if (table.row_lost && !partitioned)
        return {};
    if (!partitioned)
        return {{{table.tablespace, table.file, table.block, table.object, table.data_object},
                 {},
                 {},
                 table.object}};
    std::vector<TableSegment> parts;
    for (const PartitionRecord &partition : partitions(table.object)) {
        const NameRef name = partition_name(partition.object);
        const std::span<const PartitionRecord> inner = partitions(partition.object);
        if (inner.empty() && (partition.data_object != 0 || partition.row_lost))
            parts.push_back(partition_segment(partition, name, {}));
        for (const PartitionRecord &subpartition : inner)
            parts.push_back(partition_segment(subpartition, name, partition_name(subpartition.object)));
    }
    return parts;
}

// Where the row of the cluster is lost, the table's own row has the place of the segment all the same.
TableSegment Dictionary::cluster_segment(const TableRecord &table) const {
    const ClusterRecord *record = cluster(table.cluster);
    const SegmentRef segment =
        record != nullptr
            ? SegmentRef{record->tablespace, record->file, record->block, record->object, record->data_object}
            : SegmentRef{table.tablespace, table.file, table.block, table.cluster, 0};
    return {segment, {}, {}, table.object};
}

TableSegment Dictionary::partition_segment(const PartitionRecord &part, NameRef partition,
                                           NameRef subpartition) const {
    return {{part.tablespace, part.file, part.block, part.object, part.data_object, part.row_lost},
            partition,
            subpartition,
            part.object};
}

NameRef Dictionary::partition_name(uint32_t partition) const {
    const ObjectRecord *record = object(partition);
    return record == nullptr ? NameRef{} : record->subname;
}

} // namespace vexlo
