#include "dictionary.h"

#include <algorithm>
#include <stdexcept>
#include <unordered_map>

#include "bootstrap.h"
#include "lob_locator.h"
#include "system_tables.h"
#include "vexlo.h"

namespace sample {

namespace {

constexpr uint32_t NAMESPACE_TABLE = 1;
constexpr uint32_t NAMESPACE_INDEX = 4;
constexpr uint32_t NAMESPACE_CLUSTER = 5;
constexpr uint32_t NAMESPACE_LOB = 8;
constexpr uint32_t TABLE_PROPERTY_BASE = 0x20000000; // stands in every current TAB$ row
constexpr uint32_t USER_SUPPLIED = 256;              // in SPARE1 of USER$
constexpr DateTime CREATED{2019, 4, 17, 0, 56, 11};
constexpr char AUDIT_OPTIONS[] = "--------------------------------------";

// The number that the dictionary has for the character set of columns of a form.
uint32_t charset_number(const Model &model, uint32_t form) {
    constexpr std::pair<std::string_view, uint32_t> numbers[] = {
        {"US7ASCII", 1}, {"WE8ISO8859P1", 31}, {"UTF8", 871}, {"AL32UTF8", 873}, {"AL16UTF16", 2000}};
    const char *property = form == NATIONAL_FORM ? "NLS_NCHAR_CHARACTERSET" : "NLS_CHARACTERSET";
    for (const Property &p : model.properties)
        for (const auto &[name, number] : numbers)
            if (p.name == property && p.value == name)
                return number;
    return 0;
}

uint32_t object_namespace(uint32_t type) {
    switch (type) {
    case OBJECT_INDEX:
    case OBJECT_INDEX_PARTITION:
        return NAMESPACE_INDEX;
    case OBJECT_CLUSTER:
        return NAMESPACE_CLUSTER;
    case OBJECT_LOB:
    case OBJECT_LOB_PARTITION:
        return NAMESPACE_LOB;
    default:
        return NAMESPACE_TABLE;
    }
}

// Builds rows of one dictionary table by column name.
class TableRows {
public:
    TableRows(const Model &model, std::string_view name, const DictionarySink &sink)
        : sink_(sink), table_(find_system_table(model, name)), columns_(model.tables[table_].def.columns) {
        for (size_t i = 0; i < columns_.size(); i++)
            index_.emplace(columns_[i].name, i);
        row_.resize(columns_.size());
    }

    TableRows &set(std::string_view column, Value value) {
        row_[index_.at(column)] = std::move(value);
        return *this;
    }

    TableRows &set(std::string_view column, uint32_t n) { return set(column, number(n)); }

