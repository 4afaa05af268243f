// What comes out of a damaged database: everything that does not lie in what was destroyed.
#include <algorithm>

#include "damage_fixture.h"

using namespace vexlo_test;

namespace {

class DamageRecovery : public damage_console {
protected:
    // A row in the middle of the table, and not alone in its block.
    sample::RowAddress middle(const std::string &table) const {
        const auto &places = places_.at(table);
        return places.at(places.size() / 2);
    }

    void finish_with_rows(int rows) {
        add_rows("T", rows);
        finish();
        ASSERT_GT(rows_that("T", [&](auto at) { return at.rdba != middle("T").rdba; }).size(), 0U);
        ASSERT_GT(rows_that("T", [&](auto at) { return at.rdba == middle("T").rdba; }).size(), 2U);
    }

    void expect_all_but_block(uint32_t rdba) {
        EXPECT_EQ(dumped("SCOTT_T"), rows_that("T", [&](auto at) { return at.rdba != rdba; }));
    }
};

TEST_F(DamageRecovery, ZeroedBlockLosesItsOwnRowsAlone) {
    finish_with_rows(200);
    write_block(middle("T").rdba, bytes(BLOCK));
    const unload_output got = run({"unload table scott.t"});
    expect_all_but_block(middle("T").rdba);
    EXPECT_EQ(got.err.find("damaged"), std::string::npos); // a block that was never written looks the same
}

TEST_F(DamageRecovery, BlockWithoutHeadersLosesItsOwnRowsAlone) {
    finish_with_rows(200);
    bytes block = read_block(middle("T").rdba);
    std::fill(block.begin() + 20, block.end(), uint8_t{0xFF});
    write_block(middle("T").rdba, block);
    const unload_output got = run({"unload table scott.t"});
    expect_all_but_block(middle("T").rdba);
    EXPECT_NE(got.err.find(damaged_block(middle("T").rdba)), std::string::npos) << got.err;
}

// One row piece after the other: its directory entry leads out of the block.
TEST_F(DamageRecovery, LostRowPieceLosesItsOwnRowAlone) {
    finish_with_rows(60);
    for (const sample::RowAddress at : places_["T"]) {
        const bytes before = read_block(at.rdba);
        patch(at.rdba, slot_offset(at), {0xFF, 0x7F});
        const unload_output got = run({"unload table scott.t"});
        EXPECT_EQ(dumped("SCOTT_T"), rows_that("T", [&](auto other) { return other != at; }));
        EXPECT_EQ(got.err, progress("T", 59, "SCOTT", damaged_row(at)));
        write_block(at.rdba, before);
    }
}

// The first row added to a block stands at its end, where a longer value leaves the block.
TEST_F(DamageRecovery, ValueThatLeavesTheBlockLosesItsOwnRowAlone) {
    finish_with_rows(200);
    const sample::RowAddress at{middle("T").rdba, 0};
    constexpr size_t COLUMNS = 3;
    const size_t id = piece_offset(at) + COLUMNS;
    patch(at.rdba, id + 1 + read_block(at.rdba)[id], {0xFD});
    const unload_output got = run({"unload table scott.t"});
    EXPECT_EQ(dumped("SCOTT_T"), rows_that("T", [&](auto other) { return other != at; }));
    EXPECT_EQ(got.err, progress("T", 199, "SCOTT", damaged_row(at)));
}

TEST_F(DamageRecovery, CutOffFileKeepsTheRowsBeforeTheCut) {
    add_rows("BEFORE", 400); // no datafile is shorter than 40960 bytes
    finish_with_rows(200);
    const uint32_t block = middle("T").rdba & 0x3FFFFF;
    resize_file(users_file(), block * BLOCK + BLOCK / 2);
    run({"unload table scott.t"});
    EXPECT_EQ(dumped("SCOTT_T"), rows_that("T", [&](auto at) { return at.rdba < middle("T").rdba; }));
}

// ---- The dictionary

class DamagedDictionary : public damage_console {
protected:
    static constexpr int TABLES = 12;

    static std::string name(int i) { return "TABLE_NUMBER_" + std::to_string(i); }
    static std::string column(int i) { return "COLUMN_OF_" + std::to_string(i) + "_"; }

    void finish_with_tables() {
        for (int i = 0; i < TABLES; i++) {
            std::vector<sample::ColumnDef> columns;
            for (int c = 0; c < 12; c++) // a dictionary block describes two or three tables then
                columns.push_back(sample::number_column(column(i) + std::to_string(c)));
            const size_t t = db_->add_table(table(name(i), columns));
            db_->insert(t, sample::Row(12, sample::number(1000 + i)));
        }
        finish();
    }

    // Numbers of the blocks of the SYSTEM datafile in which `text` stands.
    std::vector<size_t> blocks_with(const std::string &text) const {
        const bytes file = read_file(system_file());
        const bytes wanted = to_bytes(text);
        std::vector<size_t> blocks;
        for (auto at = file.begin();;) {
            at = std::search(at, file.end(), wanted.begin(), wanted.end());
            if (at == file.end())
                return blocks;
            blocks.push_back(static_cast<size_t>(at - file.begin()) / BLOCK);
            ++at;
        }
    }

