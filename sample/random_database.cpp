#include "random_database.h"

#include <algorithm>

#include "lob_data.h"
#include "vexlo.h"

namespace sample {

namespace {

constexpr size_t CONSOLE_LONG_MAX = 32768;
constexpr uint32_t EARLIER_OBJECT = 40000; // data object number that nothing has any more
constexpr size_t LONG_NAME = 128;
constexpr size_t PIECE_OVERHEAD = 400; // what a block holds beside one large value, the cluster key included

// ---- Columns

// Only a UTF-8 database has a name with a letter beyond ASCII: names are stored as they are given.
std::string column_name(RandomSource &random, size_t position, TextStorage storage) {
    constexpr const char *words[] = {"ID", "NAME", "Mixed Case", "CREATED$", "amount", "A#"};
    bool wide = storage == TextStorage::utf8 && random.chance(10);
    return (wide ? "\xC3\x84RGER" : std::string(random.pick(words))) + '_' + std::to_string(position + 1);
}

size_t column_count(RandomSource &random) {
    if (random.chance(4))
        return static_cast<size_t>(random.between(256, 300));
    return static_cast<size_t>(random.between(1, 14));
}

// A column that stays in the rows without being shown.
void hide(RandomSource &random, ColumnDef &column) {
    column.property = random.chance(50) ? COLUMN_HIDDEN : COLUMN_UNUSED;
}

bool is_long(const ColumnDef &column) {
    return column.type == TYPE_LONG || column.type == TYPE_LONG_RAW;
}

bool is_lob(const ColumnDef &column) {
    return column.type == TYPE_CLOB || column.type == TYPE_BLOB;
}

bool is_shown(const ColumnDef &column) {
    return (column.property & (COLUMN_HIDDEN | COLUMN_UNUSED | COLUMN_VIRTUAL)) == 0;
}

ColumnDef virtual_column(std::string name) {
    constexpr uint32_t computed = 0x10000; // goes with COLUMN_VIRTUAL
    ColumnDef column = number_column(std::move(name));
    column.property = COLUMN_VIRTUAL | computed;
    column.stored = false;
    return column;
}

std::string hex_text(ByteView bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    for (uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

std::vector<ColumnDef> random_columns(RandomSource &random, size_t count, TextStorage storage) {
    std::vector<ColumnDef> columns;
    bool hides = random.chance(20);
    for (size_t i = 0; i < count; i++) {
        columns.push_back(random_column(random, column_name(random, i, storage)));
        if (i > 0 && hides && random.chance(25))
            hide(random, columns.back());
    }
    return columns;
}

LobStorage random_lob_storage(RandomSource &random) {
    constexpr uint32_t chunks[] = {1, 2, 4};
    LobStorage storage;
    storage.secure = random.chance(40);
    storage.in_row = random.chance(70);
    storage.chunk_blocks = storage.secure ? 1 : random.pick(chunks);
    storage.count_blocks = random.chance(50);
    storage.compress = storage.secure && random.chance(30);
    return storage;
}

void add_lob_column(RandomSource &random, std::vector<ColumnDef> &columns) {
    uint32_t type = random.chance(50) ? TYPE_CLOB : TYPE_BLOB;
    columns.push_back(typed_column("LOB_" + std::to_string(columns.size() + 1), type, 4000));
    if (type == TYPE_CLOB)
        columns.back().charset_form = random.chance(30) ? 2 : 1;
    columns.back().lobs = random_lob_storage(random);
}

void add_long_column(RandomSource &random, std::vector<ColumnDef> &columns, bool anywhere) {
    uint32_t type = random.chance(60) ? TYPE_LONG : TYPE_LONG_RAW;
    ColumnDef column = typed_column("LONG_" + std::to_string(columns.size() + 1), type, 0);
    column.charset_form = type == TYPE_LONG ? 1 : 0;
    size_t place = anywhere ? random.below(static_cast<uint32_t>(columns.size()) + 1) : columns.size();
    columns.insert(columns.begin() + static_cast<ptrdiff_t>(place), column);
}

// ---- The database

struct Member {
    size_t table;
    size_t expected; // index of what is expected of it
};

class RandomWriter {
public:
    RandomWriter(const std::filesystem::path &dir, const RandomDatabaseOptions &options)
        : options_(options), random_(options.seed),
          storage_(random_.chance(70) ? TextStorage::utf8 : TextStorage::latin1),
          db_(dir, database_options()) {}

    std::vector<ExpectedTable> write() {
        add_space();
        if (storage_ == TextStorage::latin1)
            db_.set_property("NLS_CHARACTERSET", "WE8ISO8859P1");
        for (unsigned i = 0; i < options_.tables;)
            i += random_.chance(20) ? write_cluster() : write_heap_table();
        db_.finish();
        return std::move(expected_);
    }

private:
    DatabaseOptions database_options() {
        constexpr size_t block_sizes[] = {2048, 4096, 8192, 16384};
        DatabaseOptions o;
        o.block_size = random_.pick(block_sizes);
        o.dictionary_kind = random_.chance(70) ? SegmentKind::freelist : SegmentKind::bitmap;
        o.dictionary_extent_blocks = static_cast<uint32_t>(random_.between(4, 16));
        o.layout.full = random_.chance(50) || options_.beyond_console;
        if (options_.beyond_console)
            choose_beyond_console(o);
        o.dictionary_map_entries = random_.chance(30) ? static_cast<size_t>(random_.between(2, 5)) : 0;
        uint32_t migrated_percent = random_.chance(50) ? random_.below(30) : 0;
        o.dictionary_hook = [this, migrated_percent](std::string_view table, Row &, RowPlacement &placement) {
            placement.migrated = table != "BOOTSTRAP$" && random_.chance(migrated_percent);
            return true;
        };
        return o;
    }

    void choose_beyond_console(DatabaseOptions &o) {
        constexpr uint32_t version_12_2 = 0x0C200000, version_11_2 = 0x0B200400;
        bool new_version = random_.chance(60);
        o.layout.version = new_version ? DictionaryVersion::v12 : DictionaryVersion::v11;
        o.compatibility = new_version ? version_12_2 : version_11_2;
        o.dependency_bytes = new_version ? 8 : 6;
        o.dictionary_files = static_cast<unsigned>(random_.between(1, 3));
        o.checkpoint_scn = 0x200000000 + random_.below(1000);
    }

    bool has_long_names() const { return db_.model().layout.version == DictionaryVersion::v12; }

    void add_space() {
        constexpr size_t block_sizes[] = {2048, 4096, 8192, 16384, 32768};
        int tablespaces = random_.between(1, 4);
        for (int i = 1; i <= tablespaces; i++) {
            TablespaceDef def;
            def.name = "SPACE_" + std::to_string(i);
            def.bigfile = random_.chance(20);
            def.files = def.bigfile ? 1 : static_cast<unsigned>(random_.between(1, 3));
            def.kind = random_.chance(70) ? SegmentKind::bitmap : SegmentKind::freelist;
            if (random_.chance(30))
                def.block_size = random_.pick(block_sizes);
            tablespaces_.push_back(db_.add_tablespace(def));
        }
        for (const char *name : {"APP", "Mixed Owner"}) {
            UserDef def;
            def.name = name;
            owners_.push_back({db_.add_user(def), name});
        }
    }

    uint32_t random_tablespace() { return random_.pick(tablespaces_); }

    size_t block_size(uint32_t tablespace) const { return db_.model().tablespaces[tablespace].block_size; }

    SegmentOptions random_segment() {
        SegmentOptions o;
        o.extent_blocks = static_cast<uint32_t>(random_.between(4, 12));
        o.map_entries = random_.chance(30) ? static_cast<size_t>(random_.between(1, 4)) : 0;
        o.itl_entries = random_.between(1, 6);
        o.free_percent = static_cast<unsigned>(random_.between(0, 40));
        if (options_.beyond_console && random_.chance(30))
            o.old_objd = EARLIER_OBJECT;
        return o;
    }

    TableDef new_table(uint32_t tablespace) {
        constexpr const char *words[] = {"ORDERS", "Kept Case", "LOG$", "T#", "lower"};
        const Owner &owner = random_.pick(owners_);
        TableDef def;
        def.owner = owner.number;
        def.name = std::string(random_.pick(words)) + '_' + std::to_string(expected_.size() + 1);
        if (has_long_names() && random_.chance(20))
            def.name += std::string(LONG_NAME - def.name.size(), 'L');
        def.tablespace = tablespace;
        def.segment = random_segment();
        def.flags = random_.chance(15) ? TABLE_ROW_DEPENDENCIES : 0;
        expected_.emplace_back();
        expected_.back().owner = owner.name;
        expected_.back().name = def.name;
        return def;
    }

    Member add(const TableDef &def) {
        ExpectedTable &expected = expected_.back();
        expected.partitioned = !def.partitions.empty();
        for (const ColumnDef &c : def.columns)
            if (is_shown(c))
                expected.columns.push_back(c.name);
        return {db_.add_table(def), expected_.size() - 1};
    }

    // ---- Rows

    // The longest value that lies whole in a block of the table.
    size_t longest_whole(uint32_t tablespace) const {
        return block_size(tablespace) - PIECE_OVERHEAD - 24 * 6;
    }

    size_t longest_value(const TableDef &def, const ColumnDef &column) {
        size_t whole = std::min(longest_whole(def.tablespace), block_size(def.tablespace) * 6 / 10);
        if (!is_long(column))
            return random_.chance(90) ? std::min<size_t>(whole, 60) : whole;
        if (random_.chance(60))
            return 500;
        return options_.beyond_console && random_.chance(20) ? size_t{150000} : CONSOLE_LONG_MAX;
    }

    struct RandomRow {
        Row stored; // one value a column of the table
        ExpectedRow shown;
    };

    // A partition of a table, as insert takes it.
    struct Place {
        size_t table;
        size_t part = 0;
        size_t sub = 0;
    };

    size_t lob_length(const ColumnDef &column, const TableDef &def) {
        if (random_.chance(15))
            return 0;
        if (random_.chance(50))
            return static_cast<size_t>(random_.between(1, 300));
        size_t chunk = block_size(def.tablespace) * column.lobs.chunk_blocks;
        return random_.chance(80) ? static_cast<size_t>(random_.between(1800, 4200)) : 14 * chunk;
    }

    RandomCell lob_cell(const TableDef &def, size_t column, const Place &place) {
        if (!options_.lobs)
            return {};
        const ColumnDef &c = def.columns[column];
        LobKey key{static_cast<uint32_t>(place.table), next_lob_key_++, static_cast<uint32_t>(column)};
        size_t length = lob_length(c, def);
        LobPlacement placement;
        placement.old_versions = random_.chance(10) ? 1 : 0;
        auto store = [&](ByteView data) {
            return db_.store_lob(place.table, column, data, placement, place.part, place.sub);
        };
        if (c.type == TYPE_BLOB) {
            Bytes data = lob_bytes(key, length);
            return {store(data), hex_text(data)};
        }
        bool wide = db_.lob_is_wide(place.table, column);
        std::u16string text = lob_characters(key, wide ? length / 2 : length, wide);
        return {store(wide ? utf16_bytes(text) : latin1_bytes(text)), utf8_text(text)};
    }

    // A row that ends before a column added with a default has that default.
    void show_defaults(const TableDef &def, RandomRow &row) const {
        size_t shown = 0;
        for (size_t c = 0; c < def.columns.size(); c++) {
            if (def.columns[c].added_default && !row.stored[c])
                row.shown[shown] = added_default_text_;
            shown += is_shown(def.columns[c]) ? 1 : 0;
        }
    }

    RandomRow random_row(const TableDef &def, const Place &place) {
        RandomRow row;
        uint32_t null_percent = random_.chance(20) ? 70 : 10;
        for (size_t i = 0; i < def.columns.size(); i++) {
            const ColumnDef &c = def.columns[i];
            RandomCell cell;
            if (c.stored && !random_.chance(null_percent))
                cell = is_lob(c) ? lob_cell(def, i, place)
                                 : random_cell(random_, c, storage_, longest_value(def, c));
            row.stored.push_back(cell.stored);
            if (is_shown(c))
                row.shown.push_back(cell.shown);
        }
        show_defaults(def, row);
        return row;
    }

    // Boundaries between the columns of the row piece, or, beyond the console's limits, anywhere.
    std::vector<Cut> random_cuts(std::span<const Value> stored) {
        std::vector<Cut> cuts;
        for (size_t c = 0; c < stored.size(); c++) {
            if (c > 0 && random_.chance(20))
                cuts.push_back({c, 0});
            size_t size = stored[c] ? stored[c]->size() : 0;
            if (options_.beyond_console && size > 1 && random_.chance(15))
                cuts.push_back({c, 1 + random_.below(static_cast<uint32_t>(size) - 1)});
        }
        return cuts;
    }

    // A row that is cut at places of its own must have pieces that fit a block each.
    bool is_small(const RandomRow &row, uint32_t tablespace) const {
        size_t bytes = 0;
        for (const Value &v : row.stored)
            bytes += column_size(v);
        return bytes < longest_whole(tablespace) / 2 && row.stored.size() <= MAX_PIECE_COLUMNS;
    }

    RowPlacement random_placement(const TableDef &def, const RandomRow &row) {
        RowPlacement p;
        p.migrated = random_.chance(10);
        p.deleted = random_.chance(8);
        p.piece_per_block = random_.chance(30);
        p.keep_trailing_nulls = random_.chance(10) && !def.columns.back().added_default;
        if (options_.beyond_console && random_.chance(50))
            p.cut_order = CutOrder::from_start;
        if (random_.chance(5))
            p.form = LengthForm::three_bytes;
        if (!def.cluster && random_.chance(12) && is_small(row, def.tablespace)) {
            Row stored;
            for (size_t c = 0; c < row.stored.size(); c++)
                if (def.columns[c].stored)
                    stored.push_back(row.stored[c]);
            p.cuts = random_cuts(p.keep_trailing_nulls ? std::span<const Value>(stored)
                                                       : trim_trailing_nulls(stored));
        }
        if (!is_small(row, def.tablespace))
            p.form = LengthForm::automatic;
        return p;
    }

    void expect(size_t expected, const RowPlacement &placement, ExpectedRow row) {
        if (!placement.deleted)
            expected_[expected].rows.push_back(std::move(row));
    }

    void fill(const Member &member, const TableDef &def, size_t part, size_t sub) {
        unsigned rows = random_.below(options_.rows + 1);
        for (unsigned i = 0; i < rows; i++) {
            if (random_.chance(4))
                db_.rows(member.table, part, sub).add_free_slot();
            RandomRow row = random_row(def, {member.table, part, sub});
            RowPlacement placement = random_placement(def, row);
            db_.insert(member.table, row.stored, placement, part, sub);
            expect(member.expected, placement, std::move(row.shown));
        }
    }

    // ---- Tables

    void add_partitions(TableDef &def) {
        int partitions = random_.between(1, 4);
        int subpartitions = random_.chance(40) ? random_.between(1, 3) : 0;
        for (int p = 1; p <= partitions; p++) {
            PartitionDef part;
            part.name = "P" + std::to_string(p);
            for (int s = 1; s <= subpartitions; s++)
                part.subpartitions.push_back({part.name + "_S" + std::to_string(s), {}});
            def.partitions.push_back(part);
        }
    }

    void add_columns_beyond_console(TableDef &def) {
        std::string serial = std::to_string(def.columns.size() + 1);
        if (random_.chance(15))
            def.columns.insert(def.columns.begin() + 1, virtual_column("COMPUTED_" + serial));
        if (has_long_names() && random_.chance(15))
            def.columns.back().name.append(LONG_NAME - def.columns.back().name.size(), 'l');
        if (options_.lobs && random_.chance(20)) { // the default is a LOB of the dictionary
            ColumnDef added = varchar2_column("ADDED_" + serial, 100);
            RandomCell value = random_cell(random_, added, storage_, added.length);
            added.nullable = false;
            added.added_default = value.stored;
            added_default_text_ = value.shown;
            def.columns.push_back(added);
        }
    }

    unsigned write_heap_table() {
        TableDef def = new_table(random_tablespace());
        def.columns = random_columns(random_, column_count(random_), storage_);
        if (random_.chance(options_.lobs ? 40 : 8))
            add_lob_column(random_, def.columns);
        if (options_.beyond_console)
            add_columns_beyond_console(def);
        if (random_.chance(20) && !def.columns.back().added_default)
            add_long_column(random_, def.columns, options_.beyond_console);
        else if (random_.chance(25))
            add_partitions(def);
        Member member = add(def);
        fill(member, def, 0, 0);
        for (size_t p = 0; p < def.partitions.size(); p++)
            for (size_t s = 0; s < std::max<size_t>(def.partitions[p].subpartitions.size(), 1); s++)
                if (p + s > 0)
                    fill(member, def, p, s);
        return 1;
    }

    // The columns of a cluster's member: some of its own with the key columns among them.
    void add_key_columns(TableDef &def, const ClusterDef &cluster) {
        for (const ColumnDef &key : cluster.key) {
            size_t place = random_.below(static_cast<uint32_t>(def.columns.size()) + 1);
            def.columns.insert(def.columns.begin() + static_cast<ptrdiff_t>(place), key);
            def.key_columns.push_back(key.name);
        }
    }

    unsigned write_cluster() {
        ClusterDef cluster;
        cluster.name = "CLUSTER_" + std::to_string(expected_.size() + 1);
        cluster.tablespace = random_tablespace();
        cluster.segment = random_segment();
        cluster.flags = random_.chance(15) ? TABLE_ROW_DEPENDENCIES : 0;
        int keys = random_.between(1, 3);
        for (int k = 1; k <= keys; k++)
            cluster.key.push_back(random_.chance(50) ? number_column("KEY_" + std::to_string(k))
                                                     : varchar2_column("KEY_" + std::to_string(k), 20));
        size_t number = db_.add_cluster(cluster);

        auto tables = static_cast<size_t>(random_.between(1, 3));
        std::vector<TableDef> defs;
        std::vector<Member> members;
        for (size_t t = 0; t < tables; t++) {
            TableDef def = new_table(cluster.tablespace);
            def.flags = cluster.flags;
            def.columns = random_columns(random_, static_cast<size_t>(random_.between(1, 6)), storage_);
            add_key_columns(def, cluster);
            def.cluster = number;
            members.push_back(add(def));
            defs.push_back(std::move(def));
        }
        fill_cluster(number, cluster, defs, members);
        return static_cast<unsigned>(tables);
    }

    void fill_cluster(size_t number, const ClusterDef &cluster, const std::vector<TableDef> &defs,
                      const std::vector<Member> &members) {
        unsigned keys = random_.below(options_.rows / 2 + 1);
        for (unsigned k = 0; k < keys; k++) {
            std::vector<RandomCell> key;
            Row stored;
            for (const ColumnDef &c : cluster.key) {
                key.push_back(random_cell(random_, c, storage_, c.length));
                stored.push_back(key.back().stored);
            }
            db_.begin_key(number, stored);
            for (unsigned rows = random_.below(5); rows > 0; rows--) {
                size_t t = random_.below(static_cast<uint32_t>(defs.size()));
                insert_member(members[t], defs[t], key);
            }
        }
    }

    // Whether a member row stores anything but its key: the console recovers the key of no other.
    static bool has_own_value(const TableDef &def, const Row &row) {
        for (size_t c = 0; c < def.columns.size(); c++) {
            const auto &keys = def.key_columns;
            if (row[c] && std::find(keys.begin(), keys.end(), def.columns[c].name) == keys.end())
                return true;
        }
        return false;
    }

    void insert_member(const Member &member, const TableDef &def, const std::vector<RandomCell> &key) {
        RandomRow row = random_row(def, {member.table});
        size_t shown = 0;
        for (size_t c = 0; c < def.columns.size(); c++) {
            const auto &keys = def.key_columns;
            size_t k =
                static_cast<size_t>(std::find(keys.begin(), keys.end(), def.columns[c].name) - keys.begin());
            if (k < keys.size()) {
                row.stored[c] = key[k].stored;
                row.shown[shown] = key[k].shown;
            }
            shown += is_shown(def.columns[c]) ? 1 : 0;
        }
        RowPlacement placement = random_placement(def, row);
        if (!options_.beyond_console)
            placement.keep_trailing_nulls |= !has_own_value(def, row.stored);
        db_.insert_member(member.table, row.stored, placement);
        expect(member.expected, placement, std::move(row.shown));
    }

    struct Owner {
        uint32_t number;
        std::string name;
    };

    const RandomDatabaseOptions &options_;
    RandomSource random_;
    TextStorage storage_;
    Database db_;
    std::vector<uint32_t> tablespaces_;
    std::vector<Owner> owners_;
    std::vector<ExpectedTable> expected_;
    std::optional<std::string> added_default_text_; // of the table being written
    uint64_t next_lob_key_ = 1;
};

} // namespace

std::vector<ExpectedTable> write_random_database(const std::filesystem::path &dir,
                                                 const RandomDatabaseOptions &options) {
    return RandomWriter(dir, options).write();
}

} // namespace sample
