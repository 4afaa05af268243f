#include <filesystem>

#include <gtest/gtest.h>

#include "rescue/record.h"
#include "scratch_dir.h"
#include "values/errors.h"

namespace vexlo {
namespace {

using vexlo_test::file_exists;
using vexlo_test::read_text;
using vexlo_test::scratch_dir;
using vexlo_test::write_text;

RunRecord small_record() {
    RunRecord record;
    record.version = "1.0.0";
    record.command = {"vexlo-rescue", "unload", "--to", "csv"};
    record.started = "2024-02-29T12:30:00Z";
    record.files = {
        {"/d/a.dbf", 4, 5, 6, 8192, 1000, 1ULL << 40, 8200192, "2024-02-28T00:00:00.000000001Z", "used"}};
    record.files.push_back({"/d/notes.txt", {}, {}, {}, {}, {}, {}, {}, {}, "not a datafile"});
    record.dictionary_losses = {{"tail", 1, 77, 2}};
    TableEntry table;
    table.owner = "SCOTT";
    table.table = "EMP \"\xE2\x82\xAC\"";
    table.partition = "P1";
    table.status = TableStatus::partial;
    table.reason = "damaged blocks";
    table.rows = 14;
    table.suspect_rows = 2;
    table.null_values = 1;
    table.blocks = {8, 7, 6, 5};
    table.losses = {{"check value", 5, 1234, 8}};
    table.outputs = {{"SCOTT.EMP.csv", 1ULL << 33, 0xFFFFFFFF}};
    table.lobs = {2, 8132, {{"SCOTT.EMP.lobs", 3, 1ULL << 33, 0xFFFFFFFF}}};
    record.tables = {table, TableEntry{}};
    return record;
}

constexpr char SMALL_TEXT[] =
    R"({"program":"vexlo-rescue","version":"1.0.0","command":["vexlo-rescue","unload","--to","csv"],)"
    R"("started":"2024-02-29T12:30:00Z","finished":null,"exit_status":null,
 "files": [
  {"path":"/d/a.dbf","file":4,"relative_file":5,"tablespace":6,"block_size":8192,"blocks":1000,)"
    R"("checkpoint_scn":1099511627776,"bytes":8200192,"modified":"2024-02-28T00:00:00.000000001Z","status":"used"},
  {"path":"/d/notes.txt","file":null,"relative_file":null,"tablespace":null,"block_size":null,"blocks":null,)"
    R"("checkpoint_scn":null,"bytes":null,"modified":null,"status":"not a datafile"}],
 "dictionary": {"losses":[{"kind":"tail","file":1,"block":77,"blocks":2}]},
 "tables": [
  {"owner":"SCOTT","table":"EMP \")"
    "\xE2\x82\xAC"
    R"(\"","partition":"P1","status":"partial","reason":"damaged blocks","rows":14,"suspect_rows":2,)"
    R"("null_values":1,"blocks":{"data":8,"unformatted":7,"foreign":6,"older":5},)"
    R"("losses":[{"kind":"check value","file":5,"block":1234,"blocks":8}],)"
    R"("outputs":[{"path":"SCOTT.EMP.csv","bytes":8589934592,"crc32":4294967295}],"lobs":{"not_whole":2,"missing_bytes":8132,)"
    R"("files":[{"path":"SCOTT.EMP.lobs","files":3,"bytes":8589934592,"crc32":4294967295}]}},
  {"owner":"","table":"","partition":null,"status":"failed","reason":null,"rows":0,"suspect_rows":0,)"
    R"("null_values":0,"blocks":{"data":0,"unformatted":0,"foreign":0,"older":0},"losses":[],"outputs":[],)"
    R"("lobs":{"not_whole":0,"missing_bytes":0,"files":[]}}]}
)";

TEST(RunRecord, IsWrittenMemberByMember) {
    EXPECT_EQ(record_text(small_record()), SMALL_TEXT);
}

TEST(RunRecord, ReadsBackAsItWas) {
    EXPECT_EQ(parse_record(SMALL_TEXT), small_record());
    RunRecord finished = small_record();
    finished.finished = "2024-02-29T12:31:00Z";
    finished.exit_status = 1;
    EXPECT_EQ(parse_record(record_text(finished)), finished);
}

TEST(RunRecord, BytesOfNamesThatAreNoUtf8AreReplaced) {
    RunRecord record = small_record();
    record.tables.resize(1);
    record.tables[0].table = "A\xFF";
    EXPECT_EQ(parse_record(record_text(record)).tables[0].table, "A\xEF\xBF\xBD");
}

TEST(RunRecord, PathsAndCommandsKeepAllTheirBytes) {
    RunRecord record = small_record();
    for (const std::string text : {"d\xFF", "\xA7", "\xEF\xBF\xBD",
                                   "\xEF\xBF\xBD"
                                   "41",
                                   "\xE2\x82", "\xE2\x82\xAC"}) {
        record.files[0].path = text;
        record.command[3] = text;
        EXPECT_EQ(parse_record(record_text(record)), record) << testing::PrintToString(text);
    }
    EXPECT_NE(record_text(record).find("\xE2\x82\xAC"), std::string::npos);
}

TEST(RunRecord, WhatIsNoRecordIsRefused) {
    const std::string text = SMALL_TEXT;
    const auto changed = [&](std::string_view from, std::string_view to) {
        std::string other = text;
        return other.replace(other.find(from), from.size(), to);
    };
    EXPECT_THROW(parse_record(""), InputError);
    EXPECT_THROW(parse_record("{}"), InputError);
    EXPECT_THROW(parse_record("[1]"), InputError);
    EXPECT_THROW(parse_record(text.substr(0, text.size() / 2)), InputError);
    EXPECT_THROW(parse_record(changed("vexlo-rescue", "other")), InputError);
    EXPECT_THROW(parse_record(changed("\"partial\"", "\"done\"")), InputError);
    EXPECT_THROW(parse_record(changed("\"rows\":14", "\"rows\":\"14\"")), InputError);
    EXPECT_THROW(parse_record(changed("\"crc32\":4294967295", "\"crc\":1")), InputError);
    EXPECT_THROW(parse_record(changed("\"crc32\":4294967295", "\"crc32\":4294967296")), InputError);
    EXPECT_THROW(parse_record(changed("\"rows\":14", "\"rows\":-1")), InputError);
    EXPECT_THROW(parse_record(changed("\"rows\":14", "\"rows\":1e300")), InputError);
}

TEST(RecordFile, ReplacesTheFileAndLeavesNothingBeside) {
    const scratch_dir dir;
    EXPECT_EQ(load_record(dir.path()), std::nullopt);
    write_text(dir.file("rescue.json"), "older");
    RecordFile(dir.path()).write(small_record());
    EXPECT_EQ(read_text(dir.file("rescue.json")), SMALL_TEXT);
    EXPECT_EQ(load_record(dir.path()), small_record());
    size_t files = 0;
    for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator(dir.path()))
        ++files;
    EXPECT_EQ(files, 1U);
}

TEST(RecordFile, SmallRecordsAreWrittenAfterEveryTable) {
    const scratch_dir dir;
    RecordFile file(dir.path());
    RunRecord record = small_record();
    for (int i = 0; i < 5; ++i) {
        record.tables.emplace_back();
        file.write_if_due(record);
        EXPECT_EQ(load_record(dir.path()), record);
    }
}

TEST(RecordFile, ADamagedRecordIsAnInputErrorThatNamesIt) {
    const scratch_dir dir;
    write_text(dir.file("rescue.json"), "{\"program\":");
    try {
        load_record(dir.path());
        FAIL() << "no exception";
    } catch (const InputError &error) {
        EXPECT_EQ(std::string(error.what()).find(dir.file("rescue.json") + ": is no record of a run: "), 0U)
            << error.what();
    }
}

TEST(RecordFile, AWriteThatFailsIsAnOutputError) {
    EXPECT_THROW(RecordFile("/nonexistent").write(small_record()), OutputError);
}

TEST(RunRecord, MomentsAreInUtc) {
    EXPECT_EQ(moment_text(std::chrono::system_clock::time_point(std::chrono::seconds(1709209800))),
              "2024-02-29T12:30:00Z");
}

} // namespace
} // namespace vexlo
