// `check`: the health of files, as text and as JSON.
#include <filesystem>
#include <sstream>

#include "recovered_fixture.h"
#include "sample/damage.h"

namespace {

using namespace sample;
using namespace vexlo_test;

class Check : public Recovered {
protected:
    // A table T of several blocks in the first of two files of USERS.
    void write(uint64_t checkpoint = 0x5000) {
        DatabaseOptions options;
        options.layout.full = true;
        options.checkpoint_scn = checkpoint;
        open(options);
        TablespaceDef other;
        other.name = "OTHER";
        other_ = db_->add_tablespace(other);
        const size_t t = add("T", {number_column("ID"), varchar2_column("NAME", 2000)});
        for (int i = 1; i <= 12; i++)
            places_.push_back(block_number(db_->insert(t, {number(i), text(std::string(1900, 'n'))}).rdba));
        db_->finish();
    }

    run_result check(std::vector<std::string> more = {}) const {
        more.insert(more.begin(), {"check", "--files", dir_.file("db/*.dbf"), "--quiet"});
        return run_rescue(more);
    }
    DamagePlace place(uint32_t block) const { return {users_file(), block_size(), block}; }
    std::string other_file() const { return db_->datafiles().back().string(); }
    std::string system_file() const { return db_->datafiles().front().string(); }

    // With the paths of the database's directory left out.
    std::string without_paths(std::string text) const {
        const std::string folder = dir_.file("db/");
        for (size_t at; (at = text.find(folder)) != std::string::npos;)
            text.erase(at, folder.size());
        return text;
    }

    // What the lines that are not indented begin with.
    static std::vector<std::string> files(const std::string &text) {
        std::vector<std::string> names;
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            if (!line.starts_with(' '))
                names.push_back(std::filesystem::path(line.substr(0, line.find(':'))).filename());
        return names;
    }
    // The line of a file and those below it.
    std::string of_file(const std::string &text, const std::string &name) const {
        const std::string all = "\n" + without_paths(text);
        const size_t at = all.find("\n" + name + ": ");
        if (at == std::string::npos)
            return "";
        size_t end = all.find('\n', at + 1);
        while (end + 1 < all.size() && all[end + 1] == ' ')
            end = all.find('\n', end + 1);
        return all.substr(at + 1, end - at);
    }

