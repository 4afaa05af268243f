// The dictionary of a database in memory, read straight from the blocks of its SYSTEM files.
//
// Records are flat and sorted; they refer to each other by object number. Names are bytes as stored, kept in
// one store; text() decodes them. What damaged blocks held is not there: every look-up can come back empty.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rescue/loss.h"
#include "rescue/name_store.h"
#include "rescue/segment.h"
#include "values/text_decoder.h"

namespace vexlo {

// USER$.SPARE1: the user came with the database
constexpr uint32_t USER_ORACLE_MAINTAINED = 0x100;

// Words of flags have as many bits as a release has put to use: they are read with 64.
struct UserRecord {
    uint32_t user;
    uint32_t type; // 1 user, 0 role
    uint64_t spare1;
    NameRef name;

    bool is_oracle_maintained() const { return (spare1 & USER_ORACLE_MAINTAINED) != 0; }
};

struct TablespaceRecord {
    uint32_t tablespace;
    uint32_t online;   // 1 online, 2 offline, 3 dropped
    uint32_t contents; // 0 permanent, 1 temporary
    uint32_t block_size;
    uint64_t flags;
    NameRef name;
};

constexpr uint32_t USER_SYS = 0;

// OBJ$.TYPE#
constexpr uint32_t OBJECT_INDEX = 1;
constexpr uint32_t OBJECT_TABLE = 2;
constexpr uint32_t OBJECT_CLUSTER = 3;
constexpr uint32_t OBJECT_TABLE_PARTITION = 19;
constexpr uint32_t OBJECT_TABLE_SUBPARTITION = 34;
// OBJ$.FLAGS
constexpr uint32_t OBJECT_TEMPORARY = 0x2;
constexpr uint32_t OBJECT_DROPPED = 0x80; // in the recycle bin

struct ObjectRecord {
    uint32_t object;
    uint32_t data_object; // 0 without a segment
    uint32_t owner;
    uint32_t type;
    uint64_t flags;
    NameRef name;
    NameRef subname; // of a partition
    NameRef link;    // of an object of another database that is known here through a link
};

// TAB$.PROPERTY
constexpr uint64_t TABLE_PARTITIONED = 0x20;
constexpr uint64_t TABLE_INDEX_ORGANIZED = 0x40 | 0x80 | 0x100 | 0x200; // the table itself and its overflow
constexpr uint64_t TABLE_CLUSTERED = 0x400;
constexpr uint64_t TABLE_NESTED = 0x2000; // storage of a nested table
constexpr uint64_t TABLE_TEMPORARY = 0x400000 | 0x800000;
constexpr uint64_t TABLE_EXTERNAL = 0x80000000;
// Flags word of TAB$ and CLU$
constexpr uint32_t FLAGS_ROW_DEPENDENCIES = 0x800000;

struct TableRecord {
    uint32_t object;
    uint32_t data_object;
    uint32_t tablespace;
    uint32_t file; // segment header; 0 in a partitioned table and without storage
    uint32_t block;
    uint32_t cluster; // object number of the cluster; 0 outside one
    uint32_t cluster_table;
    uint32_t columns;          // as the table's row counts them
    uint32_t internal_columns; // INTCOLS: with those that are hidden; 0 when not known
    uint32_t cluster_columns;
    uint64_t flags;
    uint32_t block_count; // as last analysed
    uint32_t row_length;  // average, as last analysed
    uint64_t property;
    uint64_t rows;                   // as last analysed
    std::array<uint8_t, 7> analyzed; // when, a stored DATE; all zero when never
    bool row_lost; // an object or columns say that there is a table, the row that describes it is gone

    bool is_analyzed() const { return analyzed[0] != 0; }
};

struct ClusterRecord {
    uint32_t object;
    uint32_t data_object;
    uint32_t tablespace;
    uint32_t file;
    uint32_t block;
    uint32_t columns; // of the key
    uint64_t flags;
};

// COL$.PROPERTY
constexpr uint64_t COLUMN_VIRTUAL = 0x8 | 0x10000;
constexpr uint64_t COLUMN_HIDDEN = 0x20;
constexpr uint64_t COLUMN_STORED_AS_LOB = 0x80;
constexpr uint64_t COLUMN_SYSTEM_GENERATED = 0x100;
constexpr uint64_t COLUMN_DROPPED = 0x4000;
constexpr uint64_t COLUMN_UNUSED = 0x8000;
constexpr uint64_t COLUMN_CHARACTER_LENGTH = 0x800000;
constexpr uint64_t COLUMN_ENCRYPTED = 0x4000000 | 0x20000000;
constexpr uint64_t COLUMN_ADDED_DEFAULT = 0x40000000;
constexpr uint64_t COLUMN_GUARD = uint64_t{1} << 39;

// COL$.CHARSETFORM
constexpr uint8_t DATABASE_FORM = 1;
constexpr uint8_t NATIONAL_FORM = 2;

// Precision or scale that the dictionary does not state.
constexpr int16_t NO_NUMBER = INT16_MIN;

struct ColumnRecord {
    uint64_t property;
    uint32_t table;
    uint32_t length; // bytes
    NameRef name;
    uint32_t character_length; // SPARE3
    uint16_t column;           // COL#: the place in SELECT *; 0 when it has none
    uint16_t segment_column;   // SEGCOL#: the place in the stored row, from 1; 0 when it has none
    uint16_t internal_column;  // INTCOL#
    uint16_t type;
    uint16_t charset;
    int16_t precision;
    int16_t scale;
    uint8_t charset_form;
    bool not_null;

