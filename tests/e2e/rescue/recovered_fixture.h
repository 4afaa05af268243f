// A database of one user and one tablespace, unloaded as a whole by vexlo-rescue.
#pragma once

#include <gtest/gtest.h>

#include "csv_reader.h"
#include "rescue_program.h"
#include "sample/demo.h"
#include "scratch_dir.h"

namespace vexlo_test {

constexpr uint32_t CLOB_TYPE = 112, BLOB_TYPE = 113;

class Recovered : public ::testing::Test {
protected:
    // Begins the database, with a tablespace USERS of `files` files and the user SCOTT.
    void open(sample::DatabaseOptions options = {}, unsigned files = 1);
    void open(sample::DatabaseOptions options, sample::TablespaceDef users);

    // A table of SCOTT in USERS.
    sample::TableDef table(const std::string &name, std::vector<sample::ColumnDef> columns) const;
    size_t add(const std::string &name, std::vector<sample::ColumnDef> columns) {
        return db_->add_table(table(name, std::move(columns)));
    }

    // Ends the database, unless that has been done, and unloads it as CSV; `more` are further arguments.
    void unload(const std::vector<std::string> &more = {});

    // The rows of SCOTT's table without the header; those of the suspect file with `suspect`.
    std::vector<csv_row> rows(const std::string &name, bool suspect = false) const;
    // The values of one column in the rows of a table.
    csv_row column(const std::string &name, const std::string &column, bool suspect = false) const;
    csv_row header(const std::string &name) const;
    // The entry of SCOTT's table in the record.
    Json record(const std::string &name) const;
    bool has_output(const std::string &file) const { return file_exists(dir_.file("out/" + file)); }

    size_t block_size() const { return db_->model().tablespaces[users_].block_size; }
    std::string users_file(size_t n = 0) const;
    uint32_t segment_header(size_t table) const { return db_->model().tables[table].place.block; }

    scratch_dir dir_;
    std::unique_ptr<sample::Database> db_;
    uint32_t users_ = 0;
    uint32_t scott_ = 0;
    run_result result_;
    bool finished_ = false;
};

// The block number of an address in a smallfile.
uint32_t block_number(uint32_t rdba);

// "1", "2", ... up to n, as the values of a column.
csv_row numbers(int n);

} // namespace vexlo_test
