// A database whose blocks a test damages at known places, unloaded through the console.
#pragma once

#include <map>

#include "oracle_text.h"
#include "unload_fixture.h"

namespace vexlo_test {

// Row piece flags
constexpr uint8_t ROW_H = 0x20, ROW_F = 0x08, ROW_L = 0x04;

class damage_console : public unload_console {
protected:
    static constexpr size_t BLOCK = 2048;

    // Without check values, unless `checksum`: then damage is found by them.
    explicit damage_console(bool checksum = false);

    // A table of the columns ID and NAME with the rows 1 to `rows`, about 25 of them in a block. Remembers
    // where the rows are.
    size_t add_rows(const std::string &name, int rows);

    std::string system_file() const { return db_->datafiles().at(0).string(); }

    // The file of USERS, and block `rdba` of it.
    std::string users_file() const { return db_->datafiles().at(1).string(); }
    bytes read_block(uint32_t rdba) const;
    void write_block(uint32_t rdba, const bytes &block) const;

    // Overwrites bytes of a block; the block is sealed again.
    void patch(uint32_t rdba, size_t offset, const bytes &data) const;

    // Offset in its block of the row piece of a table outside a cluster that `at` names.
    size_t piece_offset(sample::RowAddress at) const;
    // Offset in its block of the row directory entry of a table outside a cluster.
    size_t slot_offset(sample::RowAddress at) const;

    // IDs in the dump file `name` of one table, in file order; the section must be complete.
    std::vector<int> dumped(const std::string &name) const;

    // The IDs of a table's rows for which `kept` says so.
    template <class KEPT>
    std::vector<int> rows_that(const std::string &table, KEPT &&kept) const {
        std::vector<int> ids;
        for (size_t i = 0; i < places_.at(table).size(); i++)
            if (kept(places_.at(table)[i]))
                ids.push_back(static_cast<int>(i) + 1);
        return ids;
    }

    std::map<std::string, std::vector<sample::RowAddress>> places_; // rows of each table, ID 1 first
};

// Offset of the data header of a block, from which row offsets count.
size_t data_header(const bytes &block);

// The lines about damage.
std::string damaged_block(uint32_t rdba);
std::string damaged_row(sample::RowAddress at);

} // namespace vexlo_test