    uint32_t other_ = 0;
    std::vector<uint32_t> places_;
};

TEST_F(Check, SoundFilesHaveTheirIdentityAndBlocksByKind) {
    write();
    const run_result result = check();
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(files(result.out), (std::vector<std::string>{"other01.dbf", "system01.dbf", "users01.dbf"}));
    EXPECT_EQ(of_file(result.out, "users01.dbf"),
              "users01.dbf: used, 139264 bytes\n"
              "  file 2, relative file 2, tablespace 4 USERS, database SAMPLE (1457986060)\n"
              "  16 blocks of 8192 bytes (16 by the header), little-endian, checkpoint 20480\n"
              "  4 table, 1 segment header, 10 space, 1 unformatted\n"
              "  block 16: zero, SCOTT.T\n");
    EXPECT_EQ(of_file(result.out, "other01.dbf"),
              "other01.dbf: used, 73728 bytes\n"
              "  file 3, relative file 3, tablespace 5 OTHER, database SAMPLE (1457986060)\n"
              "  8 blocks of 8192 bytes (8 by the header), little-endian, checkpoint 20480\n"
              "  8 space\n");
}

TEST_F(Check, BadRangesHaveTheirOwner) {
    write();
    damage_check_value(place(places_[0]));
    tear_block(place(places_[4]));
    misplace_block(place(places_[8]), 0x01800099);
    overwrite_block(place(3), 3); // of the file's bitmaps
    for (const char *jobs : {"1", "3"}) {
        const run_result result = check({"--jobs", jobs});
        EXPECT_EQ(result.status, 1) << result.describe();
        EXPECT_EQ(of_file(result.out, "users01.dbf"),
                  "users01.dbf: used, 139264 bytes\n"
                  "  file 2, relative file 2, tablespace 4 USERS, database SAMPLE (1457986060)\n"
                  "  16 blocks of 8192 bytes (16 by the header), little-endian, checkpoint 20480\n"
                  "  1 table, 1 segment header, 9 space, 1 unformatted, 4 bad\n"
                  "  block 3: check value\n"
                  "  block 12: check value, SCOTT.T\n"
                  "  block 13: tail, SCOTT.T\n"
                  "  block 14: address, SCOTT.T\n"
                  "  block 16: zero, SCOTT.T\n");
    }
}

TEST_F(Check, AFileShorterThanItsHeaderSaysIsALoss) {
    write();
    EXPECT_EQ(check().status, 0);
    std::filesystem::resize_file(users_file(), std::filesystem::file_size(users_file()) - block_size());
    const run_result result = check();
    EXPECT_EQ(result.status, 1) << result.describe();
    EXPECT_NE(result.out.find("15 blocks of 8192 bytes (16 by the header)"), std::string::npos)
        << result.describe();
}

TEST_F(Check, MissingFilesDuplicatesAndCheckpointsAreNamed) {
    write();
    std::filesystem::remove(other_file());
    copy_with_checkpoint(users_file(), dir_.file("db/old.dbf"), block_size(), 0x4000);
    copy_with_checkpoint(system_file(), dir_.file("db/newer.dbf"), block_size(), 0x6000);
    write_text(dir_.file("db/notes.dbf"), "some text that is no datafile\n");
    const run_result result = check();
    EXPECT_EQ(result.status, 1) << result.describe();
    EXPECT_EQ(files(result.out),
              (std::vector<std::string>{"newer.dbf", "notes.dbf", "old.dbf", "system01.dbf", "users01.dbf",
                                        "missing", "checkpoint 20480", "checkpoint 24576"}));
    EXPECT_EQ(of_file(result.out, "notes.dbf"), "notes.dbf: not a datafile, text file, 30 bytes\n");
    EXPECT_EQ(of_file(result.out, "old.dbf"),
              "old.dbf: duplicate, copy of \"users01.dbf\", whose checkpoint is newer, 139264 bytes\n"
              "  file 2, relative file 2, tablespace 4 USERS, database SAMPLE (1457986060)\n"
              "  16 blocks of 8192 bytes (16 by the header), little-endian, checkpoint 16384\n");
    EXPECT_EQ(of_file(result.out, "missing"), "missing: file 3, relative file 3 of tablespace 5\n");
    EXPECT_EQ(of_file(result.out, "checkpoint 20480"), "checkpoint 20480: 1 file\n");
    EXPECT_EQ(of_file(result.out, "checkpoint 24576"), "checkpoint 24576: 1 file\n");
    EXPECT_EQ(
        without_paths(result.err),
        "vexlo-rescue: \"notes.dbf\": not a datafile: text file\n"
        "vexlo-rescue: \"old.dbf\": duplicate: copy of \"users01.dbf\", whose checkpoint is newer\n"
        "vexlo-rescue: \"system01.dbf\": duplicate: copy of \"newer.dbf\", whose checkpoint is newer\n");
}

TEST_F(Check, AsJsonHasAllOfIt) {
    write();
    damage_check_value(place(places_[0]));
    std::filesystem::remove(other_file());
    const run_result result = check({"--json"});
    EXPECT_EQ(result.status, 1) << result.describe();
    const Json json = Json::parse(without_paths(result.out));
    ASSERT_EQ(json.at("files").size(), 2U);
    EXPECT_EQ(json["files"][1].dump(),
              R"({"path":"users01.dbf","status":"used","bytes":139264,"database":"SAMPLE","dbid":1457986060,)"
              R"("file":2,"relative_file":2,"tablespace":4,"tablespace_name":"USERS","block_size":8192,)"
              R"("blocks":16,"header_blocks":16,"byte_order":"little","checkpoint_scn":20480,)"
              R"("blocks_by_kind":{"table":3,"index":0,"LOB":0,"segment header":1,"extent map":0,"space":10,)"
              R"("undo":0,"encrypted":0,"other":0,"unformatted":1,"bad":1},)"
              R"("ranges":[{"kind":"check value","block":12,"blocks":1,"owner":"SCOTT.T"},)"
              R"({"kind":"zero","block":16,"blocks":1,"owner":"SCOTT.T"}]})");
    EXPECT_EQ(json["missing"].dump(), R"([{"file":3,"relative_file":3,"tablespace":5}])");
    EXPECT_EQ(json["checkpoints"].dump(), R"([{"scn":20480,"files":2}])");
}

TEST_F(Check, FilesWithoutADictionaryAreTestedAllTheSame) {
    write();
    damage_check_value(place(places_[0]));
    const run_result result = run_rescue({"check", "--files", users_file(), "--quiet"});
    EXPECT_EQ(result.status, 1) << result.describe();
    EXPECT_NE(result.out.find("  block " + std::to_string(places_[0]) + ": check value\n"), std::string::npos)
        << result.out;
}

} // namespace