    // The NOT NULL numbers that nothing else has set hold 0.
    void store() {
        for (size_t i = 0; i < columns_.size(); i++)
            if (!row_[i] && !columns_[i].nullable && columns_[i].type == TYPE_NUMBER)
                row_[i] = number(0);
        sink_.insert(table_, row_);
        std::fill(row_.begin(), row_.end(), null_value());
    }

private:
    const DictionarySink &sink_;
    size_t table_;
    const std::vector<ColumnDef> &columns_;
    std::unordered_map<std::string_view, size_t> index_;
    Row row_;
};

void set_place(TableRows &rows, const SegmentPlace &place) {
    rows.set("TS#", place.tsn).set("FILE#", place.file).set("BLOCK#", place.block);
}

void set_space(TableRows &rows) {
    rows.set("PCTFREE$", 10).set("INITRANS", 1).set("MAXTRANS", 255);
}

// ---- Users, tablespaces, properties, bootstrap

void write_users(const Model &model, const DictionarySink &sink) {
    TableRows rows(model, "USER$", sink);
    size_t cluster = find_system_cluster(model, "C_USER#");
    for (const UserEntry &u : model.users) {
        sink.begin_key(cluster, {number(u.uid)});
        rows.set("USER#", u.uid).set("NAME", text(u.def.name)).set("TYPE#", u.def.role ? 0 : 1);
        rows.set("PASSWORD", u.def.role ? null_value() : text("F894844C34402B67"));
        rows.set("DATATS#", u.def.default_tablespace).set("TEMPTS#", u.def.temporary_tablespace);
        rows.set("CTIME", date(CREATED)).set("PTIME", date(CREATED));
        rows.set("DEFROLE", 1).set("ASTATUS", u.def.status);
        rows.set("DEFSCHCLASS", text("DEFAULT_CONSUMER_GROUP"));
        if (model.layout.version == DictionaryVersion::v12)
            rows.set("SPARE1", u.def.supplied ? USER_SUPPLIED : 0);
        rows.store();
    }
}

void write_tablespaces(const Model &model, const DictionarySink &sink) {
    TableRows rows(model, "TS$", sink);
    size_t cluster = find_system_cluster(model, "C_TS#");
    for (const TablespaceEntry &t : model.tablespaces) {
        sink.begin_key(cluster, {number(t.tsn)});
        rows.set("TS#", t.tsn).set("NAME", text(t.def.name)).set("ONLINE$", 1);
        rows.set("BLOCKSIZE", static_cast<uint32_t>(t.block_size)).set("INC#", 1);
        rows.set("DFLMINEXT", 1).set("DFLMAXEXT", 2147483645).set("DFLINIT", 8).set("DFLINCR", 128);
        rows.set("DFLMINLEN", 8).set("DFLOGGING", 1).set("BITMAPPED", 8);
        rows.set("FLAGS", t.def.kind == SegmentKind::bitmap ? 33 : 1);
        rows.store();
    }
}

void write_files(const Model &model, const DictionarySink &sink) {
    constexpr uint32_t available = 2;
    TableRows rows(model, "FILE$", sink);
    for (const TablespaceEntry &t : model.tablespaces) {
        if (!t.storage)
            continue;
        for (const auto &file : t.storage->files()) {
            rows.set("FILE#", file->info().fno).set("STATUS$", available).set("BLOCKS", file->allocated());
            rows.set("TS#", t.tsn).set("RELFILE#", file->info().rfn);
            rows.store();
        }
    }
}

void write_properties(const Model &model, const DictionarySink &sink) {
    TableRows rows(model, "PROPS$", sink);
    for (const Property &p : model.properties) {
        rows.set("NAME", text(p.name))
            .set("VALUE$", text(p.value))
            .set("COMMENT$", text("Database property"));
        rows.store();
    }
}

void write_bootstrap(const Model &model, const DictionarySink &sink) {
    TableRows rows(model, "BOOTSTRAP$", sink);
    for (const BootstrapRow &r : bootstrap_rows(model))
        rows.set("LINE#", number(r.line)).set("OBJ#", number(r.objn)).set("SQL_TEXT", text(r.text)).store();
}

// ---- Objects

struct ObjectText {
    uint32_t owner;
    std::string_view name;
    std::string_view subname;
    uint32_t type;
    uint32_t flags;
};

class ObjectRows {
public:
    ObjectRows(const Model &model, const DictionarySink &sink) : model_(model), rows_(model, "OBJ$", sink) {}

    void write() {
        for (const ClusterEntry &c : model_.clusters)
            store({c.def.owner, c.def.name, "", OBJECT_CLUSTER, 0}, c.place.objn, c.place.objd);
        for (const TableEntry &t : model_.tables)
            write_table(t);
        for (const IndexEntry &i : model_.indexes)
            store({i.def.owner, i.def.name, "", OBJECT_INDEX, 0}, i.place.objn, i.place.objd);
        for (const ObjectEntry &o : model_.objects)
            store({o.def.owner, o.def.name, "", o.def.type, o.def.flags}, o.objn, std::nullopt);
    }

private:
    // Partitions are objects of their table's name; their own name is the subname.
    void write_table(const TableEntry &t) {
        ObjectText object{t.def.owner, t.def.name, "", OBJECT_TABLE, t.def.object_flags};
        store(object, t.place.objn, t.partitions.empty() ? std::optional(t.place.objd) : std::nullopt);
        for (const PartitionEntry &p : t.partitions) {
            bool composite = !p.subpartitions.empty();
            object.subname = p.def.name;
            object.type = OBJECT_TABLE_PARTITION;
            store(object, p.place.objn, composite ? std::nullopt : std::optional(p.place.objd));
            for (const SubpartitionEntry &s : p.subpartitions) {
                object.subname = s.def.name;
                object.type = OBJECT_TABLE_SUBPARTITION;
                store(object, s.place.objn, s.place.objd);
            }
        }
        for (const LobEntry &lob : t.lobs)
            write_lob(t, lob);
    }

