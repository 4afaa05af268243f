#include "rescue/dictionary_reader.h"

#include <algorithm>
#include <tuple>

#include "format/block_address.h"
#include "rescue/default_value.h"
#include "rescue/lob_segment.h"
#include "rescue/stop.h"
#include "values/charset.h"

namespace vexlo {

namespace {

constexpr uint32_t CONSTRAINT_PRIMARY_KEY = 2;
constexpr uint64_t FIRST_DATA_BLOCK = 2; // behind the file header
// Bytes of the values of all added columns. A row of ECOL$ can lead to a thousand times its size, and many
// rows to the same place: more than this is damage, and is lost.
constexpr size_t DEFAULTS_SIZE_MAX = 64 << 20;

// A record by its key and its place in a list.
struct KeyedPlace {
    uint64_t key;
    size_t place;
};

// Sorts by key and drops all but the first place of equal ones.
void sort_unique(std::vector<KeyedPlace> &places) {
    std::ranges::sort(places, [](const KeyedPlace &a, const KeyedPlace &b) {
        return a.key != b.key ? a.key < b.key : a.place < b.place;
    });
    const auto same = [](const KeyedPlace &a, const KeyedPlace &b) { return a.key == b.key; };
    places.erase(std::unique(places.begin(), places.end(), same), places.end());
}

// Sorts records by a key and drops all but the first of equal ones. Mostly nothing is to be done.
template <class RECORD, class KEY>
void sort_unique(std::vector<RECORD> &records, KEY key) {
    const auto not_before = [&](const RECORD &a, const RECORD &b) { return key(a) >= key(b); };
    if (std::adjacent_find(records.begin(), records.end(), not_before) == records.end())
        return;
    std::vector<KeyedPlace> places;
    places.reserve(records.size());
    for (const RECORD &record : records)
        places.push_back({key(record), places.size()});
    sort_unique(places);
    std::vector<RECORD> sorted;
    sorted.reserve(places.size());
    for (const KeyedPlace &from : places)
        sorted.push_back(std::move(records[from.place]));
    records = std::move(sorted);
}

// A row of bootstrap$.
struct BootstrapRecord {
    uint32_t line;
    uint32_t object;
    NameRef text;
};

std::vector<ColumnMember<BootstrapRecord>> bootstrap_columns() {
    return {{"LINE#", &BootstrapRecord::line},
            {"OBJ#", &BootstrapRecord::object},
            {"SQL_TEXT", &BootstrapRecord::text}};
}

// Takes rows of bootstrap$, or of blocks that may hold such rows among others.
class BootstrapTaker {
public:
    BootstrapTaker() : taker_("BOOTSTRAP$", bootstrap_columns(), records_, names_) {
        taker_.define({"BOOTSTRAP$", {}, 0, {}, {"LINE#", "OBJ#", "SQL_TEXT"}});
    }

    const TableLayout &layout() const { return taker_.layout(); }

    // Takes the row when it has the shape of one: two numbers, and a text that begins with CREATE.
    void take(const RescuedRow &row) {
        constexpr std::string_view CREATE = "CREATE ";
        const Field *fields = row.row.fields;
        if (!taker_.accepts(row) || row.columns != 3 || !is_number(fields[0]) || !is_number(fields[1]) ||
            fields[2].kind != FieldKind::value || fields[2].size < CREATE.size() ||
            std::string_view(reinterpret_cast<const char *>(fields[2].data), CREATE.size()) != CREATE)
            return;
        taker_.take(fields);
    }

    // The statements of the rows taken, the first one of each name.
    std::vector<CreateText> texts() const {
        std::vector<CreateText> texts;
        std::set<std::pair<bool, std::string>> names;
        for (const BootstrapRecord &record : records_) {
            std::optional<CreateText> text = parse_create_text(names_.bytes(record.text));
            if (!text || text->columns.empty() || (text->block == 0 && text->cluster.empty()))
                continue;
            if (text->object == 0)
                text->object = record.object;
            if (names.emplace(text->is_cluster, text->name).second)
                texts.push_back(std::move(*text));
        }
        return texts;
    }

private:
    static bool is_number(const Field &field) {
        constexpr uint32_t LONGEST_NUMBER = 22;
        return field.kind == FieldKind::value && field.size <= LONGEST_NUMBER;
    }

