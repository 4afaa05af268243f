// Overwritten blocks: every row of the others comes out, and every lost block is told.
#include <algorithm>
#include <random>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "rescue_program.h"
#include "sample/demo.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr unsigned FILES = 2;
constexpr unsigned LOST_TABLES = 3;
constexpr int64_t TABLE_ROWS = 12000; // of each table

using BlockAddress = std::pair<uint32_t, uint32_t>; // relative file and block

BlockAddress block_of(uint32_t rdba) {
    return {rdba >> 22, rdba & 0x3FFFFF};
}

class LostBlocks : public testing::TestWithParam<uint32_t> {
protected:
    void write_database() {
        Database db(dir_.file("db"));
        TablespaceDef tablespace;
        tablespace.name = "USERS";
        tablespace.files = FILES;
        const uint32_t users = db.add_tablespace(tablespace);
        UserDef user;
        user.name = "SCOTT";
        const uint32_t scott = db.add_user(user);
        std::vector<size_t> tables;
        for (unsigned t = 0; t < LOST_TABLES; ++t)
            tables.push_back(db.add_table(table_def(scott, ("T" + std::to_string(t)).c_str(), users,
                                                    {number_column("ID"), varchar2_column("NAME", 60)})));
        for (int64_t id = 0; id < TABLE_ROWS; ++id)
            for (unsigned t = 0; t < LOST_TABLES; ++t) {
                const RowAddress at =
                    db.insert(tables[t], {number(id), text("row number " + std::to_string(id))});
                rows_[t][block_of(at.rdba)].insert(std::to_string(id));
            }
        db.finish();
        for (const auto &path : db.datafiles())
            if (path.filename().string().starts_with("users"))
                files_.push_back(path);
    }

    // Overwrites every twentieth block of the tablespace, chosen by the seed.
    void overwrite_blocks() {
        std::mt19937 random(GetParam());
        uint32_t relative_file = 2; // the first behind SYSTEM's
        for (const auto &path : files_) {
            const auto blocks = static_cast<uint32_t>(std::filesystem::file_size(path) / BLOCK_SIZE);
            for (uint32_t block = 1; block < blocks; ++block) {
                if (random() % 20 != 0)
                    continue;
                Bytes noise(BLOCK_SIZE);
                for (auto &byte : noise)
                    byte = static_cast<uint8_t>(random());
                patch_file(path, BLOCK_SIZE, block, 0, noise, false);
                overwritten_.emplace(relative_file, block);
            }
            ++relative_file;
        }
    }

    std::set<BlockAddress> lost_blocks(const Json &entry) const {
        std::set<BlockAddress> lost;
        for (const Json &loss : entry["losses"])
            for (uint64_t i = 0; i < loss["blocks"]; ++i)
                lost.emplace(loss["file"], loss["block"].get<uint32_t>() + i);
        return lost;
    }

    scratch_dir dir_;
    std::vector<std::filesystem::path> files_;
    std::map<BlockAddress, std::set<std::string>> rows_[LOST_TABLES]; // ids of each block
    std::set<BlockAddress> overwritten_;
};

TEST_P(LostBlocks, RowsOfTheOtherBlocksComeOutAndLostOnesAreInTheRecord) {
    write_database();
    overwrite_blocks();
    ASSERT_EQ(files_.size(), FILES);
    const run_result result = run_rescue(unload_arguments(dir_.file("db"), dir_.file("out"), {"--quiet"}));
    ASSERT_EQ(result.status, 1) << result.describe();
    const Json record = read_record(dir_.file("out"));
    for (unsigned t = 0; t < LOST_TABLES; ++t) {
        const std::string name = "T" + std::to_string(t);
        SCOPED_TRACE(name);
        std::multiset<std::string> expected, got;
        const std::set<BlockAddress> told = lost_blocks(record_of(record, "SCOTT", name));
        for (const auto &[block, ids] : rows_[t]) {
            if (!overwritten_.contains(block))
                expected.insert(ids.begin(), ids.end());
            else
                EXPECT_TRUE(told.contains(block)) << block.first << "/" << block.second;
        }
        std::istringstream csv(read_text(dir_.file("out/SCOTT." + name + ".csv")));
        std::string line;
        std::getline(csv, line);
        while (std::getline(csv, line))
            got.insert(line.substr(0, line.find(',')));
        EXPECT_TRUE(got == expected) << got.size() << " rows, expected " << expected.size();
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, LostBlocks, testing::Range(1U, 13U));

} // namespace