    // Fragments have the names of the whole, and as their own one that is made of their object number.
    void write_lob(const TableEntry &t, const LobEntry &lob) {
        std::string serial = std::to_string(t.place.objn) + "C" + std::to_string(lob.column + 1) + "$$";
        std::string segment = "SYS_LOB" + serial;
        std::string index = "SYS_IL" + serial;
        bool whole = lob.fragments.empty();
        store({t.def.owner, segment, "", OBJECT_LOB, 0}, lob.lob.objn,
              whole ? std::optional(lob.lob.objd) : std::nullopt);
        store({t.def.owner, index, "", OBJECT_INDEX, 0}, lob.index.objn,
              whole ? std::optional(lob.index.objd) : std::nullopt);
        for (const LobFragment &f : lob.fragments) {
            std::string lob_name = "SYS_LOB_P" + std::to_string(f.lob.objn);
            std::string index_name = "SYS_IL_P" + std::to_string(f.index.objn);
            store({t.def.owner, segment, lob_name, OBJECT_LOB_PARTITION, 0}, f.lob.objn, f.lob.objd);
            store({t.def.owner, index, index_name, OBJECT_INDEX_PARTITION, 0}, f.index.objn, f.index.objd);
        }
    }

    void store(const ObjectText &o, uint32_t objn, std::optional<uint32_t> objd) {
        rows_.set("OBJ#", objn).set("DATAOBJ#", objd ? number(*objd) : null_value());
        rows_.set("OWNER#", o.owner).set("NAME", text(o.name)).set("NAMESPACE", object_namespace(o.type));
        rows_.set("SUBNAME", text(o.subname)).set("TYPE#", o.type).set("STATUS", 1).set("FLAGS", o.flags);
        rows_.set("CTIME", date(CREATED)).set("MTIME", date(CREATED)).set("STIME", date(CREATED));
        rows_.set("SPARE1", 6).set("SPARE2", 1).set("SPARE3", o.owner);
        rows_.store();
    }

    const Model &model_;
    TableRows rows_;
};

// In LOB$ and LOBFRAG$.
uint32_t lob_property(const LobStorage &storage) {
    constexpr uint32_t in_row = 0x2, secure_file = 0x800;
    return (storage.in_row ? in_row : 0) | (storage.secure ? secure_file : 0);
}

// ---- Tables, clusters, columns: the cluster C_OBJ#

class ObjectClusterRows {
public:
    ObjectClusterRows(const Model &model, const DictionarySink &sink)
        : model_(model), sink_(sink), cluster_(find_system_cluster(model, "C_OBJ#")),
          tab_(model, "TAB$", sink), clu_(model, "CLU$", sink), col_(model, "COL$", sink),
          ind_(model, "IND$", sink), lob_(model, "LOB$", sink) {
        for (const IndexEntry &i : model.indexes)
            indexes_.emplace(i.def.table, &i);
    }

    void write() {
        for (const ClusterEntry &c : model_.clusters)
            write_cluster(c);
        for (size_t t = 0; t < model_.tables.size(); t++)
            write_table(t);
    }

private:
    void write_cluster(const ClusterEntry &c) {
        sink_.begin_key(cluster_, {number(c.place.objn)});
        clu_.set("OBJ#", c.place.objn).set("DATAOBJ#", c.place.objd);
        set_place(clu_, c.place);
        set_space(clu_);
        clu_.set("COLS", static_cast<uint32_t>(c.def.key.size())).set("PCTUSED$", 40).set("SIZE$", 800);
        clu_.set("FUNC", 0).set("EXTIND", 0).set("HASHKEYS", 0).set("FLAGS", c.def.flags).set("AVGCHN", 0);
        clu_.store();
        for (size_t i = 0; i < c.def.key.size(); i++)
            write_column(c.place.objn, c.def.key[i], i, static_cast<uint32_t>(i) + 1,
                         static_cast<uint32_t>(i) + 1);
    }

    void write_table(size_t number_in_model) {
        const TableEntry &t = model_.tables[number_in_model];
        sink_.begin_key(cluster_, {number(t.place.objn)});
        write_tab(t);
        write_columns(t);
        auto [first, last] = indexes_.equal_range(number_in_model);
        for (auto it = first; it != last; ++it)
            write_index(t, it->second->place, it->second->def.type);
        for (const LobEntry &lob : t.lobs) {
            write_index(t, lob.index, INDEX_LOB);
            write_lob(t, lob);
        }
    }

