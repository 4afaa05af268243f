// The demonstration database: users, ordinary tables, and tables that show the harder cases of row storage.
#pragma once

#include "database.h"

namespace sample {

// Numbers that the parts of the demonstration share.
struct DemoContext {
    Database &db;
    uint32_t users;  // tablespace USERS: one file, bitmap-managed
    uint32_t data;   // tablespace APP_DATA: three files, bitmap-managed
    uint32_t legacy; // tablespace LEGACY: freelist-managed
    uint32_t big;    // tablespace BIG_DATA: bigfile
    uint32_t small;  // tablespace SMALL_BLOCKS: another block size than the database's
    uint32_t scott;  // users
    uint32_t hr;
    uint32_t mixed;
};

// A heap table of these columns in a tablespace.
TableDef table_def(uint32_t owner, const char *name, uint32_t tablespace, std::vector<ColumnDef> columns);

// Builds and finishes the whole demonstration database in dir.
void write_demo(const std::filesystem::path &dir, size_t block_size);

// SCOTT's EMP, DEPT, BONUS and SALGRADE, and HR's tables.
void add_scott_tables(DemoContext &demo);
void add_hr_tables(DemoContext &demo);

// Partitioned, clustered, LONG and LOB tables; all value types; rows in several pieces; wide rows.
void add_partitioned_tables(DemoContext &demo);
void add_clustered_tables(DemoContext &demo);
void add_long_tables(DemoContext &demo);
void add_lob_tables(DemoContext &demo);
void add_type_tables(DemoContext &demo);
void add_piece_tables(DemoContext &demo);

// Dropped, temporary and index-organized tables, mixed-case names, views and synonyms.
void add_odd_objects(DemoContext &demo);

} // namespace sample