    std::vector<BootstrapRecord> records_;
    NameStore names_;
    RecordTaker<BootstrapRecord> taker_;
};

SegmentRef bootstrap_segment(const Datafile &root) {
    const uint32_t rdba = root.identity().root_rdba;
    return {root.identity().tablespace.value_or(SYSTEM_TABLESPACE), root.identity().relative_file,
            static_cast<uint32_t>(root.block_number(rdba)), 0, 0};
}

} // namespace

DictionaryReader::DictionaryReader(Dictionary &dictionary, FileSet &files, const ScanIndexes &scans,
                                   ReadOptions options)
    : dictionary_(dictionary), files_(files), scans_(scans), options_(options),
      tablespace_(files.root() != nullptr ? files.root()->identity().tablespace.value_or(SYSTEM_TABLESPACE)
                                          : SYSTEM_TABLESPACE) {}

void DictionaryReader::read() {
    read_bootstrap();
    read_tables(core_takers());
    finish_core();
    read_tables(further_takers());
    finish_further();
    read_tables(key_takers());
    finish_keys();
    add_lost_tables();
    add_lost_partitions();
    place_files();
    read_defaults();
}

// ---- Bootstrap

void DictionaryReader::read_bootstrap() {
    if (files_.root() != nullptr) {
        BootstrapTaker taker;
        const SegmentRef segment = bootstrap_segment(*files_.root());
        SegmentRuns runs(files_, scans_, segment, options_);
        const RowSource source{
            files_, taker.layout(), segment.tablespace, 0, runs.data_object(), nullptr, options_, {}};
        RowReader reader(source);
        std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
        SegmentTally tally;
        for (BlockRun run; runs.next(run);)
            reader.read(load_run(run, buffer.data()), tally, [&](const RescuedRow &row) { taker.take(row); });
        tally.add(runs.tally());
        texts_ = taker.texts();
        // Where a damaged header leads to nothing, it is the address that is wrong.
        if (!texts_.empty() || files_.root()->status() == FileStatus::used)
            dictionary_.tally_.add(tally);
    }
    if (texts_.empty())
        read_bootstrap_by_shape();
    if (texts_.empty())
        dictionary_.notes_.push_back(
            "bootstrap$ is lost: the places of the core tables are found by their object numbers");
}

// Goes through all blocks that may be of the SYSTEM tablespace.
void DictionaryReader::read_bootstrap_by_shape() {
    BootstrapTaker taker;
    const RowSource source{files_, taker.layout(), tablespace_, 0, 0, nullptr, options_, {}};
    RowReader reader(source);
    std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
    SegmentTally ignored;
    for (const Datafile *file : files_.scanned(tablespace_)) {
        const uint64_t most = SegmentRuns::RUN_BYTES / file->block_size();
        for (uint64_t block = file->skip_hole(FIRST_DATA_BLOCK); block < file->blocks();) {
            check_stop();
            const BlockRun run{file, block, static_cast<uint32_t>(std::min(most, file->blocks() - block)),
                               true};
            reader.read(load_run(run, buffer.data()), ignored,
                        [&](const RescuedRow &row) { taker.take(row); });
            ignored = {};
            block = file->skip_hole(block + run.count);
        }
    }
    texts_ = taker.texts();
    if (!texts_.empty())
        dictionary_.notes_.push_back(
            "the segment header of bootstrap$ is lost, its rows were found by their shape");
}

// ---- Tables

std::optional<SystemTable> DictionaryReader::definition(std::string_view table) const {
    const auto text = std::find_if(texts_.begin(), texts_.end(), [&](const CreateText &candidate) {
        return !candidate.is_cluster && candidate.name == table;
    });
    if (text != texts_.end())
        if (std::optional<SystemTable> found = define_table(*text, texts_, tablespace_))
            return found;
    if (std::optional<SystemTable> found = described_definition(table))
        return found;
    const CoreTable *core = find_core_table(table);
    if (core == nullptr || core->object == 0)
        return std::nullopt;
    return define_table(*core, texts_, tablespace_);
}

const TableRecord *DictionaryReader::system_record(std::string_view table) const {
    for (const ObjectRecord &object : dictionary_.objects_)
        if (object.owner == USER_SYS && object.type == OBJECT_TABLE &&
            dictionary_.bytes(object.name) == table)
            return dictionary_.table(object.object);
    const CoreTable *core = find_core_table(table);
    return core == nullptr ? nullptr : dictionary_.table(core->object);
}

// The definition that TAB$ and COL$ give; the columns of a core table whose own are lost are known.
std::optional<SystemTable> DictionaryReader::described_definition(std::string_view table) const {
    const TableRecord *record = system_record(table);
    if (record == nullptr || record->row_lost)
        return std::nullopt;
    const std::vector<TableSegment> segments = dictionary_.segments(*record);
    if (segments.size() != 1)
        return std::nullopt;
    SystemTable found{std::string(table), segments.front().segment, record->cluster_table, {}, {}};
    std::map<uint32_t, std::string> stored; // by place in the row, from 1
    for (const ColumnRecord &column : dictionary_.columns(record->object))
        if (column.segment_column != 0)
            stored.emplace(column.segment_column, dictionary_.bytes(column.name));
    if (stored.empty()) {
        const CoreTable *core = find_core_table(table);
        if (core == nullptr)
            return std::nullopt;
        const SystemTable known = define_table(*core, texts_, tablespace_);
        found.key = known.key;
        found.columns = known.columns;
        return found;
    }
    const uint32_t keys = record->cluster != 0 ? record->cluster_columns : 0;
    for (uint32_t place = 1; place <= stored.rbegin()->first; ++place) {
        const auto it = stored.find(place);
        (place <= keys ? found.key : found.columns)
            .push_back(it == stored.end() ? std::string() : it->second);
    }
    return found;
}

// Reads the tables that lie in one segment together.
void DictionaryReader::read_tables(const Takers &takers) {
    std::map<std::tuple<uint32_t, uint32_t, uint32_t, uint32_t>,
             std::pair<SegmentRef, std::vector<RowTaker *>>>
        groups;
    for (const std::unique_ptr<RowTaker> &taker : takers) {
        const std::optional<SystemTable> table = definition(taker->table());
        if (!table)
            continue;
        taker->define(*table);
        const SegmentRef &segment = table->segment;
        auto &group = groups[{segment.tablespace, segment.file, segment.block, segment.data_object}];
        group.first = segment;
        group.second.push_back(taker.get());
    }
    for (const auto &[place, group] : groups)
        read_group(group.first, group.second);
}

void DictionaryReader::read_group(const SegmentRef &segment, std::span<RowTaker *const> group) {
    SegmentRuns runs(files_, scans_, segment, options_);
    std::vector<std::unique_ptr<RowReader>> readers;
    for (const RowTaker *taker : group)
        readers.push_back(std::make_unique<RowReader>(RowSource{files_,
                                                                taker->layout(),
                                                                segment.tablespace,
                                                                segment.object,
                                                                runs.data_object(),
                                                                nullptr,
                                                                options_,
                                                                {}}));
    std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
    SegmentTally tally;
    for (BlockRun run; runs.next(run);) {
        check_stop();
        const LoadedRun loaded = load_run(run, buffer.data());
        for (size_t i = 0; i < group.size(); ++i) {
            SegmentTally again; // the blocks count once
            readers[i]->read(loaded, i == 0 ? tally : again, [&](const RescuedRow &row) {
                if (group[i]->accepts(row))
                    group[i]->take(row.row.fields);
            });
        }
    }
    tally.add(runs.tally());
    dictionary_.tally_.add(tally);
}

// ---- The tables that bootstrap$ describes

DictionaryReader::Takers DictionaryReader::core_takers() {
    Dictionary &d = dictionary_;
    Takers takers;
    const auto add = [&]<class RECORD>(std::string_view table, std::vector<RECORD> &records,
                                       std::vector<ColumnMember<RECORD>> columns) {
        takers.push_back(std::make_unique<RecordTaker<RECORD>>(table, std::move(columns), records, d.names_));
    };
    add.operator()<TableRecord>("TAB$", d.tables_,
                                {{"OBJ#", &TableRecord::object},
                                 {"DATAOBJ#", &TableRecord::data_object},
                                 {"TS#", &TableRecord::tablespace},
                                 {"FILE#", &TableRecord::file},
                                 {"BLOCK#", &TableRecord::block},
                                 {"BOBJ#", &TableRecord::cluster},
                                 {"TAB#", &TableRecord::cluster_table},
                                 {"COLS", &TableRecord::columns},
                                 {"INTCOLS", &TableRecord::internal_columns},
                                 {"CLUCOLS", &TableRecord::cluster_columns},
                                 {"FLAGS", &TableRecord::flags},
                                 {"ROWCNT", &TableRecord::rows},
                                 {"BLKCNT", &TableRecord::block_count},
                                 {"AVGRLN", &TableRecord::row_length},
                                 {"ANALYZETIME", &TableRecord::analyzed},
                                 {"PROPERTY", &TableRecord::property}});
    add.operator()<ClusterRecord>("CLU$", d.clusters_,
                                  {{"OBJ#", &ClusterRecord::object},
                                   {"DATAOBJ#", &ClusterRecord::data_object},
                                   {"TS#", &ClusterRecord::tablespace},
                                   {"FILE#", &ClusterRecord::file},
                                   {"BLOCK#", &ClusterRecord::block},
                                   {"COLS", &ClusterRecord::columns},
                                   {"FLAGS", &ClusterRecord::flags}});
    add.operator()<ColumnRecord>("COL$", d.columns_,
                                 {{"OBJ#", &ColumnRecord::table},
                                  {"COL#", &ColumnRecord::column},
                                  {"SEGCOL#", &ColumnRecord::segment_column},
                                  {"NAME", &ColumnRecord::name},
                                  {"TYPE#", &ColumnRecord::type},
                                  {"LENGTH", &ColumnRecord::length},
                                  {"PRECISION#", &ColumnRecord::precision},
                                  {"SCALE", &ColumnRecord::scale},
                                  {"NULL$", &ColumnRecord::not_null},
                                  {"INTCOL#", &ColumnRecord::internal_column},
                                  {"PROPERTY", &ColumnRecord::property},
                                  {"CHARSETID", &ColumnRecord::charset},
                                  {"CHARSETFORM", &ColumnRecord::charset_form},
                                  {"SPARE3", &ColumnRecord::character_length}});
    add.operator()<IndexRecord>("IND$", d.indexes_,
                                {{"OBJ#", &IndexRecord::object},
                                 {"DATAOBJ#", &IndexRecord::data_object},
                                 {"BO#", &IndexRecord::table},
                                 {"TYPE#", &IndexRecord::type},
                                 {"TS#", &IndexRecord::tablespace},
                                 {"FILE#", &IndexRecord::file},
                                 {"BLOCK#", &IndexRecord::block}});
    add.operator()<ObjectRecord>("OBJ$", d.objects_,
                                 {{"OBJ#", &ObjectRecord::object},
                                  {"DATAOBJ#", &ObjectRecord::data_object},
                                  {"OWNER#", &ObjectRecord::owner},
                                  {"TYPE#", &ObjectRecord::type},
                                  {"FLAGS", &ObjectRecord::flags},
                                  {"NAME", &ObjectRecord::name},
                                  {"SUBNAME", &ObjectRecord::subname},
                                  {"LINKNAME", &ObjectRecord::link}});
    add.operator()<UserRecord>("USER$", d.users_,
                               {{"USER#", &UserRecord::user},
                                {"TYPE#", &UserRecord::type},
                                {"SPARE1", &UserRecord::spare1},
                                {"NAME", &UserRecord::name}});
    add.operator()<TablespaceRecord>("TS$", d.tablespaces_,
                                     {{"TS#", &TablespaceRecord::tablespace},
                                      {"ONLINE$", &TablespaceRecord::online},
                                      {"CONTENTS$", &TablespaceRecord::contents},
                                      {"BLOCKSIZE", &TablespaceRecord::block_size},
                                      {"FLAGS", &TablespaceRecord::flags},
                                      {"NAME", &TablespaceRecord::name}});
    return takers;
}

void DictionaryReader::finish_core() {
    Dictionary &d = dictionary_;
    sort_unique(d.tables_, [](const TableRecord &r) { return r.object; });
    sort_unique(d.clusters_, [](const ClusterRecord &r) { return r.object; });
    sort_unique(d.columns_,
                [](const ColumnRecord &r) { return uint64_t{r.table} << 16 | r.internal_column; });
    sort_unique(d.indexes_, [](const IndexRecord &r) { return r.object; });
    sort_unique(d.objects_, [](const ObjectRecord &r) { return r.object; });
    sort_unique(d.users_, [](const UserRecord &r) { return r.user; });
    sort_unique(d.tablespaces_, [](const TablespaceRecord &r) { return r.tablespace; });
    for (const ObjectRecord &object : d.objects_)
        if (object.data_object != 0)
            d.data_objects_.push_back(object.data_object);
    for (const ClusterRecord &cluster : d.clusters_)
        if (cluster.data_object != 0)
            d.data_objects_.push_back(cluster.data_object);
    std::sort(d.data_objects_.begin(), d.data_objects_.end());
}

// ---- The tables that TAB$ and COL$ describe

DictionaryReader::Takers DictionaryReader::further_takers() {
    Dictionary &d = dictionary_;
    Takers takers;
    const auto add = [&]<class RECORD>(std::string_view table, std::vector<RECORD> &records,
                                       std::vector<ColumnMember<RECORD>> columns) {
        takers.push_back(std::make_unique<RecordTaker<RECORD>>(table, std::move(columns), records, d.names_));
    };
    add.operator()<LobRecord>("LOB$", d.lobs_,
                              {{"OBJ#", &LobRecord::table},
                               {"COL#", &LobRecord::column},
                               {"INTCOL#", &LobRecord::internal_column},
                               {"LOBJ#", &LobRecord::lob_object},
                               {"IND#", &LobRecord::index_object},
                               {"TS#", &LobRecord::tablespace},
                               {"FILE#", &LobRecord::file},
                               {"BLOCK#", &LobRecord::block},
                               {"CHUNK", &LobRecord::chunk},
                               {"FLAGS", &LobRecord::flags},
                               {"PROPERTY", &LobRecord::property}});
    add.operator()<LobFragmentRecord>("LOBFRAG$", d.lob_fragments_,
                                      {{"FRAGOBJ#", &LobFragmentRecord::fragment},
                                       {"PARENTOBJ#", &LobFragmentRecord::parent},
                                       {"TABFRAGOBJ#", &LobFragmentRecord::table_fragment},
                                       {"INDFRAGOBJ#", &LobFragmentRecord::index_fragment},
                                       {"TS#", &LobFragmentRecord::tablespace},
                                       {"FILE#", &LobFragmentRecord::file},
                                       {"BLOCK#", &LobFragmentRecord::block},
                                       {"CHUNK", &LobFragmentRecord::chunk},
                                       {"FRAGPRO", &LobFragmentRecord::property}});
    add.operator()<IndexPartitionRecord>("INDPART$", d.index_partitions_,
                                         {{"OBJ#", &IndexPartitionRecord::object},
                                          {"DATAOBJ#", &IndexPartitionRecord::data_object},
                                          {"BO#", &IndexPartitionRecord::index},
                                          {"TS#", &IndexPartitionRecord::tablespace},
                                          {"FILE#", &IndexPartitionRecord::file},
                                          {"BLOCK#", &IndexPartitionRecord::block}});
    add.operator()<PartitionRecord>("TABPART$", d.partitions_,
                                    {{"OBJ#", &PartitionRecord::object},
                                     {"DATAOBJ#", &PartitionRecord::data_object},
                                     {"BO#", &PartitionRecord::parent},
                                     {"PART#", &PartitionRecord::position},
                                     {"TS#", &PartitionRecord::tablespace},
                                     {"FILE#", &PartitionRecord::file},
                                     {"BLOCK#", &PartitionRecord::block},
                                     {"ROWCNT", &PartitionRecord::rows},
                                     {"ANALYZETIME", &PartitionRecord::analyzed}});
    add.operator()<PartitionRecord>("TABSUBPART$", d.partitions_,
                                    {{"OBJ#", &PartitionRecord::object},
                                     {"DATAOBJ#", &PartitionRecord::data_object},
                                     {"POBJ#", &PartitionRecord::parent},
                                     {"SUBPART#", &PartitionRecord::position},
                                     {"TS#", &PartitionRecord::tablespace},
                                     {"FILE#", &PartitionRecord::file},
                                     {"BLOCK#", &PartitionRecord::block},
                                     {"ROWCNT", &PartitionRecord::rows},
                                     {"ANALYZETIME", &PartitionRecord::analyzed}});
    add.operator()<PartitionRecord>("TABCOMPART$", d.partitions_,
                                    {{"OBJ#", &PartitionRecord::object},
                                     {"BO#", &PartitionRecord::parent},
                                     {"PART#", &PartitionRecord::position},
                                     {"SUBPARTCNT", &PartitionRecord::subpartitions}});
    add.operator()<PartitionedRecord>(
        "PARTOBJ$", d.partitioned_,
        {{"OBJ#", &PartitionedRecord::object}, {"PARTCNT", &PartitionedRecord::partitions}});
    add.operator()<PropertyRecord>("PROPS$", properties_,
                                   {{"NAME", &PropertyRecord::name}, {"VALUE$", &PropertyRecord::value}});
    add.operator()<DefaultRecord>("ECOL$", d.defaults_,
                                  {{"TABOBJ#", &DefaultRecord::table},
                                   {"COLNUM", &DefaultRecord::internal_column},
                                   {"BINARYDEFVAL", &DefaultRecord::value},
                                   {"GUARD_ID", &DefaultRecord::guard}});
    add.operator()<FileRecord>("FILE$", d.files_,
                               {{"FILE#", &FileRecord::file},
                                {"STATUS$", &FileRecord::status},
                                {"BLOCKS", &FileRecord::blocks},
                                {"TS#", &FileRecord::tablespace},
                                {"RELFILE#", &FileRecord::relative_file}});
    return takers;
}

void DictionaryReader::finish_further() {
    Dictionary &d = dictionary_;
    sort_unique(d.lobs_, [](const LobRecord &r) { return uint64_t{r.table} << 32 | r.internal_column; });
    sort_unique(d.lob_fragments_,
                [](const LobFragmentRecord &r) { return uint64_t{r.parent} << 32 | r.fragment; });
    sort_unique(d.index_partitions_,
                [](const IndexPartitionRecord &r) { return uint64_t{r.index} << 32 | r.object; });
    sort_partitions();
    sort_unique(d.partitioned_, [](const PartitionedRecord &r) { return r.object; });
    sort_unique(d.defaults_,
                [](const DefaultRecord &r) { return uint64_t{r.table} << 32 | r.internal_column; });
    sort_unique(d.files_, [](const FileRecord &r) { return r.file; });
    for (const PropertyRecord &property : properties_)
        d.properties_.emplace_back(property.name, property.value);
}

// ---- Primary keys

DictionaryReader::Takers DictionaryReader::key_takers() {
    Takers takers;
    takers.push_back(std::make_unique<RecordTaker<ConstraintRecord>>(
        "CDEF$",
        std::vector<ColumnMember<ConstraintRecord>>{{"CON#", &ConstraintRecord::constraint},
                                                    {"TYPE#", &ConstraintRecord::type}},
        constraints_, dictionary_.names_));
    takers.push_back(std::make_unique<RecordTaker<ConstraintColumn>>(
        "CCOL$",
        std::vector<ColumnMember<ConstraintColumn>>{{"CON#", &ConstraintColumn::constraint},
                                                    {"OBJ#", &ConstraintColumn::table},
                                                    {"POS#", &ConstraintColumn::position},
                                                    {"INTCOL#", &ConstraintColumn::internal_column}},
        constraint_columns_, dictionary_.names_));
    return takers;
}

void DictionaryReader::finish_keys() {
    std::erase_if(constraints_, [](const ConstraintRecord &r) { return r.type != CONSTRAINT_PRIMARY_KEY; });
    sort_unique(constraints_, [](const ConstraintRecord &r) { return r.constraint; });
    const auto is_primary = [&](uint32_t constraint) {
        return std::binary_search(
            constraints_.begin(), constraints_.end(), ConstraintRecord{constraint, 0},
            [](const ConstraintRecord &a, const ConstraintRecord &b) { return a.constraint < b.constraint; });
    };
    for (const ConstraintColumn &column : constraint_columns_)
        if (is_primary(column.constraint))
            dictionary_.keys_.push_back({column.table, column.position, column.internal_column});
    sort_unique(dictionary_.keys_,
                [](const KeyColumnRecord &r) { return uint64_t{r.table} << 32 | r.position; });
}

// ---- What is left to do

// Tables that have no row in TAB$: objects that say that they are one, and what has stored columns and no
// object. Of these the data object number is lost too; it is the object number until a table is truncated or
// moved.
void DictionaryReader::add_lost_tables() {
    Dictionary &d = dictionary_;
    std::vector<TableRecord> lost;
    const auto add = [&](uint32_t object, uint32_t data_object) {
        TableRecord table{};
        table.object = object;
        table.data_object = data_object;
        table.row_lost = true;
        lost.push_back(table);
    };
    for (const ObjectRecord &object : d.objects_)
        if (object.type == OBJECT_TABLE && object.link.empty() && d.table(object.object) == nullptr)
            add(object.object, object.data_object);
    for (const uint32_t object : unknown_objects())
        add(object, object);
    if (lost.empty())
        return;
    d.notes_.push_back(std::to_string(lost.size()) +
                       " tables have lost the row of TAB$ that says where they are");
    d.tables_.insert(d.tables_.end(), lost.begin(), lost.end());
    sort_unique(d.tables_, [](const TableRecord &r) { return r.object; });
}

// What nothing but stored columns tells of. Clusters, which have such columns too, are known by their tables.
std::set<uint32_t> DictionaryReader::unknown_objects() const {
    const Dictionary &d = dictionary_;
    std::set<uint32_t> unknown;
    for (const ColumnRecord &column : d.columns_)
        if (column.segment_column != 0 && d.object(column.table) == nullptr &&
            d.table(column.table) == nullptr && d.cluster(column.table) == nullptr)
            unknown.insert(column.table);
    for (const TableRecord &table : d.tables_)
        unknown.erase(table.cluster);
    return unknown;
}

// A partition has one parent and one place; its rows would come twice otherwise.
void DictionaryReader::sort_partitions() {
    std::vector<PartitionRecord> &partitions = dictionary_.partitions_;
    sort_unique(partitions, [](const PartitionRecord &r) { return r.object; });
    std::ranges::stable_sort(partitions, [](const PartitionRecord &a, const PartitionRecord &b) {
        return std::tie(a.parent, a.position, a.object) < std::tie(b.parent, b.position, b.object);
    });
}

// Partitions that have no row of their own. Their objects have the owner and the name of the table, and so
// have those of subpartitions that nothing but the row of their composite partition would lead to.
void DictionaryReader::add_lost_partitions() {
    Dictionary &d = dictionary_;
    std::map<uint32_t, uint32_t> parents; // of all partitions that have a row
    for (const PartitionRecord &part : d.partitions_)
        parents.emplace(part.object, part.parent);
    std::vector<const ObjectRecord *> lost;
    for (const ObjectRecord &object : d.objects_) {
        if (object.type != OBJECT_TABLE_PARTITION && object.type != OBJECT_TABLE_SUBPARTITION)
            continue;
        const auto row = parents.find(object.object);
        if (row == parents.end() || (d.table(row->second) == nullptr && !parents.contains(row->second)))
            lost.push_back(&object);
    }
    if (lost.empty())
        return;
    std::map<std::pair<uint32_t, std::string_view>, uint32_t> tables; // by owner and name
    for (const ObjectRecord &object : d.objects_)
        if (object.type == OBJECT_TABLE)
            tables.emplace(std::pair(object.owner, d.bytes(object.name)), object.object);
    for (const ObjectRecord *object : lost) {
        const auto table = tables.find({object->owner, d.bytes(object->name)});
        if (table == tables.end())
            continue;
        const auto row = parents.find(object->object);
        PartitionRecord part{};
        part.object = row == parents.end() ? object->object : row->second;
        part.data_object = row == parents.end() ? object->data_object : 0;
        part.parent = table->second;
        part.position = UINT32_MAX; // behind those whose place in the order is known
        part.row_lost = true;
        d.partitions_.push_back(part);
    }
    d.notes_.push_back(std::to_string(lost.size()) +
                       " partitions have lost a row that says where they are or what they belong to");
    sort_partitions();
}

// Notes some of the segment headers that stand in each file.
void DictionaryReader::add_witnesses(std::vector<ExpectedFile> &expected) const {
    constexpr size_t ENOUGH = 64;
    std::map<std::pair<uint32_t, uint32_t>, ExpectedFile *> files; // by tablespace and relative number
    for (ExpectedFile &file : expected)
        files.emplace(std::pair(file.tablespace, file.relative_file), &file);
    const auto add = [&](const auto &records) {
        for (const auto &record : records) {
            const auto file = files.find({record.tablespace, record.file});
            if (file != files.end() && record.block != 0 && record.data_object != 0 &&
                file->second->witnesses.size() < ENOUGH)
                file->second->witnesses.push_back({record.block, record.data_object});
        }
    };
    add(dictionary_.tables_);
    add(dictionary_.clusters_);
    add(dictionary_.partitions_);
    add(dictionary_.indexes_);
    add(dictionary_.index_partitions_);
}

void DictionaryReader::place_files() {
    std::vector<ExpectedFile> expected;
    for (const FileRecord &file : dictionary_.files_)
        if (file.is_available())
            expected.push_back({file.file, file.tablespace, file.relative_file, file.blocks, {}});
    if (files_.has_damaged_headers())
        add_witnesses(expected);
    files_.place_files(std::move(expected));
}

// The values of ECOL$ are BLOBs, most of them in the row. Their data takes the place of their locators.
void DictionaryReader::read_defaults() {
    Dictionary &d = dictionary_;
    if (d.defaults_.empty())
        return;
    const TableRecord *table = system_record("ECOL$");
    LobPlaces places;
    if (table != nullptr)
        if (const std::span<const LobRecord> lobs = d.lobs(table->object); !lobs.empty())
            places = find_lob_places(d, table->object, lobs.front().internal_column, table->object);
    const LobSegment segment(files_, scans_, places, options_);
    BlockReader blocks(files_, options_.trust_blocks);
    LobReader reader(blocks);
    size_t left = DEFAULTS_SIZE_MAX;
    for (DefaultRecord &record : d.defaults_) {
        if (record.value.empty())
            continue;
        const std::optional<std::vector<uint8_t>> value =
            read_default_value(d.bytes(record.value), reader, segment);
        const bool fits = value && value->size() <= left;
        record.value = fits ? d.names_.put(value->data(), value->size()) : NameRef{};
        record.value_lost = !fits || record.value.size != value->size();
        left -= record.value.size;
    }
}

} // namespace vexlo