    static uint32_t visible_columns(const TableEntry &t) {
        constexpr uint32_t not_shown = COLUMN_HIDDEN | 0x4000 | COLUMN_UNUSED;
        return static_cast<uint32_t>(
            std::count_if(t.def.columns.begin(), t.def.columns.end(),
                          [](const ColumnDef &c) { return !(c.property & not_shown); }));
    }

    static uint32_t table_property(const TableEntry &t) {
        uint32_t property = TABLE_PROPERTY_BASE | t.def.property;
        if (!t.partitions.empty())
            property |= TABLE_PARTITIONED;
        if (t.def.cluster)
            property |= TABLE_CLUSTERED;
        if (!t.lobs.empty())
            property |= TABLE_LOBS;
        return property;
    }

    static int64_t column_property(const ColumnDef &c) {
        return static_cast<int64_t>(c.property | (c.added_default ? COLUMN_ADDED_DEFAULT : 0));
    }

    void write_tab(const TableEntry &t) {
        tab_.set("OBJ#", t.place.objn);
        if (t.partitions.empty()) {
            tab_.set("DATAOBJ#", t.place.objd);
            set_place(tab_, t.place);
        }
        if (t.def.cluster) {
            tab_.set("BOBJ#", model_.clusters[*t.def.cluster].place.objn).set("TAB#", t.tabno);
            tab_.set("CLUCOLS", static_cast<uint32_t>(t.key_order.size()));
        }
        set_space(tab_);
        tab_.set("COLS", t.def.cols.value_or(visible_columns(t)))
            .set("PCTUSED$", 40)
            .set("FLAGS", t.def.flags);
        tab_.set("AUDIT$", text(AUDIT_OPTIONS)).set("TRIGFLAG", 0).set("SPARE1", 736);
        tab_.set("INTCOLS", static_cast<uint32_t>(t.def.columns.size()));
        tab_.set("KERNELCOLS", static_cast<uint32_t>(t.key_order.size() + t.order.size()));
        tab_.set("PROPERTY", table_property(t));
        if (t.def.analyzed_rows)
            tab_.set("ROWCNT", *t.def.analyzed_rows).set("ANALYZETIME", date(CREATED));
        tab_.store();
    }

    void write_columns(const TableEntry &t) {
        std::vector<uint32_t> segcols(t.def.columns.size());
        uint32_t next = 1;
        for (const auto *places : {&t.key_order, &t.order})
            for (size_t c : *places)
                segcols[c] = next++;
        uint32_t shown = 0;
        for (size_t i = 0; i < t.def.columns.size(); i++) {
            const ColumnDef &c = t.def.columns[i];
            bool has_number = !(c.property & (COLUMN_HIDDEN | COLUMN_UNUSED));
            uint32_t col = has_number ? ++shown : 0;
            write_column(t.place.objn, c, i, col, segcols[i]);
        }
    }

    void write_column(uint32_t objn, const ColumnDef &c, size_t position, uint32_t col, uint32_t segcol) {
        segcol = c.segcol.value_or(segcol);
        col_.set("OBJ#", objn).set("COL#", c.col.value_or(col)).set("SEGCOL#", segcol);
        col_.set("SEGCOLLENGTH", c.length).set("OFFSET", 0).set("NAME", text(c.name)).set("TYPE#", c.type);
        col_.set("LENGTH", c.length).set("FIXEDSTORAGE", 0).set("NULL$", c.nullable ? 0 : 1);
        col_.set("PRECISION#", c.precision ? number(*c.precision) : null_value());
        col_.set("SCALE", c.scale ? number(*c.scale) : null_value());
        col_.set("INTCOL#", static_cast<uint32_t>(position) + 1).set("PROPERTY", number(column_property(c)));
        if (c.charset_form != 0)
            col_.set("CHARSETID", charset_number(model_, c.charset_form));
        // Readers take the form's bytes without a NULL test.
        col_.set("CHARSETFORM", c.charset_form).set("SPARE1", 0).set("SPARE2", 0).set("SPARE3", c.length);
        col_.store();
    }

    void write_index(const TableEntry &t, const SegmentPlace &place, uint32_t type) {
        ind_.set("BO#", t.place.objn).set("OBJ#", place.objn).set("DATAOBJ#", place.objd);
        set_place(ind_, place);
        set_space(ind_);
        ind_.set("COLS", 1).set("TYPE#", type).set("FLAGS", 2050).set("PROPERTY", 1).set("INTCOLS", 1);
        ind_.store();
    }

