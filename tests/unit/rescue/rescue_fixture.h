// Synthetic databases and what the readers find in them.
#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "rescue/dictionary.h"
#include "rescue/file_set.h"
#include "rescue/row_reader.h"
#include "sample/database.h"
#include "scratch_dir.h"

namespace rescue_test {

constexpr uint32_t DB_BLOCK_SIZE = 8192;
constexpr uint32_t FILE_HEADER = 1;    // its block
constexpr uint8_t TABLE_BLOCKS = 0x06; // their type

// A value as text, "NULL" for none; bytes of a LONG are shortened to their number when there are many.
using TextRow = std::vector<std::string>;

struct SuspectRow {
    vexlo::RowFault fault;
    uint32_t relative_file;
    uint64_t block;
    uint32_t slot;
    TextRow values;
};

// All that was read of one table.
struct TableRows {
    std::vector<std::string> columns;
    std::vector<TextRow> rows;
    std::vector<SuspectRow> suspects;
    vexlo::RowCounts row_counts;
    vexlo::SegmentTally tally;
};

// The files of a database with everything that reading needs.
struct ReadDatabase {
    explicit ReadDatabase(const std::vector<std::string> &paths, vexlo::ReadOptions read_options = {});

    // The rows of the table of that name, whoever owns it.
    TableRows read(std::string_view table, bool hidden = false);
    const vexlo::TableRecord &table(std::string_view name) const;

    vexlo::ReadOptions options;
    vexlo::FileSet files;
    vexlo::ScanIndexes scans;
    vexlo::Dictionary dictionary;
    std::string directory; // for temporary files
};

// One database in a directory of its own.
class RescueTest : public ::testing::Test {
protected:
    explicit RescueTest(sample::DatabaseOptions options = {});

    // Users and tablespaces exist from the start: user SCOTT, tablespace USERS of one file.
    sample::Database &db() { return *db_; }
    uint32_t scott() const { return scott_; }
    uint32_t users() const { return users_; }

    // A table of SCOTT in USERS with the columns ID NUMBER and NAME VARCHAR2(4000).
    size_t add_table(const std::string &name);
    static sample::TableDef table_def(uint32_t owner, const std::string &name, uint32_t tablespace);
    // Inserts rows (i, "row i") for i from `first` to `last`.
    void insert_rows(size_t table, int first, int last);

    // Ends the database and opens its files.
    ReadDatabase open(vexlo::ReadOptions options = {});
    std::vector<std::string> paths();
    std::string path_of(std::string_view file) const { return directory_ / std::string(file); }
    std::string directory() const { return directory_.path(); }

    // Overwrites bytes of a block; the block is sealed again when `reseal`.
    void patch(std::string_view file, uint32_t block, size_t offset, const sample::Bytes &bytes,
               bool reseal = true);
    // Fills a block with a pattern that is no block of anything.
    void destroy(std::string_view file, uint32_t block);
    // The bytes of a block.
    sample::Bytes block(std::string_view file, uint32_t number) const;
    // Numbers of the blocks of a file with this type, and with this data object where one is given.
    std::vector<uint32_t> blocks_of_type(std::string_view file, uint8_t type, uint32_t object = 0) const;
    // The segment header's block number and the object number of a table.
    uint32_t header_block(size_t table) { return db().model().tables.at(table).place.block; }
    uint32_t object_of(size_t table) { return db().model().tables.at(table).place.objd; }

private:
    vexlo_test::scratch_dir directory_;
    std::unique_ptr<sample::Database> db_;
    uint32_t scott_;
    uint32_t users_;
};

constexpr char USERS_FILE[] = "users01.dbf";
constexpr char SYSTEM_FILE[] = "system01.dbf";

// Rows (i, "row i") as they are read back.
std::vector<TextRow> numbered_rows(int first, int last);

} // namespace rescue_test
