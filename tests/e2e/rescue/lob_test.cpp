// LOBs through `unload`, of every kind of storage that the sample writes.
#include <filesystem>
#include <set>

#include <gtest/gtest.h>

#include "recovered_fixture.h"
#include "sample/lob_data.h"
#include "scratch_dir.h"

namespace {

using namespace sample;
using namespace vexlo_test;

// One table of ID and a LOB column, a row for each size.
struct LobCase {
    const char *name;
    LobStorage storage;
    uint32_t type = BLOB_TYPE;
    const char *charset = "AL32UTF8";
    LobPlacement placement = {};
    SegmentKind kind = SegmentKind::bitmap;
};

std::ostream &operator<<(std::ostream &out, const LobCase &c) {
    return out << c.name;
}

std::vector<size_t> sizes_of(const LobCase &c) {
    const size_t page = c.storage.secure ? 8060 : 8132, chunk = page * c.storage.chunk_blocks;
    if (c.type == CLOB_TYPE) // characters
        return {0, 1, 1982, 1983, 5000, 40000};
    return {0, 1, 3964, 3965, page, page + 1, chunk, 12 * chunk, 12 * chunk + 1, 13 * chunk, 30 * chunk + 77};
}

Bytes stored_data(const Database &db, size_t table, const LobCase &c, const LobKey &key, size_t size) {
    if (c.type == BLOB_TYPE)
        return lob_bytes(key, size);
    const bool wide = db.lob_is_wide(table, 1);
    const std::u16string characters = lob_characters(key, size, wide);
    return wide ? utf16_bytes(characters) : latin1_bytes(characters);
}

std::string hex(const Bytes &bytes) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (const uint8_t byte : bytes) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text;
}

std::string quoted(const std::string &text) {
    std::string out = "\"";
    for (const char c : text)
        out += c == '"' ? std::string("\"\"") : std::string(1, c);
    return out + "\"";
}

class LobDatabase {
public:
    LobDatabase(const std::string &dir, const LobCase &c) : case_(c), db_(dir) {
        db_.set_property("NLS_CHARACTERSET", c.charset);
        TablespaceDef tablespace;
        tablespace.name = "USERS";
        tablespace.kind = c.kind;
        const uint32_t users = db_.add_tablespace(tablespace);
        UserDef user;
        user.name = "SCOTT";
        const uint32_t owner = db_.add_user(user);
        ColumnDef lob = typed_column("DATA", c.type, 4000);
        lob.charset_form = c.type == CLOB_TYPE ? 1 : 0;
        lob.lobs = c.storage;
        TableDef table;
        table.owner = owner;
        table.name = "T";
        table.tablespace = users;
        table.columns = {number_column("ID"), lob};
        table_ = db_.add_table(table);
        uint64_t id = 0;
        for (const size_t size : sizes_of(c)) {
            const LobKey key{1, ++id, 1};
            db_.insert(table_,
                       {number(static_cast<int64_t>(id)),
                        db_.store_lob(table_, 1, stored_data(db_, table_, c, key, size), c.placement)});
        }
        db_.insert(table_, {number(static_cast<int64_t>(++id)), std::nullopt});
        db_.finish();
    }

    // The value of a row as CSV has it, whatever its quotes.
    std::string expected(uint64_t id, size_t size) const {
        const LobKey key{1, id, 1};
        if (case_.type == BLOB_TYPE)
            return hex(lob_bytes(key, size));
        return utf8_text(lob_characters(key, size, db_.lob_is_wide(table_, 1)));
    }

    const Database &db() const { return db_; }

private:
    LobCase case_;
    Database db_;
    size_t table_ = 0;
};

class Lobs : public testing::TestWithParam<LobCase> {};

TEST_P(Lobs, ComeBackWhole) {
    const LobCase &c = GetParam();
    const scratch_dir dir;
    const LobDatabase database(dir.file("db"), c);
    const run_result result = run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--eol", "lf"}));
    EXPECT_EQ(result.status, 0) << result.describe();
    std::string csv = "ID,DATA\n";
    uint64_t id = 0;
    for (const size_t size : sizes_of(c)) {
        ++id;
        const std::string value = database.expected(id, size);
        const bool plain = value.find_first_of(",\"\n\r") == std::string::npos && !value.empty() &&
                           value[0] != '\\' && value.size() <= (1 << 20);
        const bool is_hex = c.type == BLOB_TYPE && !value.empty();
        csv += std::to_string(id) + "," + (plain || is_hex ? value : quoted(value)) + "\n";
    }
    csv += std::to_string(++id) + ",\n";
    const auto outputs = read_outputs(dir.file("out"));
    ASSERT_EQ(outputs.size(), 1u);
    EXPECT_TRUE(outputs.begin()->second == csv) << "the output is not what it should be";
}

TEST_P(Lobs, InFilesOfTheirOwn) {
    const LobCase &c = GetParam();
    const scratch_dir dir;
    const LobDatabase database(dir.file("db"), c);
    const run_result result = run_rescue(
        unload_arguments(dir.file("db"), dir.file("out"), {"--eol", "lf", "--lobs", "files", "--jobs", "3"}));
    EXPECT_EQ(result.status, 0) << result.describe();
    auto outputs = read_outputs(dir.file("out"));
    uint64_t id = 0;
    std::string csv = "ID,DATA\n";
    for (const size_t size : sizes_of(c)) {
        char name[64];
        std::snprintf(name, sizeof name, "SCOTT.T.lobs/DATA/000/%09d.%s", static_cast<int>(++id),
                      c.type == BLOB_TYPE ? "bin" : "txt");
        csv += std::to_string(id) + "," + name + "\n";
        const Bytes bytes = lob_bytes({1, id, 1}, size);
        const std::string content =
            c.type == BLOB_TYPE ? std::string(bytes.begin(), bytes.end()) : database.expected(id, size);
        ASSERT_TRUE(outputs.contains(name)) << name;
        EXPECT_TRUE(outputs[name] == content) << name;
        outputs.erase(name);
    }
    csv += std::to_string(++id) + ",\n";
    EXPECT_EQ(outputs, (std::map<std::string, std::string>{{"SCOTT.T.csv", csv}}));
}