    void write_lob(const TableEntry &t, const LobEntry &lob) {
        auto column = static_cast<uint32_t>(lob.column) + 1;
        lob_.set("OBJ#", t.place.objn).set("COL#", column).set("INTCOL#", column);
        lob_.set("LOBJ#", lob.lob.objn).set("IND#", lob.index.objn);
        set_place(lob_, lob.lob);
        const LobStorage &storage = t.def.columns[lob.column].lobs;
        lob_.set("CHUNK", storage.chunk_blocks).set("PCTVERSION$", 10).set("FLAGS", storage.flags);
        lob_.set("PROPERTY", lob_property(storage)).set("RETENTION", 900);
        lob_.store();
    }

    const Model &model_;
    const DictionarySink &sink_;
    size_t cluster_;
    TableRows tab_, clu_, col_, ind_, lob_;
    std::multimap<size_t, const IndexEntry *> indexes_; // by table
};

// ---- Partitions

class PartitionRows {
public:
    PartitionRows(const Model &model, const DictionarySink &sink)
        : model_(model), part_(model, "TABPART$", sink), subpart_(model, "TABSUBPART$", sink),
          compart_(model, "TABCOMPART$", sink) {}

    void write() {
        for (const TableEntry &t : model_.tables)
            for (size_t i = 0; i < t.partitions.size(); i++) {
                const PartitionEntry &p = t.partitions[i];
                auto position = static_cast<uint32_t>(i) + 1;
                if (p.subpartitions.empty())
                    write_partition(t, p, position);
                else
                    write_composite(t, p, position);
            }
    }

private:
    static void set_bound(TableRows &rows, const std::string &high_value) {
        rows.set("HIBOUNDLEN", static_cast<uint32_t>(high_value.size())).set("HIBOUNDVAL", text(high_value));
    }

    void write_partition(const TableEntry &t, const PartitionEntry &p, uint32_t position) {
        part_.set("OBJ#", p.place.objn).set("DATAOBJ#", p.place.objd).set("BO#", t.place.objn);
        part_.set("PART#", position * 10);
        set_bound(part_, p.def.high_value);
        set_place(part_, p.place);
        set_space(part_);
        part_.store();
    }

    void write_composite(const TableEntry &t, const PartitionEntry &p, uint32_t position) {
        compart_.set("OBJ#", p.place.objn).set("BO#", t.place.objn).set("PART#", position * 10);
        set_bound(compart_, p.def.high_value);
        compart_.set("SUBPARTCNT", static_cast<uint32_t>(p.subpartitions.size()));
        compart_.set("DEFTS#", p.place.tsn).set("DEFPCTFREE", 10).set("DEFINITRANS", 1);
        compart_.store();
        for (size_t i = 0; i < p.subpartitions.size(); i++) {
            const SegmentPlace &place = p.subpartitions[i].place;
            subpart_.set("OBJ#", place.objn).set("DATAOBJ#", place.objd).set("POBJ#", p.place.objn);
            subpart_.set("SUBPART#", static_cast<uint32_t>(i) + 1);
            set_place(subpart_, place);
            set_space(subpart_);
            subpart_.store();
        }
    }

    const Model &model_;
    TableRows part_, subpart_, compart_;
};

// ---- Constraints: CON$, and the cluster C_COBJ#

class ConstraintRows {
public:
    ConstraintRows(const Model &model, const DictionarySink &sink)
        : model_(model), sink_(sink), cluster_(find_system_cluster(model, "C_COBJ#")),
          con_(model, "CON$", sink), cdef_(model, "CDEF$", sink), ccol_(model, "CCOL$", sink) {}

    void write() {
        uint32_t number_of_constraint = FIRST_CONSTRAINT;
        for (const TableEntry &t : model_.tables) {
            if (!t.def.constraints.empty())
                sink_.begin_key(cluster_, {number(t.place.objn)});
            for (const ConstraintDef &c : t.def.constraints)
                write_constraint(t, c, number_of_constraint++);
        }
    }

private:
    static constexpr uint32_t FIRST_CONSTRAINT = 7001;

    static uint32_t internal_number(const TableEntry &t, const std::string &column) {
        for (size_t i = 0; i < t.def.columns.size(); i++)
            if (t.def.columns[i].name == column)
                return static_cast<uint32_t>(i) + 1;
        throw std::invalid_argument("constraint over an unknown column " + column);
    }

