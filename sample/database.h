// A whole synthetic database: tablespaces, tables with their rows, and the dictionary that describes them.
#pragma once

#include <functional>

#include "model.h"

namespace sample {

// Called for every dictionary row before it is stored, with the table's name and the columns in the order of
// the stored row (key columns of clustered tables not among them). May change the values and the placement;
// returns false to leave the row out.
using DictionaryHook = std::function<bool(std::string_view table, Row &row, RowPlacement &placement)>;

struct DatabaseOptions {
    size_t block_size = 8192; // 2048 to 32768, a power of two
    SegmentKind dictionary_kind = SegmentKind::freelist;
    uint32_t dictionary_extent_blocks = 8;
    size_t dictionary_map_entries = 0; // see SegmentOptions::map_entries
    DictionaryHook dictionary_hook;
    DictionaryLayout layout;
    unsigned dictionary_files = 1; // of SYSTEM; extents are taken from them in turn
    uint32_t compatibility = 0;    // of the file headers, 0x0C200000 for 12.2
    uint64_t checkpoint_scn = 0;   // of the file headers
    uint32_t database_id = SAMPLE_DATABASE_ID;
    size_t dependency_bytes = 6; // of the SCN in rows with dependencies: 8 from 12.2 on
    bool checksum = true;        // "checksum" of the written configuration
};

// Use: construct, add users, tablespaces, clusters and tables, insert rows, finish. The users SYS (0) and
// PUBLIC (1, a role), the tablespaces SYSTEM (0), UNDOTBS1 (1), SYSAUX (2) and TEMP (3; only SYSTEM has a
// file) and the usual database properties exist from the start. Output depends on the calls alone. Everything
// throws std::exception descendants on wrong arguments and on input/output errors.
class Database {
public:
    // Creates dir, with empty directories dict and data in it.
    explicit Database(std::filesystem::path dir, DatabaseOptions options = {});
    ~Database();
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // Returns the user number.
    uint32_t add_user(UserDef def);
    // Returns the tablespace number. Its datafiles are created at once.
    uint32_t add_tablespace(TablespaceDef def);
    // Returns the index that TableDef::cluster and cluster_rows take.
    size_t add_cluster(ClusterDef def);
    // Returns the index that insert and rows take.
    size_t add_table(TableDef def);
    // Returns the object number.
    uint32_t add_index(IndexDef def);
    uint32_t add_object(ObjectDef def);
    // Sets a database property, after the ones that exist if it is new.
    void set_property(const std::string &name, const std::string &value);

    // Stores a row of a heap table: one value for each column of its definition in that order, those without
    // a place in the row being ignored. part and sub select the partition and the subpartition.
    RowAddress insert(size_t table, const Row &row, const RowPlacement &placement = {}, size_t part = 0,
                      size_t sub = 0);

    // Stores the data of a LOB column (its index in the table's definition) and returns what the row has to
    // hold. The data of a CLOB is in the form that lob_is_wide tells.
    Value store_lob(size_t table, size_t column, ByteView data, const LobPlacement &placement = {},
                    size_t part = 0, size_t sub = 0);

    // Whether the characters of a CLOB or NCLOB column are stored as UTF-16, as they are unless the character
    // set of the database has one byte a character.
    bool lob_is_wide(size_t table, size_t column) const;

    // Begins a cluster key; insert_member stores rows of member tables under it. The row has the key columns
    // in it like any other, though they are not stored again.
    void begin_key(size_t cluster, const Row &key, KeyForm form = KeyForm::whole);
    RowAddress insert_member(size_t table, const Row &row, const RowPlacement &placement = {});

    // The writers beneath, for what insert cannot express. Rows go in here in segment column order.
    RowWriter &rows(size_t table, size_t part = 0, size_t sub = 0);
    RowWriter &cluster_rows(size_t cluster);

    // Ends the segment of a table (or partition); no row can follow. Frees its block buffers.
    void close_rows(size_t table, size_t part = 0, size_t sub = 0);

    // Writes the dictionary, ends all files, and writes datafiles.txt and config.ini (absolute paths).
    void finish();

    const Model &model() const { return model_; }
    const std::filesystem::path &dir() const { return dir_; }
    std::filesystem::path config_path() const;
    // Paths of all datafiles in file number order.
    std::vector<std::filesystem::path> datafiles() const;

private:
    void add_system_objects();
    uint32_t take_objn(std::optional<uint32_t> wanted);
    SegmentPlace new_place(std::optional<uint32_t> objn, uint32_t tsn);
    void add_partitions(TableEntry &table);
    void add_lobs(TableEntry &table);
    void add_lob_fragments(const TableEntry &table, LobEntry &lob);
    SegmentPlace &place_of(size_t table, size_t part, size_t sub);
    RowWriter &writer(SegmentPlace &place, const SegmentOptions &options, int tables);
    std::unique_ptr<Segment> new_segment(SegmentPlace &place, SegmentOptions options);
    LobWriter &lob_writer(size_t table, size_t column, size_t part, size_t sub);
    LobHead new_lob(size_t table, size_t column);
    bool has_wide_charset() const;
    void create_missing_segments(TableEntry &table);
    void create_empty(SegmentPlace &place, const SegmentOptions &options);
    void store_dictionary_row(size_t table, const Row &row);
    void create_segments();
    void write_text_files() const;

    std::filesystem::path dir_;
    DatabaseOptions options_;
    Model model_;
    std::map<uint32_t, std::unique_ptr<RowWriter>> writers_; // by object number
    std::map<uint32_t, std::unique_ptr<LobWriter>> lob_writers_;
    uint64_t next_lob_id_ = 0x10001;
    uint32_t next_objn_;
    uint32_t next_uid_ = 2;
    uint32_t next_fno_ = 1;
    bool finished_ = false;
};

} // namespace sample
