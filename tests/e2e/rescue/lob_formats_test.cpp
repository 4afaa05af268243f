// LOBs too long to be held in memory, empty ones and NULL, in every format, as its own readers give them.
#include <filesystem>
#include <sstream>

#include "lob_rows.h"
#include "programs.h"
#include "sample/lob_data.h"
#include "values/base64.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr size_t MIB = 1 << 20;

std::string json_text(const std::string &text) {
    return Json(text).dump();
}

class LobFormats : public LobRows {
protected:
    // Unloads in a format and gives what its reader reads, a JSON array a row.
    std::string read_back(const std::string &reader, const std::string &file, const std::string &table,
                          std::vector<std::string> format) {
        format.push_back("--overwrite");
        unload(format);
        EXPECT_EQ(result_.status, 0) << result_.describe();
        run_options options;
        options.output_limit = 64 * MIB;
        options.time_limit = std::chrono::minutes(2);
        const run_result read =
            run_process({PYTHON_PROGRAM, READ_BACK_SCRIPT, reader, dir_.file("out/" + file), table}, options);
        EXPECT_EQ(read.status, 0) << read.describe();
        return read.out;
    }

    // The same as it should be; bytes are written by `form`.
    template <class FORM>
    static std::string expected(FORM form) {
        std::string all = "[\"ID\",\"C\",\"B\",\"N\",\"E\"]\n";
        for (size_t id = 1; id <= ROWS.size(); ++id) {
            const auto bytes = [&](uint32_t column) {
                return size_of(id, column) ? json_text(form(bytes_of(id, column))) : "null";
            };
            const std::string number = std::to_string(id);
            all += "[\"" + number + "\"," + (size_of(id, 1) ? json_text(text_of(id)) : "null") + "," +
                   bytes(2) + ",\"" + number + "\"," + bytes(4) + "]\n";
        }
        return all;
    }
};

TEST_F(LobFormats, LongOnesEmptyOnesAndNull) {
    const std::string hex = expected([](const Bytes &bytes) { return to_hex(bytes); });
    const std::string base64 = expected([](const Bytes &bytes) {
        std::string text(vexlo::base64_size(bytes.size()), '\0');
        vexlo::write_base64({reinterpret_cast<const char *>(bytes.data()), bytes.size()}, text.data());
        return text;
    });
    EXPECT_TRUE(read_back("sqlite", "rescue.sqlite", "SCOTT.T", {"--to", "sqlite"}) == hex);
    EXPECT_TRUE(read_back("sqlite-sql", "SCOTT.T.sql", "T", {"--to", "sql", "--dialect", "sqlite"}) == hex);
    EXPECT_TRUE(read_back("sqlldr", "SCOTT.T.ctl", "", {"--to", "sqlldr"}) == hex);
    EXPECT_TRUE(read_back("sqlldr", "SCOTT.T.ctl", "", {"--to", "sqlldr", "--lobs", "files"}) == hex);
    EXPECT_TRUE(read_back("jsonl", "SCOTT.T.jsonl", "", {"--to", "jsonl"}) == base64);
}

// A LOB much longer than the memory that the program may have.
TEST(LobMemory, NoLobIsHeldWhole) {
    if (is_sanitized(program_path("vexlo-rescue")))
        GTEST_SKIP() << "sanitizers reserve more addresses than the limit";
    constexpr size_t SIZE = 100000000;
    constexpr unsigned long ADDRESSES = 96 << 20;
    const scratch_dir dir;
    {
        Database db(dir.file("db"));
        TablespaceDef tablespace;
        tablespace.name = "USERS";
        const uint32_t users = db.add_tablespace(tablespace);
        UserDef user;
        user.name = "SCOTT";
        const uint32_t scott = db.add_user(user);
        const size_t t = db.add_table(
            table_def(scott, "T", users, {number_column("ID"), typed_column("DATA", BLOB_TYPE, 4000)}));
        db.insert(t, {number(1), db.store_lob(t, 1, lob_bytes({1, 1, 1}, SIZE))});
        db.finish();
    }
    const std::vector<std::vector<std::string>> formats = {
        {"--to", "csv"},
        {"--to", "csv", "--dialect", "postgresql"},
        {"--to", "jsonl"},
        {"--to", "sql", "--dialect", "oracle"},
        {"--to", "sql", "--dialect", "postgresql"},
        {"--to", "sql", "--dialect", "sqlite"},
        {"--to", "sqlldr"},
        {"--to", "sqlite"},
        {"--to", "csv", "--lobs", "files"},
    };
    for (std::vector<std::string> arguments : formats) {
        run_options options;
        options.address_space = ADDRESSES;
        options.env = {
            {"MALLOC_ARENA_MAX", "1"}}; // an arena of a thread reserves 64 MiB that it does not use
        options.time_limit = std::chrono::minutes(3);
        arguments.insert(arguments.end(), {"--jobs", "1"});
        const std::string out = dir.file("out");
        const run_result result = run_rescue(unload_arguments(dir.file("db"), out, arguments), options);
        EXPECT_EQ(result.status, 0) << result.describe();
        uintmax_t written = 0;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(out))
            written += entry.is_regular_file() ? entry.file_size() : 0;
        EXPECT_GT(written, SIZE) << arguments[1];
        if (arguments[3] == "files") {
            const Bytes bytes = lob_bytes({1, 1, 1}, SIZE);
            EXPECT_TRUE(read_text(out + "/SCOTT.T.lobs/DATA/000/000000001.bin") ==
                        std::string_view(reinterpret_cast<const char *>(bytes.data()), bytes.size()));
        }
        std::filesystem::remove_all(out);
    }
}

} // namespace