    bool is_national() const { return charset_form == NATIONAL_FORM; }
};

// A partition, subpartition or (without segment) composite partition.
struct PartitionRecord {
    uint32_t object;
    uint32_t data_object;
    uint32_t parent;        // the table or, of a subpartition, the composite partition
    uint32_t position;      // PART# or SUBPART#
    uint32_t subpartitions; // of a composite partition, as its row counts them
    uint32_t tablespace;
    uint32_t file;
    uint32_t block;
    uint64_t rows;                   // as last analysed
    std::array<uint8_t, 7> analyzed; // all zero when never
    bool row_lost; // an object or subpartitions say that there is one, the row that describes it is gone
};

// PARTOBJ$: a table or index that has partitions.
struct PartitionedRecord {
    uint32_t object;
    uint32_t partitions; // as its row counts them
};

struct LobRecord {
    uint32_t table;
    uint32_t column; // COL#
    uint32_t internal_column;
    uint32_t lob_object; // object number of the LOB segment
    uint32_t index_object;
    uint32_t tablespace;
    uint32_t file;
    uint32_t block;
    uint32_t chunk; // blocks
    uint64_t flags;
    uint64_t property;
};

// LOBFRAG$: the LOB segment of one partition.
struct LobFragmentRecord {
    uint32_t fragment; // object number of the LOB partition
    uint32_t parent;   // LobRecord::lob_object
    uint32_t table_fragment;
    uint32_t index_fragment;
    uint32_t tablespace;
    uint32_t file;
    uint32_t block;
    uint32_t chunk;
    uint64_t property;
};

struct IndexRecord {
    uint32_t object;
    uint32_t data_object;
    uint32_t table;
    uint32_t type; // 8: of a LOB
    uint32_t tablespace;
    uint32_t file;
    uint32_t block;
};

// INDPART$: the segment of one partition of an index.
struct IndexPartitionRecord {
    uint32_t object;
    uint32_t data_object;
    uint32_t index;
    uint32_t tablespace;
    uint32_t file;
    uint32_t block;
};

// ECOL$: the value of rows that are older than their column.
struct DefaultRecord {
    uint32_t table;
    uint32_t internal_column;
    NameRef value;   // as the column stores it; empty for NULL
    int32_t guard;   // bit of the guard column; -1 when none
    bool value_lost; // the BLOB that holds it could not be read
};

struct FileRecord {
    uint32_t file; // absolute number
    uint32_t status;
    uint32_t blocks;
    uint32_t tablespace;
    uint32_t relative_file;

    // Others have been dropped.
    bool is_available() const {
        constexpr uint32_t AVAILABLE = 2;
        return status == AVAILABLE;
    }
};

// A column of a primary key.
struct KeyColumnRecord {
    uint32_t table;
    uint32_t position;
    uint32_t internal_column;
};

// Why a table's rows are not read.
enum class Obstacle : uint8_t {
    none,
    index_organized,
    nested,
    external,
    temporary,
    no_columns,      // none are known
    no_partitions,   // it has some, and none are known
    row_lost,        // its row of TAB$ is not there, nor are its columns
    lost_in_cluster, // its row of TAB$, which says which rows of its cluster are its own, is not there
    unplaced,        // its row of TAB$ is not there: blocks are to be looked for, see place_lost_tables()
    no_storage,      // it never got any; nothing is lost
};

// "index-organized table", ...; empty for none. Of an unplaced table: that no block was found.
std::string_view obstacle_text(Obstacle obstacle);

// A segment that holds rows of a table. That of a partition whose row is lost is unplaced, in no tablespace
// yet.
struct TableSegment {
    SegmentRef segment;
    NameRef partition; // own names; empty when the table has no partitions
    NameRef subpartition;
    uint32_t object = 0; // of the table, partition or subpartition
};

class Dictionary {
public:
    // Reads the dictionary. `files` and `scans` must outlive it; files with lost headers are given their
    // place by FILE$. Throws InputError when there is no file to read it from. `charset` is the database
    // character set where the user names one; without it the database's own is looked up.
    Dictionary(FileSet &files, const ScanIndexes &scans, ReadOptions options,
               std::optional<Charset> charset = std::nullopt);
    ~Dictionary();

