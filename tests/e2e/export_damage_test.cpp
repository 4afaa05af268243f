// Damaged dictionary rows, and dictionaries larger than one batch of records.
#include "dict_reader.h"
#include "export_fixture.h"
#include "sample/system_tables.h"

using namespace vexlo_test;

namespace {

class ExportDamage : public ExportTest {
protected:
    static constexpr uint32_t DAMAGED_ROWS = 150;

    // Stores properties that claim to have migrated to where there is no block.
    static void add_lost_properties(sample::Database &db) {
        const size_t props = sample::find_system_table(db.model(), "PROPS$");
        sample::RowPlacement lost;
        lost.flags = sample::ROW_H;
        for (uint32_t i = 0; i < DAMAGED_ROWS; i++)
            db.insert(props, {sample::text("LOST"), sample::text("value"), sample::text("comment")}, lost);
    }

    // Damaged rows and blocks that the text tells of, by a line each or by a count.
    static uint32_t told(const std::string &said) {
        uint32_t count = 0;
        for (size_t at = 0, end; (end = said.find('\n', at)) != std::string::npos; at = end + 1) {
            const std::string line = said.substr(at, end - at);
            unsigned more = 0;
            if (line.ends_with(" damaged, skip this row data."))
                count++;
            else if (line.ends_with(" more damaged rows or blocks.") &&
                     sscanf(line.c_str(), "%u", &more) == 1)
                count += more;
        }
        return count;
    }
};

TEST_F(ExportDamage, DamagedRowsAreLeftOutAndNotCounted) {
    options_.checksum = false;
    build(add_lost_properties);
    const std::string said = transcript({"export dict"}).at(0);
    EXPECT_NE(said.find(" row 0 damaged, skip this row data.\n"), std::string::npos) << said;
    EXPECT_EQ(read_file(dict("props")).size(), kept("PROPS$") * 160);
}

TEST_F(ExportDamage, EveryDamagedRowIsToldOf) {
    options_.checksum = false;
    build(add_lost_properties);
    EXPECT_EQ(told(transcript({"export dict"}).at(0)), DAMAGED_ROWS);
}

TEST_F(ExportDamage, EveryExportTellsOfTheDamageAgain) {
    options_.checksum = false;
    build(add_lost_properties);
    const std::vector<std::string> said = transcript({"export dict", "export dict", "export dict"});
    EXPECT_EQ(said.at(1), said.at(0));
    EXPECT_EQ(said.at(2), said.at(0));
}

TEST_F(ExportDamage, BlockOfAMigratedRowThatFailsItsCheckEndsTheExport) {
    build(add_lost_properties);
    const std::string said = transcript({"export dict"}).at(0);
    const std::string begin = first_steps(step(". . export props$")) + ". . export props$";
    EXPECT_TRUE(said.starts_with(begin)) << said;
    EXPECT_TRUE(
        said.ends_with(std::string(" check value not matched.\nexport props$ error.\n") + COMMAND_ERROR))
        << said;
}

// ---- More records than one batch holds

class ExportBatches : public ExportTest {
protected:
    static constexpr uint32_t FIRST = 2000000; // object numbers of the additional rows

    static std::string name_of(uint32_t i) { return "EXTRA_" + std::to_string(i); }

    static sample::Row row_of(const sample::Database &db, const char *table) {
        const size_t at = sample::find_system_table(db.model(), table);
        return sample::Row(db.model().tables[at].def.columns.size(), sample::number(1));
    }

    static size_t table_of(const sample::Database &db, const char *table) {
        return sample::find_system_table(db.model(), table);
    }

    static constexpr uint32_t PROPERTIES = 2 * 26214 + 10;
    static constexpr uint32_t OBJECTS = 84650 + 10;
    static constexpr uint32_t COLUMNS = 72557 + 10;
};

TEST_F(ExportBatches, PropertiesOfSeveralBatchesAreAllWritten) {
    build([](sample::Database &db) {
        for (uint32_t i = 0; i < PROPERTIES; i++)
            db.insert(table_of(db, "PROPS$"), {sample::text(name_of(i)), sample::text("v"), std::nullopt});
    });
    kept_["PROPS$"] += PROPERTIES;
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    const auto records = read_dict<dict_props>(scratch_.file("db/dict"));
    ASSERT_EQ(records.size(), kept("PROPS$"));
    for (uint32_t i = 0; i < PROPERTIES; i++)
        ASSERT_EQ(records[i].name, name_of(i));
}

TEST_F(ExportBatches, ObjectsOfSeveralBatchesAreAllWrittenAndSorted) {
    build([](sample::Database &db) {
        sample::Row row = row_of(db, "OBJ$");
        for (uint32_t i = OBJECTS; i-- > 0;) {
            row[0] = sample::number(FIRST + i);
            row[3] = sample::text(name_of(i));
            db.insert(table_of(db, "OBJ$"), row);
        }
    });
    kept_["OBJ$"] += OBJECTS;
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    const auto records = read_dict<dict_obj>(scratch_.file("db/dict"));
    ASSERT_EQ(records.size(), kept("OBJ$"));
    for (uint32_t i = 0; i < OBJECTS; i++) {
        const dict_obj &record = records[records.size() - OBJECTS + i];
        ASSERT_EQ(record.objn, FIRST + i);
        ASSERT_EQ(record.name, name_of(i));
    }
}

TEST_F(ExportBatches, ColumnsOfSeveralBatchesAreAllWritten) {
    build([](sample::Database &db) {
        db.begin_key(sample::find_system_cluster(db.model(), "C_OBJ#"), {sample::number(FIRST)});
        sample::Row row = row_of(db, "COL$");
        row[4] = sample::text("C");
        for (uint32_t i = 0; i < COLUMNS; i++) {
            row[2] = sample::number(i + 1);
            db.insert_member(table_of(db, "COL$"), row);
        }
    });
    kept_["COL$"] += COLUMNS;
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    const auto records = read_dict<dict_col>(scratch_.file("db/dict"));
    ASSERT_EQ(records.size(), kept("COL$"));
    for (uint32_t i = 0; i < COLUMNS; i++)
        ASSERT_EQ(records[records.size() - COLUMNS + i].scid, i + 1);
}

TEST_F(ExportBatches, FailureBehindAFlushedBatchLeavesItsRecordsInTheFile) {
    build([](sample::Database &db) {
        for (uint32_t i = 0; i < PROPERTIES; i++)
            db.insert(table_of(db, "PROPS$"), {sample::text(name_of(i)), sample::text("v"), std::nullopt});
    });
    run_options options;
    options.io_rules = "call=write,path=/dict/props.dat,nth=2,errno=ENOSPC";
    const size_t props = step(". . export props$");
    EXPECT_EQ(transcript({"export dict"}, options),
              std::vector<std::string>{failed_step(
                  props, "write " + dict("props") +
                             ": No space left on device\nwrite property dictionary data error.\n")});
    EXPECT_EQ(read_file(dict("props")).size(), 26214U * 160);
    kept_["PROPS$"] += PROPERTIES;
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
}

} // namespace
