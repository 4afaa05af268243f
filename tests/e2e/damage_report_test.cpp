// What a user sees of damage: a line each for the first hundred damaged rows and blocks of a segment, then a
// count.
#include "damage_fixture.h"
#include "sample/system_tables.h"

using namespace vexlo_test;

namespace {

size_t count(const std::string &text, const std::string &part) {
    size_t n = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size()))
        n++;
    return n;
}

class DamageReport : public damage_console {
protected:
    // Makes the first `rows` rows of a table damaged ones.
    void damage_rows(const std::string &table, size_t rows) {
        for (size_t i = 0; i < rows; i++)
            patch(places_[table].at(i).rdba, slot_offset(places_[table][i]), {0xFF, 0x7F});
    }

    std::string lines(const std::string &table, size_t rows) {
        std::string text;
        for (size_t i = 0; i < rows; i++)
            text += damaged_row(places_[table].at(i));
        return text;
    }
};

TEST_F(DamageReport, HundredLinesAreAllShown) {
    add_rows("T", 120);
    finish();
    damage_rows("T", 100);
    EXPECT_EQ(run({"unload table scott.t"}).err, progress("T", 20, "SCOTT", lines("T", 100)));
}

TEST_F(DamageReport, WhatComesBehindAHundredLinesIsCounted) {
    add_rows("T", 160);
    finish();
    damage_rows("T", 150);
    EXPECT_EQ(run({"unload table scott.t"}).err,
              progress("T", 10, "SCOTT", lines("T", 100) + "50 more damaged rows or blocks.\n"));
}

// Damaged blocks and damaged rows are counted together.
TEST_F(DamageReport, BlocksCountAsRowsDo) {
    add_rows("T", 160);
    finish();
    damage_rows("T", 101);
    const uint32_t last = places_["T"].back().rdba;
    ASSERT_NE(last, places_["T"].at(100).rdba);
    bytes block = read_block(last);
    std::fill(block.begin() + 20, block.end(), uint8_t{0xFF});
    write_block(last, block);
    const std::string err = run({"unload table scott.t"}).err;
    EXPECT_NE(err.find(lines("T", 100) + "2 more damaged rows or blocks.\n"), std::string::npos) << err;
}

TEST_F(DamageReport, EachSegmentHasItsOwnHundredLines) {
    add_rows("A", 130);
    add_rows("B", 130);
    finish();
    damage_rows("A", 110);
    damage_rows("B", 120);
    const std::string err = run({"unload user scott"}).err;
    EXPECT_EQ(err, progress("A", 20, "SCOTT", lines("A", 100) + "10 more damaged rows or blocks.\n") +
                       progress("B", 10, "SCOTT", lines("B", 100) + "20 more damaged rows or blocks.\n"));
}

// The count comes before the message of a segment that fails.
TEST_F(DamageReport, SegmentThatFailsTellsItsCountToo) {
    add_rows("T", 130);
    finish();
    damage_rows("T", 110);
    const sample::SegmentPlace &place = db_->model().tables.back().place;
    const uint32_t header = sample::make_rdba(place.file, place.block);
    sample::Bytes next(4);
    sample::store_le32(next.data(), header);
    patch(header, 264 + 4, next);
    const std::string err = run({"unload table scott.t"}).err;
    EXPECT_EQ(count(err, "damaged, skip this row data.\n"), 100U) << err;
    EXPECT_NE(err.find("10 more damaged rows or blocks.\nunload segment error.\n"), std::string::npos) << err;
}

// The export of a dictionary table counts in the same way.
TEST_F(DamageReport, ExportTellsTheCountOfADictionaryTable) {
    for (int i = 0; i < 150; i++) {
        sample::ObjectDef object;
        object.name = "OBJECT_" + std::to_string(i);
        db_->add_object(object);
    }
    finish();
    const size_t objects = sample::find_system_table(db_->model(), "OBJ$");
    const uint32_t objd = db_->model().tables[objects].place.objd;
    bytes file = read_file(system_file());
    size_t damaged = 0;
    for (size_t at = 0; at < file.size(); at += BLOCK) {
        const bytes block(file.begin() + static_cast<ptrdiff_t>(at),
                          file.begin() + static_cast<ptrdiff_t>(at + BLOCK));
        if (block[0] != sample::BLOCK_TABLE || sample::fetch_le32(&block[24]) != objd)
            continue;
        const size_t table = data_header(block) + 14, rows = sample::fetch_le16(&block[table + 2]);
        for (size_t i = 0; i < rows; i++, damaged++)
            sample::store_le16(&file[at + table + 4 + 2 * i], 0x7FFF);
    }
    ASSERT_GT(damaged, 150U);
    write_file(system_file(), file);
    const std::string err = run_vexlo(db_->config_path().string(), {"export dict"}).err;
    EXPECT_EQ(count(err, "damaged, skip this row data.\n"), 100U) << err;
    const std::string rest = std::to_string(damaged - 100) + " more damaged rows or blocks.\n";
    EXPECT_NE(err.find(rest + "         0 rows done.\n"), std::string::npos) << err;
}

} // namespace
