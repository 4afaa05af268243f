// What a database contains, as its dictionary will describe it.
#pragma once

#include "lob_segment.h"

namespace sample {

// Object types
constexpr uint32_t OBJECT_INDEX = 1;
constexpr uint32_t OBJECT_TABLE = 2;
constexpr uint32_t OBJECT_CLUSTER = 3;
constexpr uint32_t OBJECT_VIEW = 4;
constexpr uint32_t OBJECT_SYNONYM = 5;
constexpr uint32_t OBJECT_SEQUENCE = 6;
constexpr uint32_t OBJECT_TABLE_PARTITION = 19;
constexpr uint32_t OBJECT_INDEX_PARTITION = 20;
constexpr uint32_t OBJECT_LOB = 21;
constexpr uint32_t OBJECT_TABLE_SUBPARTITION = 34;
constexpr uint32_t OBJECT_LOB_PARTITION = 40;

// Column property bits
constexpr uint32_t COLUMN_VIRTUAL = 0x8;
constexpr uint32_t COLUMN_HIDDEN = 0x20;
constexpr uint32_t COLUMN_UNUSED = 0x8000;
constexpr uint64_t COLUMN_LOB_INSIDE = 0x80; // VARCHAR2 or RAW of up to 32767 bytes, stored as a LOB
constexpr uint64_t COLUMN_GENERATED = 0x100; // named by the system
constexpr uint64_t COLUMN_ENCRYPTED = 0x4000000;
constexpr uint64_t COLUMN_ADDED_DEFAULT = 0x40000000; // rows without a value have the default of ECOL$
constexpr uint64_t COLUMN_GUARD = uint64_t{1} << 39;  // a bit for each nullable column added with a default

// Table property bits
constexpr uint32_t TABLE_TYPED = 0x1;
constexpr uint32_t TABLE_OBJECT_COLUMNS = 0x2;
constexpr uint32_t TABLE_NESTED_COLUMNS = 0x4;
constexpr uint32_t TABLE_PARTITIONED = 0x20;
constexpr uint32_t TABLE_INDEX_ORGANIZED = 0x40;
constexpr uint32_t TABLE_CLUSTERED = 0x400;
constexpr uint32_t TABLE_LOBS = 0x800;
constexpr uint32_t TABLE_NESTED = 0x2000;
constexpr uint32_t TABLE_GLOBAL_TEMPORARY = 0x400000;
constexpr uint32_t TABLE_EXTERNAL = 0x80000000;

// Flags word of TAB$ and CLU$: rows carry a dependency SCN
constexpr uint32_t TABLE_ROW_DEPENDENCIES = 0x800000;

constexpr uint32_t USER_SYS = 0;
constexpr uint32_t USER_PUBLIC = 1;

// The columns that the dictionary's own tables have.
enum class DictionaryVersion { v11, v12 };

struct DictionaryLayout {
    DictionaryVersion version = DictionaryVersion::v11;
    bool full = false; // with FILE$, CON$, CDEF$, CCOL$, ECOL$, LOBFRAG$, PARTOBJ$ and INDPART$
};

struct UserDef {
    std::string name;
    bool role = false;
    bool supplied = false; // comes with the database, which dictionaries from 12c on tell
    uint32_t default_tablespace = 0;
    uint32_t temporary_tablespace = 3;
    uint32_t status = 0;
    std::optional<uint32_t> uid; // next free number when not given
};

struct TablespaceDef {
    std::string name;
    unsigned files = 1;    // 0: in the dictionary only, like a temporary tablespace
    size_t block_size = 0; // the database's when 0
    bool bigfile = false;
    uint32_t first_block = FIRST_DATA_BLOCK; // of the first extent of each file; the file is sparse before it
    SegmentKind kind = SegmentKind::bitmap;
};

constexpr uint32_t NATIONAL_FORM = 2; // of a character column, 1 being the database character set

struct ColumnDef {
    std::string name;
    uint32_t type = TYPE_NUMBER;
    uint32_t length = 22; // bytes
    uint64_t property = 0;
    uint32_t charset_form = 0; // 0 for columns of other types
    std::optional<uint32_t> precision;
    std::optional<int> scale;
    bool nullable = true;
    bool stored = true;             // false: no place in the row (SEGCOL# 0)
    std::optional<uint32_t> col;    // COL#; counted over visible columns, 0 for hidden ones, when not given
    std::optional<uint32_t> segcol; // SEGCOL# written; place in the row when not given

    LobStorage lobs; // of a LOB column