LobStorage basic(bool in_row = true, uint32_t chunk_blocks = 1, bool count_blocks = false) {
    LobStorage storage;
    storage.in_row = in_row;
    storage.chunk_blocks = chunk_blocks;
    storage.count_blocks = count_blocks;
    return storage;
}

LobStorage secure(bool in_row = true, bool compress = false) {
    LobStorage storage;
    storage.secure = true;
    storage.in_row = in_row;
    storage.compress = compress;
    return storage;
}

LobPlacement old_versions() {
    LobPlacement placement;
    placement.old_versions = 2;
    return placement;
}

INSTANTIATE_TEST_SUITE_P(
    Storage, Lobs,
    testing::Values(LobCase{"BasicFile", basic()}, LobCase{"BasicFileNotInRow", basic(false)},
                    LobCase{"ChunksOfTwoBlocks", basic(true, 2)},
                    LobCase{"ChunksOfTwoBlocksCountingBlocks", basic(true, 2, true)},
                    LobCase{"ChunksOfFourBlocksNotInRow", basic(false, 4)},
                    LobCase{"ChunksOfFourBlocksNotInRowCountingBlocks", basic(false, 4, true)},
                    LobCase{"ManualSegments", basic(), BLOB_TYPE, "AL32UTF8", {}, SegmentKind::freelist},
                    LobCase{"OldVersions", basic(false), BLOB_TYPE, "AL32UTF8", old_versions()},
                    LobCase{"WideCharacters", basic(), CLOB_TYPE},
                    LobCase{"WideCharactersNotInRow", basic(false), CLOB_TYPE},
                    LobCase{"SingleByteCharacters", basic(), CLOB_TYPE, "WE8ISO8859P1"},
                    LobCase{"SecureFile", secure()}, LobCase{"SecureFileNotInRow", secure(false)},
                    LobCase{"SecureFileCompressed", secure(true, true)},
                    LobCase{"SecureFileCharacters", secure(), CLOB_TYPE}),
    [](const auto &test) { return test.param.name; });

TEST(Lobs, NoneLeavesTheirColumnsEmpty) {
    const scratch_dir dir;
    const LobDatabase database(dir.file("db"), LobCase{"", basic()});
    const run_result result =
        run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--eol", "lf", "--lobs", "none"}));
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_TRUE(read_text(dir.file("out/SCOTT.T.csv")).starts_with("ID,DATA\n1,\n2,\n3,\n"));
}

TEST(Lobs, LimitCutsTextWithAMark) {
    const scratch_dir dir;
    const LobCase c{"", basic(), CLOB_TYPE, "WE8ISO8859P1"};
    const LobDatabase database(dir.file("db"), c);
    const run_result result = run_rescue(unload_arguments(
        dir.file("db"), dir.file("out"), {"--eol", "lf", "--lobs", "files", "--lob-limit", "1k"}));
    EXPECT_EQ(result.status, 0) << result.describe();
    const std::string cut = read_text(dir.file("out/SCOTT.T.lobs/DATA/000/000000003.txt"));
    EXPECT_TRUE(cut.ends_with("[cut]"));
    EXPECT_LE(cut.size(), 1024u + 5u);
    EXPECT_TRUE(database.expected(3, 1982).starts_with(cut.substr(0, cut.size() - 5)));
    EXPECT_EQ(read_text(dir.file("out/SCOTT.T.lobs/DATA/000/000000002.txt")), database.expected(2, 1));
}

TEST(Lobs, ALostPageMakesTheRowSuspect) {
    const scratch_dir dir;
    const LobDatabase database(dir.file("db"), LobCase{"", basic()});
    // The blocks of the LOB segment are those of its own type; one that holds page 3 of a LOB is damaged.
    const std::string path = database.db().datafiles().back();
    const std::string image = read_text(path);
    constexpr size_t BLOCK = 8192;
    size_t damaged = 0;
    for (size_t at = 0; at + BLOCK <= image.size() && damaged == 0; at += BLOCK)
        if (image[at] == 0x28 && image[at + 44] == 3)
            damaged = at;
    ASSERT_NE(damaged, 0u);
    patch_file(path, damaged + 100, vexlo_test::bytes{0xDE, 0xAD});
    const run_result result = run_rescue(unload_arguments(dir.file("db"), dir.file("out"), {"--eol", "lf"}));
    EXPECT_EQ(result.status, 1) << result.describe();
    const std::string suspect = read_text(dir.file("out/SCOTT.T.suspect.csv"));
    EXPECT_TRUE(suspect.starts_with("_BLOCK,_SLOT,_REASON,ID,DATA\n"));
    EXPECT_NE(suspect.find(",blocks of the LOB are lost,"), std::string::npos);
    EXPECT_NE(result.err.find("blocks of the LOB are lost, 8132 bytes are missing"), std::string::npos)
        << result.err;
}

} // namespace
