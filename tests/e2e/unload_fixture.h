// A small database, exported once, whose tables the console unloads.
#pragma once

#include <gtest/gtest.h>

#include "dump_builder.h"
#include "process.h"
#include "sample/database.h"
#include "scratch_dir.h"

namespace vexlo_test {

// What the command under test printed.
struct unload_output {
    std::string out;
    std::string err;
};

class unload_console : public ::testing::Test {
protected:
    // A database with the tablespace USERS (`users_`) and the user SCOTT (`scott_`).
    explicit unload_console(sample::DatabaseOptions options = {});

    // A table of SCOTT, or of another user, in USERS.
    sample::TableDef table(const std::string &name, std::vector<sample::ColumnDef> columns) const;

    // A table of one column ID with the rows 1 to `rows`.
    size_t add_numbers(const std::string &name, int rows, uint32_t object_flags = 0, uint32_t property = 0);

    // Adds a tablespace of `files` datafiles.
    uint32_t add_tablespace(const std::string &name, unsigned files, size_t block_size = 0,
                            bool bigfile = false);

    // Ends the database and exports its dictionary.
    void finish();

    // Loads the dictionary and runs the commands; what the last one printed. The others must succeed.
    unload_output run(std::vector<std::string> commands, run_options options = {});

    std::string dump_path(const std::string &name) const { return dir_.file("db/data/" + name + ".dat"); }
    std::string dict_path(const std::string &name) const { return dir_.file("db/dict/" + name + ".dat"); }
    bytes dump(const std::string &name) const { return read_file(dump_path(name)); }

    // What stands behind the header and the table directory of a one-table file.
    bytes data_area(const std::string &name) const;

    scratch_dir dir_;
    std::unique_ptr<sample::Database> db_;
    uint32_t users_ = 0;
    uint32_t scott_ = 0;
};

// The progress line of a table: 80 characters and the row count.
std::string progress(const std::string &table, unsigned rows, const std::string &user = "SCOTT",
                     const std::string &between = "");

// The line with which the console reports that an unload command failed.
extern const std::string COMMAND_FAILED;

// The text of `format` with its "%s" replaced by `value`.
std::string filled(std::string format, const std::string &value);

// A stored NUMBER.
bytes number_value(int n);

} // namespace vexlo_test