    // The column was added with a default after the table had rows: these bytes stand in ECOL$, and rows that
    // end before the column have them as its value. Needs the full dictionary.
    std::optional<Bytes> added_default;
    std::optional<uint32_t> guard_id; // bit number in the guard column of a nullable one, from 12c on
};

// Whether the values of a column are LOBs, and whether these are characters.
bool is_lob_column(const ColumnDef &column);
bool is_character_lob(const ColumnDef &column);

// The stored value of a guard column in which the bits of these columns are set.
Value guard_value(std::span<const uint32_t> guard_ids);

// Columns of the usual types.
ColumnDef number_column(std::string name);
ColumnDef varchar2_column(std::string name, uint32_t length);
ColumnDef char_column(std::string name, uint32_t length);
ColumnDef date_column(std::string name);
ColumnDef typed_column(std::string name, uint32_t type, uint32_t length);

struct SubpartitionDef {
    std::string name;
    std::optional<uint32_t> tablespace; // the table's when not given
};

struct PartitionDef {
    std::string name;
    std::optional<uint32_t> tablespace;
    std::string high_value = "MAXVALUE";
    std::vector<SubpartitionDef> subpartitions; // present in every partition of a composite table, or in none
};

struct ClusterDef {
    uint32_t owner = USER_SYS;
    std::string name;
    uint32_t tablespace = 0;
    std::vector<ColumnDef> key;
    uint32_t flags = 0;     // TABLE_ROW_DEPENDENCIES
    SegmentOptions segment; // objd is filled in; kind is the tablespace's
    std::optional<uint32_t> objn;
};

constexpr uint32_t CONSTRAINT_PRIMARY_KEY = 2;
constexpr uint32_t CONSTRAINT_UNIQUE = 3;

// A constraint over columns of its table. Needs the full dictionary.
struct ConstraintDef {
    std::string name;
    uint32_t type = CONSTRAINT_PRIMARY_KEY;
    std::vector<std::string> columns;
};

struct TableDef {
    uint32_t owner = USER_SYS;
    std::string name;
    uint32_t tablespace = 0;
    std::vector<ColumnDef> columns;
    std::vector<PartitionDef> partitions;
    std::optional<size_t> cluster;        // as returned by add_cluster
    std::vector<std::string> key_columns; // of a clustered table, in key order
    std::optional<uint32_t> tabno;        // number in the cluster; the next free one when not given
    uint32_t property = 0;                // further bits; partitioned, clustered and LOB bits are derived
    uint32_t flags = 0;                   // TABLE_ROW_DEPENDENCIES makes insert write the extra bytes
    uint32_t object_flags = 0;            // OBJ_TEMPORARY, OBJ_DROPPED
    SegmentOptions segment;               // objd is filled in; kind is the tablespace's
    bool has_segment = true;              // false: never got storage, FILE# and BLOCK# are 0
    std::vector<ConstraintDef> constraints;
    std::optional<uint32_t> analyzed_rows; // of the statistics, when there are any
    std::optional<uint32_t> cols;          // COLS written, when not the number of visible columns
    std::optional<uint32_t> objn;
};

constexpr uint32_t INDEX_NORMAL = 1;
constexpr uint32_t INDEX_CLUSTER = 3;
constexpr uint32_t INDEX_LOB = 8;

// An index of a table: it gets a segment without content. LOB indexes come with their columns.
struct IndexDef {
    uint32_t owner = USER_SYS;
    std::string name;
    size_t table = 0; // as returned by add_table
    uint32_t type = INDEX_NORMAL;
    std::optional<uint32_t> objn;
};

// An object that has nothing but its OBJ$ row: view, synonym, sequence ...
struct ObjectDef {
    uint32_t owner = USER_SYS;
    std::string name;
    uint32_t type = OBJECT_VIEW;
    uint32_t flags = 0;
    std::optional<uint32_t> objn;
};

// Where a segment is, as the dictionary states it.
struct SegmentPlace {
    uint32_t objn = 0;
    uint32_t objd = 0;
    uint32_t tsn = 0;
    uint32_t file = 0; // relative file number
    uint32_t block = 0;
};

struct SubpartitionEntry {
    SubpartitionDef def;
    SegmentPlace place;
};

struct PartitionEntry {
    PartitionDef def;
    SegmentPlace place; // only objn for a composite partition
    std::vector<SubpartitionEntry> subpartitions;
};

// The part of a LOB column that belongs to one partition or subpartition.
struct LobFragment {
    SegmentPlace lob;
    SegmentPlace index;
    uint32_t table = 0;     // object number of the partition or subpartition
    std::string table_name; // its own name
};

struct LobEntry {
    size_t column; // index in the table's columns
    SegmentPlace lob;
    SegmentPlace index;
    std::vector<LobFragment> fragments; // of a partitioned table in a full dictionary, which has no others
};

struct ClusterEntry {
    ClusterDef def;
    SegmentPlace place;
    uint32_t tables = 0; // highest table number given to a member so far
};

struct TableEntry {
    TableDef def;
    SegmentPlace place;
    uint32_t tabno = 0;            // in the cluster; 0 outside one
    std::vector<size_t> order;     // indexes of the stored columns outside the cluster key, in row order
    std::vector<size_t> key_order; // indexes of the cluster key columns
    std::vector<PartitionEntry> partitions;
    std::vector<LobEntry> lobs;
};

struct TablespaceEntry {
    TablespaceDef def;
    uint32_t tsn = 0;
    size_t block_size = 0;
    std::unique_ptr<Tablespace> storage; // null when the tablespace has no files
};

struct UserEntry {
    UserDef def;
    uint32_t uid = 0;
};

struct ObjectEntry {
    ObjectDef def;
    uint32_t objn = 0;
};

struct IndexEntry {
    IndexDef def;
    SegmentPlace place;
};

struct Property {
    std::string name;
    std::string value;
};

struct Model {
    DictionaryLayout layout;
    std::vector<UserEntry> users;
    std::vector<TablespaceEntry> tablespaces;
    std::vector<ClusterEntry> clusters;
    std::vector<TableEntry> tables;
    std::vector<IndexEntry> indexes;
    std::vector<ObjectEntry> objects;
    std::vector<Property> properties;
};

} // namespace sample