    void write_constraint(const TableEntry &t, const ConstraintDef &c, uint32_t con) {
        auto columns = static_cast<uint32_t>(c.columns.size());
        con_.set("OWNER#", t.def.owner).set("NAME", text(c.name)).set("CON#", con);
        con_.store();
        cdef_.set("CON#", con).set("OBJ#", t.place.objn).set("COLS", columns).set("TYPE#", c.type);
        cdef_.set("ENABLED", 1).set("INTCOLS", columns).set("MTIME", date(CREATED));
        cdef_.store();
        for (uint32_t i = 0; i < columns; i++) {
            uint32_t column = internal_number(t, c.columns[i]);
            ccol_.set("CON#", con).set("OBJ#", t.place.objn).set("COL#", column).set("POS#", i + 1);
            ccol_.set("INTCOL#", column);
            ccol_.store();
        }
    }

    const Model &model_;
    const DictionarySink &sink_;
    size_t cluster_;
    TableRows con_, cdef_, ccol_;
};

// ---- Defaults of added columns

void write_added_defaults(const Model &model, const DictionarySink &sink) {
    TableRows rows(model, "ECOL$", sink);
    uint64_t lob_id = 0x5000;
    for (const TableEntry &t : model.tables)
        for (size_t i = 0; i < t.def.columns.size(); i++) {
            const ColumnDef &c = t.def.columns[i];
            if (!c.added_default)
                continue;
            rows.set("TABOBJ#", t.place.objn).set("COLNUM", static_cast<uint32_t>(i) + 1);
            rows.set("BINARYDEFVAL", lob_in_row(LobType::blob, lob_id++, *c.added_default));
            if (model.layout.version == DictionaryVersion::v12)
                rows.set("GUARD_ID", c.guard_id ? number(*c.guard_id) : null_value());
            rows.store();
        }
}

// ---- Partitioned tables

void write_partitioned(const Model &model, const DictionarySink &sink) {
    constexpr uint32_t by_range = 1;
    TableRows rows(model, "PARTOBJ$", sink);
    for (const TableEntry &t : model.tables) {
        if (t.partitions.empty())
            continue;
        rows.set("OBJ#", t.place.objn).set("PARTTYPE", by_range).set("PARTKEYCOLS", 1);
        rows.set("PARTCNT", static_cast<uint32_t>(t.partitions.size()));
        rows.store();
    }
}

// ---- Partitions of LOB columns and of their indexes

void write_lob_fragments(const Model &model, const DictionarySink &sink) {
    TableRows lob_rows(model, "LOBFRAG$", sink), index_rows(model, "INDPART$", sink);
    for (const TableEntry &t : model.tables)
        for (const LobEntry &lob : t.lobs)
            for (uint32_t i = 0; i < lob.fragments.size(); i++) {
                const LobFragment &f = lob.fragments[i];
                lob_rows.set("FRAGOBJ#", f.lob.objn)
                    .set("PARENTOBJ#", lob.lob.objn)
                    .set("TABFRAGOBJ#", f.table);
                lob_rows.set("INDFRAGOBJ#", f.index.objn).set("FRAG#", i + 1).set("FRAGTYPE$", text("P"));
                set_place(lob_rows, f.lob);
                const LobStorage &storage = t.def.columns[lob.column].lobs;
                lob_rows.set("CHUNK", storage.chunk_blocks).set("PCTVERSION$", 10);
                lob_rows.set("FRAGPRO", lob_property(storage));
                lob_rows.store();
                index_rows.set("OBJ#", f.index.objn).set("DATAOBJ#", f.index.objd).set("BO#", lob.index.objn);
                index_rows.set("PART#", i + 1);
                set_place(index_rows, f.index);
                set_space(index_rows);
                index_rows.store();
            }
}

} // namespace

void write_dictionary(const Model &model, const DictionarySink &sink) {
    write_users(model, sink);
    write_tablespaces(model, sink);
    ObjectRows(model, sink).write();
    ObjectClusterRows(model, sink).write();
    PartitionRows(model, sink).write();
    if (model.layout.full) {
        write_files(model, sink);
        ConstraintRows(model, sink).write();
        write_added_defaults(model, sink);
        write_partitioned(model, sink);
        write_lob_fragments(model, sink);
    }
    write_properties(model, sink);
    write_bootstrap(model, sink);
}

} // namespace sample
