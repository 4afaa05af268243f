// LOBs in the record of a run, and directories of LOBs as outputs.
#include <filesystem>

#include "recovered_fixture.h"
#include "sample/lob_data.h"

namespace {

using namespace sample;
using namespace vexlo_test;

constexpr size_t LOB_BLOCK = 8192, PAGE = 8132;
constexpr char DIRECTORY[] = "out/SCOTT.T.lobs";

class LobRecord : public Recovered {
protected:
    void SetUp() override {
        open();
        ColumnDef data = typed_column("DATA", BLOB_TYPE, 4000);
        data.lobs.in_row = false;
        table_ = add("T", {number_column("ID"), data});
        for (uint64_t id = 1; id <= 3; ++id)
            db_->insert(table_, {number(static_cast<int64_t>(id)), db_->store_lob(table_, 1, data_of(id))});
        db_->finish();
        finished_ = true;
    }

    static Bytes data_of(uint64_t id) { return lob_bytes({1, id, 1}, 5 * PAGE + id); }
    static std::string text_of(uint64_t id) {
        const Bytes data = data_of(id);
        return {data.begin(), data.end()};
    }
    std::string lob_file(uint64_t id) const {
        return dir_.file(std::string(DIRECTORY) + "/DATA/000/00000000" + std::to_string(id) + ".bin");
    }

    run_result unload_files(const std::vector<std::string> &more = {}) {
        std::vector<std::string> arguments = {"--lobs", "files"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return run_rescue(unload_arguments(dir_.file("db"), dir_.file("out"), arguments));
    }

    // Damages the first block of the users' file that `wanted` chooses; returns its number.
    template <class WANTED>
    uint64_t damage(WANTED wanted) {
        const std::string image = read_text(users_file());
        for (size_t at = LOB_BLOCK; at + LOB_BLOCK <= image.size(); at += LOB_BLOCK)
            if (wanted(image.data() + at)) {
                patch_file(users_file(), at + 100, vexlo_test::bytes{0xDE, 0xAD});
                return at / LOB_BLOCK;
            }
        ADD_FAILURE() << "no such block";
        return 0;
    }

    void expect_loss(uint64_t block) {
        const Json losses = record("T").at("losses");
        const auto is_it = [&](const Json &loss) {
            return loss.at("kind") == "check value" && loss.at("block") == block && loss.at("blocks") == 1;
        };
        EXPECT_EQ(std::count_if(losses.begin(), losses.end(), is_it), 1) << losses.dump();
    }

    size_t table_ = 0;
};

TEST_F(LobRecord, NamesTheDirectoryWithItsFiles) {
    EXPECT_EQ(unload_files().status, 0);
    const Json lobs = record("T").at("lobs");
    EXPECT_EQ(lobs.at("not_whole"), 0);
    ASSERT_EQ(lobs.at("files").size(), 1u);
    EXPECT_EQ(lobs.at("files")[0].at("path"), "SCOTT.T.lobs");
    EXPECT_EQ(lobs.at("files")[0].at("files"), 3);
    EXPECT_EQ(lobs.at("files")[0].at("bytes"), 15 * PAGE + 6);
}

TEST_F(LobRecord, HasTheBlocksOfLobsThatAreLost) {
    const uint64_t block = damage([](const char *p) { return p[0] == 0x28 && p[44] == 3; });
    EXPECT_EQ(unload_files().status, 1);
    expect_loss(block);
    EXPECT_EQ(record("T").at("lobs").at("not_whole"), 1);
    EXPECT_EQ(record("T").at("lobs").at("missing_bytes"), PAGE);
    EXPECT_EQ(record("T").at("lobs").at("files").size(), 2u);
}

TEST_F(LobRecord, HasTheBlocksOfTheIndexThatAreLost) {
    const uint64_t block = damage([](const char *p) { return p[0] == 0x06 && p[20] == 2; });
    EXPECT_EQ(unload_files().status, 1);
    expect_loss(block);
    EXPECT_EQ(record("T").at("lobs").at("not_whole"), 3); // their lengths are lost
}

TEST_F(LobRecord, ResumeKeepsADirectoryThatIsAsItWasWritten) {
    EXPECT_EQ(unload_files().status, 0);
    const auto written = std::filesystem::last_write_time(lob_file(1));
    EXPECT_EQ(unload_files({"--resume"}).status, 0);
    EXPECT_EQ(std::filesystem::last_write_time(lob_file(1)), written);
}

TEST_F(LobRecord, ResumeWritesADirectoryAgainThatIsNot) {
    EXPECT_EQ(unload_files().status, 0);
    patch_file(lob_file(2), 10, vexlo_test::bytes{0xDE, 0xAD});
    EXPECT_EQ(unload_files({"--resume"}).status, 0);
    EXPECT_TRUE(read_text(lob_file(2)) == text_of(2));
    std::filesystem::remove(lob_file(3));
    EXPECT_EQ(unload_files({"--resume"}).status, 0);
    EXPECT_TRUE(read_text(lob_file(3)) == text_of(3));
}

TEST_F(LobRecord, ResumeClearsAwayAnUnfinishedDirectory) {
    const std::string unfinished = dir_.file("out/.SCOTT.T.lobs.99999.part");
    std::filesystem::create_directories(unfinished + "/DATA/000");
    write_text(unfinished + "/DATA/000/000000001.bin", "x");
    EXPECT_EQ(unload_files({"--resume"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(unfinished));
}

TEST_F(LobRecord, AnExistingDirectoryIsReplacedWhenAskedForAlone) {
    std::filesystem::create_directories(dir_.file(DIRECTORY));
    write_text(dir_.file(std::string(DIRECTORY) + "/old"), "x");
    const run_result refused = unload_files();
    EXPECT_EQ(refused.status, 2);
    EXPECT_NE(refused.err.find("SCOTT.T.lobs exists already"), std::string::npos) << refused.err;
    EXPECT_EQ(read_text(dir_.file(std::string(DIRECTORY) + "/old")), "x");
    EXPECT_EQ(unload_files({"--overwrite"}).status, 0);
    EXPECT_FALSE(std::filesystem::exists(dir_.file(std::string(DIRECTORY) + "/old")));
    EXPECT_TRUE(read_text(lob_file(1)) == text_of(1));
}

TEST_F(LobRecord, ADirectoryWithAnInputInItIsNotReplaced) {
    std::filesystem::create_directories(dir_.file(DIRECTORY));
    const std::string moved = dir_.file(std::string(DIRECTORY) + "/users.dbf");
    std::filesystem::rename(users_file(), moved);
    const run_result result = unload_files({"--files", moved, "--overwrite"});
    EXPECT_EQ(result.status, 2);
    EXPECT_NE(result.err.find("has one of the input files in it"), std::string::npos) << result.err;
    EXPECT_TRUE(std::filesystem::exists(moved));
}

} // namespace