    // By number, rising.
    std::span<const UserRecord> users() const { return users_; }
    std::span<const TablespaceRecord> tablespaces() const { return tablespaces_; }
    std::span<const ObjectRecord> objects() const { return objects_; }
    std::span<const TableRecord> tables() const { return tables_; }
    std::span<const ClusterRecord> clusters() const { return clusters_; }
    std::span<const ColumnRecord> all_columns() const { return columns_; } // by table and INTCOL#
    std::span<const LobRecord> lobs() const { return lobs_; }              // by table and INTCOL#
    std::span<const LobFragmentRecord> lob_fragments() const { return lob_fragments_; } // by parent
    std::span<const IndexRecord> indexes() const { return indexes_; }
    std::span<const IndexPartitionRecord> index_partitions() const { return index_partitions_; } // by index
    // The partition of an index; null when there is none.
    const IndexPartitionRecord *index_partition(uint32_t index, uint32_t object) const;
    std::span<const FileRecord> files() const { return files_; }

    const UserRecord *user(uint32_t number) const;
    const TablespaceRecord *tablespace(uint32_t number) const;
    const ObjectRecord *object(uint32_t number) const;
    const TableRecord *table(uint32_t object) const;
    const ClusterRecord *cluster(uint32_t object) const;
    const IndexRecord *index(uint32_t object) const;
    // By INTCOL#.
    std::span<const ColumnRecord> columns(uint32_t table) const;
    // In partition order; of a composite table the composite partitions, whose own partitions are asked for
    // by their object number.
    std::span<const PartitionRecord> partitions(uint32_t parent) const;
    // How many partitions and subpartitions the dictionary counts beyond those of which it has a row.
    uint64_t lost_partitions(const TableRecord &table) const;
    // How many columns the table's own row counts beyond those that are known.
    uint32_t lost_columns(const TableRecord &table) const;
    // Whether all columns are known, hidden ones among them.
    bool has_all_columns(const TableRecord &table) const;
    std::span<const LobRecord> lobs(uint32_t table) const;
    std::span<const LobFragmentRecord> lob_fragments(uint32_t lob_object) const;
    std::span<const KeyColumnRecord> primary_key(uint32_t table) const; // by position
    const DefaultRecord *added_default(uint32_t table, uint32_t internal_column) const;

    // Whether an object that exists has this data object number.
    bool has_data_object(uint32_t data_object) const;
    // Value of a database property; empty when there is none.
    std::string_view property(std::string_view name) const;
    // Oracle's names of the character sets, as the user, properties or else the columns state them; empty
    // when not known.
    std::string_view charset() const { return charset_; }
    std::string_view national_charset() const { return national_charset_; }

    // The bytes of a name as stored.
    std::string_view bytes(NameRef name) const { return names_.bytes(name); }
    // A name in UTF-8. Thread-safe.
    std::string text(NameRef name) const;
    // Name of the owner and of the object; "UNKNOWN" and "OBJ_<number>" where they are lost.
    std::string owner_name(uint32_t object) const;
    bool knows_owner(uint32_t object) const;
    std::string object_name(uint32_t object) const;

    // Whether and why not the rows of a table can be read.
    Obstacle obstacle(const TableRecord &table) const;
    // The segments that hold the table's rows, in partition order; a table in a cluster shares the cluster's.
    // None where the row that says where they are is lost.
    std::vector<TableSegment> segments(const TableRecord &table) const;

    // What of the dictionary itself was lost, and lines that say which parts are not complete.
    const SegmentTally &tally() const { return tally_; }
    const std::vector<std::string> &notes() const { return notes_; }

private:
    friend class DictionaryReader;

    std::string find_charset_name(std::string_view property_name, uint8_t form);
    bool lies_in_cluster(const TableRecord &lost) const;
    TableSegment cluster_segment(const TableRecord &table) const;
    TableSegment partition_segment(const PartitionRecord &part, NameRef partition,
                                   NameRef subpartition) const;
    NameRef partition_name(uint32_t partition) const;

    std::vector<UserRecord> users_;
    std::vector<TablespaceRecord> tablespaces_;
    std::vector<ObjectRecord> objects_;
    std::vector<TableRecord> tables_;
    std::vector<ClusterRecord> clusters_;
    std::vector<ColumnRecord> columns_;
    std::vector<PartitionRecord> partitions_; // by parent, position, object
    std::vector<PartitionedRecord> partitioned_;
    std::vector<LobRecord> lobs_;
    std::vector<LobFragmentRecord> lob_fragments_;
    std::vector<IndexRecord> indexes_;
    std::vector<IndexPartitionRecord> index_partitions_;
    std::vector<DefaultRecord> defaults_;
    std::vector<FileRecord> files_;
    std::vector<KeyColumnRecord> keys_;
    std::vector<std::pair<NameRef, NameRef>> properties_;
    std::vector<uint32_t> data_objects_; // sorted
    NameStore names_;
    std::string charset_;
    std::string national_charset_;
    SegmentTally tally_;
    std::vector<std::string> notes_;
    mutable std::mutex decoder_lock_;
    mutable std::unique_ptr<TextDecoder> decoder_;
};

} // namespace vexlo