    void destroy(size_t block) const { patch_file(system_file(), block * BLOCK, bytes(BLOCK)); }

    bool unloads(int i) {
        run({"unload table scott." + name(i)});
        const std::string dump_name = "SCOTT_" + name(i);
        return file_exists(dump_path(dump_name)) && dumped(dump_name) == std::vector<int>{1000 + i};
    }
};

TEST_F(DamagedDictionary, ColumnBlockLosesTheTablesItDescribesAlone) {
    finish_with_tables();
    const size_t lost = blocks_with(column(5) + "3").at(0);
    std::vector<bool> described;
    for (int i = 0; i < TABLES; i++) {
        const std::vector<size_t> blocks = blocks_with(column(i));
        described.push_back(std::find(blocks.begin(), blocks.end(), lost) != blocks.end());
    }
    ASSERT_LT(std::count(described.begin(), described.end(), true), TABLES / 2);
    destroy(lost);
    const run_result got = run_vexlo(db_->config_path().string(), {"export dict"});
    ASSERT_EQ(got.err.find("error"), std::string::npos) << got.describe();
    for (int i = 0; i < TABLES; i++)
        if (!described[static_cast<size_t>(i)]) {
            EXPECT_TRUE(unloads(i)) << i;
        }
}

TEST_F(DamagedDictionary, PropertyBlockLosesTheTextsOfTheHeaderAlone) {
    finish_with_tables();
    const std::vector<size_t> blocks = blocks_with("NLS_CHARACTERSET");
    ASSERT_FALSE(blocks.empty());
    for (const size_t block : blocks)
        destroy(block);
    const run_result got = run_vexlo(db_->config_path().string(), {"export dict"});
    ASSERT_EQ(got.err.find("error"), std::string::npos) << got.describe();
    for (int i = 0; i < TABLES; i++)
        EXPECT_TRUE(unloads(i)) << i;
    EXPECT_EQ(read_dump_header(dump("SCOTT_" + name(0))).nls_lang, "_.");
}

// An object without its record stops the load there; what was loaded before answers.
TEST_F(DamagedDictionary, ObjectBlockStopsTheLoadAndLeavesTheUsers) {
    finish_with_tables();
    const std::vector<size_t> blocks = blocks_with(name(5));
    ASSERT_FALSE(blocks.empty());
    for (const size_t block : blocks)
        destroy(block);
    const run_result got = run_vexlo(db_->config_path().string(), {"export dict", "load dict", "list users"});
    EXPECT_NE(got.err.find(" not found.\nCommand \"load\" execute error.\n"), std::string::npos) << got.err;
    EXPECT_NE(got.out.find("SCOTT\n"), std::string::npos) << got.out;
}

TEST_F(DamagedDictionary, ExportThatStopsLeavesTheEarlierFilesToALoad) {
    finish_with_tables();
    const std::vector<size_t> blocks = blocks_with("CREATE TABLE TAB$");
    ASSERT_FALSE(blocks.empty());
    for (const size_t block : blocks)
        destroy(block);
    const run_result got = run_vexlo(db_->config_path().string(), {"export dict"});
    EXPECT_NE(got.err.find("execute error.\n"), std::string::npos) << got.err;
    for (int i = 0; i < TABLES; i++)
        EXPECT_TRUE(unloads(i)) << i;
}

// ---- Check values

class DamageWithCheckValues : public damage_console {
protected:
    DamageWithCheckValues() : damage_console(true) {}

    static std::string wrong_check_value(uint32_t rdba) {
        char line[64];
        snprintf(line, sizeof line, "block rdba=0x%x check value not matched.\n", rdba);
        return line;
    }
};

// The run of blocks fails as a whole, and with it the table; the next table of the file is complete.
TEST_F(DamageWithCheckValues, WrongBlockEndsItsTable) {
    add_rows("A", 200);
    add_rows("B", 20);
    finish();
    const sample::RowAddress at = places_["A"].at(100);
    bytes block = read_block(at.rdba);
    block[1000] ^= 1;
    write_block(at.rdba, block);
    const unload_output got = run({"unload user scott"});

    EXPECT_NE(
        got.err.find(wrong_check_value(at.rdba) + "read extent (ts#=" + std::to_string(users_) + ", rdba=0x"),
        std::string::npos)
        << got.err;
    EXPECT_NE(got.err.find(") error.\nunload segment error.\nunload table \"A\" error.\n"), std::string::npos)
        << got.err;

    const bytes raw = dump("SCOTT");
    const std::vector<dump_table> tables = read_dump_tables(raw);
    ASSERT_EQ(tables.size(), 2U);
    EXPECT_EQ(read_dump_section(raw, tables[1]).rows.size(), 20U);
}

} // namespace
