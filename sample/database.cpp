#include "database.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "dictionary.h"
#include "system_tables.h"
#include "vexlo.h"

namespace sample {

namespace {

constexpr uint32_t FIRST_USER_OBJECT = 51001; // above the numbers of the dictionary's own objects

constexpr std::pair<const char *, const char *> DEFAULT_PROPERTIES[] = {
    {"DICT.BASE", "2"},
    {"DEFAULT_TEMP_TABLESPACE", "TEMP"},
    {"DEFAULT_PERMANENT_TABLESPACE", "USERS"},
    {"DEFAULT_TBS_TYPE", "SMALLFILE"},
    {"NLS_LANGUAGE", "AMERICAN"},
    {"NLS_TERRITORY", "AMERICA"},
    {"NLS_CURRENCY", "$"},
    {"NLS_ISO_CURRENCY", "AMERICA"},
    {"NLS_NUMERIC_CHARACTERS", ".,"},
    {"NLS_CHARACTERSET", "AL32UTF8"},
    {"NLS_CALENDAR", "GREGORIAN"},
    {"NLS_DATE_FORMAT", "DD-MON-RR"},
    {"NLS_DATE_LANGUAGE", "AMERICAN"},
    {"NLS_SORT", "BINARY"},
    {"NLS_COMP", "BINARY"},
    {"NLS_LENGTH_SEMANTICS", "BYTE"},
    {"NLS_NCHAR_CHARACTERSET", "AL16UTF16"},
    {"NLS_RDBMS_VERSION", "11.2.0.4.0"},
    {"GLOBAL_DB_NAME", "SAMPLE"},
    {"EXPORT_VIEWS_VERSION", "8"},
    {"DBTIMEZONE", "00:00"},
};

void check_block_size(size_t size) {
    if (size < 2048 || size > 32768 || (size & (size - 1)) != 0)
        throw std::invalid_argument("block size must be 2048, 4096, 8192, 16384 or 32768");
}

std::string file_name(const std::string &tablespace, unsigned file) {
    std::string name = tablespace;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name + (file < 10 ? "0" : "") + std::to_string(file) + ".dbf";
}

size_t column_index(const TableDef &def, const std::string &name) {
    for (size_t i = 0; i < def.columns.size(); i++)
        if (def.columns[i].name == name)
            return i;
    throw std::invalid_argument("table " + def.name + " has no column " + name);
}

// Cluster key columns come first in a row, in key order; they have a place in the row but no value in it.
void order_columns(TableEntry &table) {
    for (const std::string &key : table.def.key_columns)
        table.key_order.push_back(column_index(table.def, key));
    for (size_t i = 0; i < table.def.columns.size(); i++) {
        bool is_key = std::find(table.key_order.begin(), table.key_order.end(), i) != table.key_order.end();
        if (table.def.columns[i].stored && !is_key)
            table.order.push_back(i);
    }
}

// The stored values of a row in their order in the row piece.
Row stored_row(const TableEntry &table, const Row &row) {
    if (row.size() != table.def.columns.size())
        throw std::invalid_argument("wrong number of values for table " + table.def.name);
    Row stored;
    stored.reserve(table.order.size());
    for (size_t c : table.order)
        stored.push_back(row[c]);
    return stored;
}

bool stored_as_given(const TableEntry &table, const Row &row) {
    return table.order.size() == row.size() && row.size() == table.def.columns.size();
}

RowPlacement with_dependencies(RowPlacement placement, uint32_t flags, size_t bytes) {
    if ((flags & TABLE_ROW_DEPENDENCIES) != 0) {
        placement.extra = true;
        placement.extra_bytes = bytes;
    }
    return placement;
}

} // namespace

Database::Database(std::filesystem::path dir, DatabaseOptions options)
    : dir_(std::filesystem::absolute(std::move(dir)).lexically_normal()), options_(std::move(options)),
      next_objn_(FIRST_USER_OBJECT) {
    check_block_size(options_.block_size);
    model_.layout = options_.layout;
    std::filesystem::create_directories(dir_ / "dict");
    std::filesystem::create_directories(dir_ / "data");

    UserDef sys;
    sys.name = "SYS";
    sys.uid = USER_SYS;
    sys.supplied = true;
    add_user(sys);
    UserDef everyone;
    everyone.name = "PUBLIC";
    everyone.role = true;
    everyone.uid = USER_PUBLIC;
    everyone.supplied = true;
    add_user(everyone);

    TablespaceDef system;
    system.name = "SYSTEM";
    system.kind = options_.dictionary_kind;
    system.files = options_.dictionary_files;
    add_tablespace(system);
    for (const char *name : {"UNDOTBS1", "SYSAUX", "TEMP"}) {
        TablespaceDef def;
        def.name = name;
        def.files = 0;
        add_tablespace(def);
    }
    for (const auto &[name, value] : DEFAULT_PROPERTIES)
        set_property(name, value);
    if (options_.layout.version == DictionaryVersion::v12)
        set_property("NLS_RDBMS_VERSION", "12.2.0.1.0");
    add_system_objects();
    // The header of file 1 leads to the segment that is in file 1 whatever the number of files.
    if (options_.dictionary_files > 1)
        rows(find_system_table(model_, "BOOTSTRAP$"));
}

Database::~Database() = default;

void Database::add_system_objects() {
    SegmentOptions segment;
    segment.extent_blocks = options_.dictionary_extent_blocks;
    segment.map_entries = options_.dictionary_map_entries;
    for (const SystemCluster &c : system_clusters(options_.layout)) {
        ClusterDef def;
        def.name = c.name;
        def.key = {number_column(std::string(c.key))};
        def.segment = segment;
        def.objn = c.objn;
        add_cluster(def);
    }
    for (const SystemTable &t : system_tables(options_.layout)) {
        TableDef def;
        def.name = t.name;
        def.columns = parse_columns(t.columns);
        def.segment = segment;
        def.objn = t.objn;
        if (!t.cluster.empty()) {
            def.cluster = find_system_cluster(model_, t.cluster);
            def.key_columns = {std::string(t.key)};
            def.tabno = t.tabno;
        }
        add_table(def);
    }
    IndexDef index;
    index.name = "I_OBJ1";
    index.table = find_system_table(model_, "OBJ$");
    index.objn = 36;
    add_index(index);
}

uint32_t Database::add_user(UserDef def) {
    uint32_t uid = def.uid.value_or(next_uid_);
    next_uid_ = std::max(next_uid_, uid + 1);
    model_.users.push_back({std::move(def), uid});
    return uid;
}

uint32_t Database::add_tablespace(TablespaceDef def) {
    TablespaceEntry entry;
    entry.tsn = static_cast<uint32_t>(model_.tablespaces.size());
    entry.block_size = def.block_size != 0 ? def.block_size : options_.block_size;
    check_block_size(entry.block_size);
    if (def.bigfile && def.files > 1)
        throw std::invalid_argument("a bigfile tablespace has one file");

    std::vector<DatafileInfo> files;
    for (unsigned i = 1; i <= def.files; i++) {
        DatafileInfo info;
        info.path = dir_ / file_name(def.name, i);
        info.fno = next_fno_++;
        info.rfn = def.bigfile ? BIGFILE_RFN : info.fno;
        info.tsn = entry.tsn;
        info.tablespace = def.name;
        info.block_size = entry.block_size;
        info.first_block = def.first_block;
        info.compatibility = options_.compatibility;
        info.checkpoint_scn = options_.checkpoint_scn;
        info.database_id = options_.database_id;
        files.push_back(std::move(info));
    }
    if (!files.empty())
        entry.storage = std::make_unique<Tablespace>(std::move(files));
    entry.def = std::move(def);
    model_.tablespaces.push_back(std::move(entry));
    return model_.tablespaces.back().tsn;
}

uint32_t Database::take_objn(std::optional<uint32_t> wanted) {
    return wanted ? *wanted : next_objn_++;
}

SegmentPlace Database::new_place(std::optional<uint32_t> objn, uint32_t tsn) {
    SegmentPlace place;
    place.objn = take_objn(objn);
    place.objd = place.objn;
    place.tsn = tsn;
    return place;
}

size_t Database::add_cluster(ClusterDef def) {
    ClusterEntry entry;
    entry.place = new_place(def.objn, def.tablespace);
    entry.def = std::move(def);
    model_.clusters.push_back(std::move(entry));
    return model_.clusters.size() - 1;
}

size_t Database::add_table(TableDef def) {
    TableEntry entry;
    entry.place = new_place(def.objn, def.tablespace);
    entry.def = std::move(def);
    if (entry.def.cluster) {
        ClusterEntry &cluster = model_.clusters.at(*entry.def.cluster);
        entry.tabno = entry.def.tabno.value_or(cluster.tables + 1);
        cluster.tables = std::max(cluster.tables, entry.tabno);
        entry.place.objd = cluster.place.objd;
        entry.place.tsn = cluster.place.tsn;
    }
    order_columns(entry);
    add_partitions(entry);
    add_lobs(entry);
    model_.tables.push_back(std::move(entry));
    return model_.tables.size() - 1;
}

void Database::add_partitions(TableEntry &table) {
    for (const PartitionDef &part : table.def.partitions) {
        PartitionEntry entry;
        entry.def = part;
        uint32_t tsn = part.tablespace.value_or(table.def.tablespace);
        entry.place = new_place(std::nullopt, tsn);
        for (const SubpartitionDef &sub : part.subpartitions)
            entry.subpartitions.push_back({sub, new_place(std::nullopt, sub.tablespace.value_or(tsn))});
        table.partitions.push_back(std::move(entry));
    }
}

void Database::add_lobs(TableEntry &table) {
    for (size_t i = 0; i < table.def.columns.size(); i++) {
        if (!is_lob_column(table.def.columns[i]))
            continue;
        SegmentPlace lob = new_place(std::nullopt, table.def.tablespace);
        SegmentPlace index = new_place(std::nullopt, table.def.tablespace);
        table.lobs.push_back({i, lob, index, {}});
        if (options_.layout.full)
            add_lob_fragments(table, table.lobs.back());
    }
}

void Database::add_lob_fragments(const TableEntry &table, LobEntry &lob) {
    auto add = [&](const SegmentPlace &part, const std::string &name) {
        LobFragment fragment;
        fragment.lob = new_place(std::nullopt, part.tsn);
        fragment.index = new_place(std::nullopt, part.tsn);
        fragment.table = part.objn;
        fragment.table_name = name;
        lob.fragments.push_back(std::move(fragment));
    };
    for (const PartitionEntry &p : table.partitions) {
        if (p.subpartitions.empty())
            add(p.place, p.def.name);
        for (const SubpartitionEntry &s : p.subpartitions)
            add(s.place, s.def.name);
    }
}

uint32_t Database::add_index(IndexDef def) {
    IndexEntry entry;
    entry.place = new_place(def.objn, model_.tables.at(def.table).def.tablespace);
    entry.def = std::move(def);
    model_.indexes.push_back(std::move(entry));
    return model_.indexes.back().place.objn;
}

uint32_t Database::add_object(ObjectDef def) {
    uint32_t objn = take_objn(def.objn);
    model_.objects.push_back({std::move(def), objn});
    return objn;
}

void Database::set_property(const std::string &name, const std::string &value) {
    auto it = std::find_if(model_.properties.begin(), model_.properties.end(),
                           [&](const Property &p) { return p.name == name; });
    if (it == model_.properties.end())
        model_.properties.push_back({name, value});
    else
        it->value = value;
}

std::unique_ptr<Segment> Database::new_segment(SegmentPlace &place, SegmentOptions options) {
    TablespaceEntry &tablespace = model_.tablespaces.at(place.tsn);
    if (!tablespace.storage)
        throw std::invalid_argument("tablespace " + tablespace.def.name + " has no datafile");
    options.objd = place.objd;
    options.kind = tablespace.def.kind;
    auto segment = std::make_unique<Segment>(*tablespace.storage, std::move(options));
    place.file = segment->header_file();
    place.block = segment->header_block();
    return segment;
}

RowWriter &Database::writer(SegmentPlace &place, const SegmentOptions &options, int tables) {
    auto it = writers_.find(place.objn);
    if (it == writers_.end()) {
        if (place.block != 0)
            throw std::logic_error("segment is closed already");
        it = writers_.emplace(place.objn, std::make_unique<RowWriter>(new_segment(place, options), tables))
                 .first;
    }
    return *it->second;
}

SegmentPlace &Database::place_of(size_t table, size_t part, size_t sub) {
    TableEntry &entry = model_.tables.at(table);
    if (entry.def.cluster)
        throw std::invalid_argument("table " + entry.def.name + " is in a cluster");
    if (entry.partitions.empty())
        return entry.place;
    PartitionEntry &partition = entry.partitions.at(part);
    return partition.subpartitions.empty() ? partition.place : partition.subpartitions.at(sub).place;
}

RowWriter &Database::rows(size_t table, size_t part, size_t sub) {
    SegmentPlace &place = place_of(table, part, sub);
    return writer(place, model_.tables[table].def.segment, 1);
}

RowWriter &Database::cluster_rows(size_t cluster) {
    ClusterEntry &entry = model_.clusters.at(cluster);
    return writer(entry.place, entry.def.segment, static_cast<int>(entry.tables) + 1);
}

RowAddress Database::insert(size_t table, const Row &row, const RowPlacement &placement, size_t part,
                            size_t sub) {
    RowWriter &to = rows(table, part, sub);
    const TableEntry &entry = model_.tables[table];
    RowPlacement full = with_dependencies(placement, entry.def.flags, options_.dependency_bytes);
    return stored_as_given(entry, row) ? to.insert(row, full) : to.insert(stored_row(entry, row), full);
}

bool Database::has_wide_charset() const {
    for (const Property &p : model_.properties)
        if (p.name ==
            "NLS_CHARACTERSET") // names have the bits of a character behind the region's two letters
            return p.value.size() < 3 || (p.value[2] != '7' && p.value[2] != '8');
    return true;
}

bool Database::lob_is_wide(size_t table, size_t column) const {
    const ColumnDef &def = model_.tables.at(table).def.columns.at(column);
    return is_character_lob(def) && (def.charset_form == NATIONAL_FORM || has_wide_charset());
}

LobHead Database::new_lob(size_t table, size_t column) {
    const ColumnDef &def = model_.tables.at(table).def.columns.at(column);
    LobHead head;
    head.id = next_lob_id_++;
    head.short_form = options_.layout.version == DictionaryVersion::v11;
    head.units = lob_is_wide(table, column) ? 2 : 1;
    if (is_character_lob(def)) {
        bool national = def.charset_form == NATIONAL_FORM;
        head.type = national ? LobType::nclob : LobType::clob;
        head.wide_charset = !national && has_wide_charset();
    }
    return head;
}

LobWriter &Database::lob_writer(size_t table, size_t column, size_t part, size_t sub) {
    TableEntry &entry = model_.tables.at(table);
    auto lob = std::find_if(entry.lobs.begin(), entry.lobs.end(),
                            [&](const LobEntry &l) { return l.column == column; });
    if (lob == entry.lobs.end())
        throw std::invalid_argument("column " + std::to_string(column) + " of " + entry.def.name +
                                    " has no LOBs");
    SegmentPlace *data = &lob->lob, *index = &lob->index;
    if (!lob->fragments.empty()) {
        uint32_t objn = place_of(table, part, sub).objn;
        for (LobFragment &f : lob->fragments)
            if (f.table == objn) {
                data = &f.lob;
                index = &f.index;
            }
    }
    std::unique_ptr<LobWriter> &writer = lob_writers_[data->objn];
    if (!writer)
        writer = std::make_unique<LobWriter>(new_segment(*data, entry.def.segment),
                                             new_segment(*index, entry.def.segment),
                                             entry.def.columns[column].lobs);
    return *writer;
}

Value Database::store_lob(size_t table, size_t column, ByteView data, const LobPlacement &placement,
                          size_t part, size_t sub) {
    LobWriter &writer = lob_writer(table, column, part, sub);
    return writer.store(new_lob(table, column), data, placement);
}

void Database::begin_key(size_t cluster, const Row &key, KeyForm form) {
    cluster_rows(cluster).begin_key(key, form);
}

RowAddress Database::insert_member(size_t table, const Row &row, const RowPlacement &placement) {
    const TableEntry &entry = model_.tables.at(table);
    size_t cluster = entry.def.cluster.value();
    uint32_t flags = entry.def.flags | model_.clusters[cluster].def.flags;
    return cluster_rows(cluster).insert_member(
        static_cast<int>(entry.tabno), stored_row(entry, row),
        with_dependencies(placement, flags, options_.dependency_bytes));
}

void Database::close_rows(size_t table, size_t part, size_t sub) {
    rows(table, part, sub).close();
    writers_.erase(place_of(table, part, sub).objn);
}

void Database::create_empty(SegmentPlace &place, const SegmentOptions &options) {
    if (place.block == 0)
        new_segment(place, options)->close();
}

void Database::create_missing_segments(TableEntry &table) {
    if (!table.def.has_segment)
        return;
    const SegmentOptions &options = table.def.segment;
    if (table.def.cluster) {
        const SegmentPlace &cluster = model_.clusters[*table.def.cluster].place;
        table.place.file = cluster.file;
        table.place.block = cluster.block;
    } else if (table.partitions.empty()) {
        create_empty(table.place, options);
    }
    for (PartitionEntry &p : table.partitions) {
        if (p.subpartitions.empty())
            create_empty(p.place, options);
        for (SubpartitionEntry &s : p.subpartitions)
            create_empty(s.place, options);
    }
    for (LobEntry &lob : table.lobs) {
        for (LobFragment &f : lob.fragments) {
            create_empty(f.lob, options);
            create_empty(f.index, options);
        }
        if (lob.fragments.empty()) {
            create_empty(lob.lob, options);
            create_empty(lob.index, options);
        }
    }
}

void Database::store_dictionary_row(size_t table, const Row &row) {
    const TableEntry &entry = model_.tables[table];
    Row stored = stored_row(entry, row);
    RowPlacement placement;
    if (options_.dictionary_hook && !options_.dictionary_hook(entry.def.name, stored, placement))
        return;
    if (entry.def.cluster)
        cluster_rows(*entry.def.cluster).insert_member(static_cast<int>(entry.tabno), stored, placement);
    else
        rows(table).insert(stored, placement);
}

// All segments must exist before the rows that tell where they are.
void Database::create_segments() {
    for (size_t c = 0; c < model_.clusters.size(); c++)
        cluster_rows(c);
    for (const SystemTable &t : system_tables(options_.layout))
        if (t.cluster.empty())
            rows(find_system_table(model_, t.name));
    for (TableEntry &table : model_.tables)
        create_missing_segments(table);
    for (IndexEntry &index : model_.indexes)
        create_empty(index.place, {});
}

void Database::finish() {
    if (std::exchange(finished_, true))
        return;
    create_segments();
    uint32_t root = rows(find_system_table(model_, "BOOTSTRAP$")).segment().header();

    DictionarySink sink;
    sink.begin_key = [this](size_t cluster, const Row &key) { begin_key(cluster, key); };
    sink.insert = [this](size_t table, const Row &row) { store_dictionary_row(table, row); };
    write_dictionary(model_, sink);

    for (auto &[objn, writer] : writers_)
        writer->close();
    for (auto &[objn, writer] : lob_writers_)
        writer->close();
    for (TablespaceEntry &t : model_.tablespaces)
        if (t.storage)
            t.storage->close(root);
    write_text_files();
}

std::filesystem::path Database::config_path() const {
    return dir_ / "config.ini";
}

std::vector<std::filesystem::path> Database::datafiles() const {
    std::vector<std::filesystem::path> paths;
    for (const TablespaceEntry &t : model_.tablespaces)
        if (t.storage)
            for (const auto &file : t.storage->files())
                paths.push_back(file->info().path);
    return paths;
}

void Database::write_text_files() const {
    std::filesystem::path list_path = dir_ / "datafiles.txt";
    std::ofstream list(list_path);
    for (const auto &path : datafiles())
        list << path.string() << '\n';
    std::ofstream config(config_path());
    config << "dictdir = " << (dir_ / "dict").string() << '\n'
           << "datadir = " << (dir_ / "data").string() << '\n'
           << "datafiles = " << list_path.string() << '\n'
           << "checksum = " << (options_.checksum ? "YES" : "NO") << '\n';
    if (!list.flush() || !config.flush())
        throw std::runtime_error("cannot write the configuration in " + dir_.string());
}

} // namespace sample
