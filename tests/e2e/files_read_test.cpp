// Block reading and check values as "export dict" shows them.
#include <cstdio>
#include <filesystem>
#include <map>

#include <gtest/gtest.h>

#include "files_fixture.h"
#include "sample/database.h"

namespace vexlo_test {
namespace {

constexpr std::size_t ROOT_OFFSET = 96; // of the root address in the file header block
constexpr std::uint32_t BLOCK_MASK = 0x3FFFFF;

class FilesRead : public testing::Test {
protected:
    FilesRead() {
        sample::Database db(dir_.path());
        db.finish();
        system_ = db.datafiles().at(0).string();
        config_ = db.config_path().string();
        root_ = root_address();
    }

    void set_checksum(const char *value) const {
        write_text(config_, "dictdir=" + dir_.file("dict") + "\ndatadir=" + dir_.file("data") +
                                "\ndatafiles=" + dir_.file("datafiles.txt") + "\nchecksum=" + value + "\n");
    }

    // What "export dict" says.
    std::string export_reply(const std::string &io_rules = "") const {
        run_options options;
        options.io_rules = io_rules;
        const run_result result = run_vexlo(config_, {"export dict"}, options);
        expect_clean_run(result);
        EXPECT_EQ(result.out, "");
        return replies(result).at(0);
    }

    // Name and content of every dictionary file.
    std::map<std::string, bytes> dictionary() const {
        std::map<std::string, bytes> files;
        for (const auto &entry : std::filesystem::directory_iterator(dir_.file("dict")))
            files[entry.path().filename().string()] = read_file(entry.path().string());
        return files;
    }

    // Runs the export twice, the second time under the rules, and expects the same dictionary.
    void expect_undisturbed(const std::string &io_rules) const {
        const std::string reply = export_reply();
        const auto files = dictionary();
        EXPECT_EQ(files.size(), 12u);
        EXPECT_EQ(export_reply(io_rules), reply);
        EXPECT_TRUE(dictionary() == files);
    }

    // Changes the SCN of a block, which no reader looks at, and leaves the check value as it was.
    void damage(std::uint32_t rdba) const {
        sample::patch_file(system_, BLOCK_SIZE, rdba & BLOCK_MASK, 8, sample::Bytes{0xAA}, false);
    }

    static std::string failed_extent(std::uint32_t rdba) {
        char text[100];
        std::snprintf(text, sizeof text, "read extent rdba=%x error.\nCommand \"export\" execute error.\n",
                      rdba);
        return text;
    }

    static std::string mismatch(std::uint32_t rdba) {
        char text[100];
        std::snprintf(text, sizeof text, "block rdba=0x%x check value not matched.\n", rdba);
        return text;
    }

    scratch_dir dir_;
    std::string system_;
    std::string config_;
    std::uint32_t root_ = 0;

private:
    std::uint32_t root_address() const {
        const bytes raw = read_file(system_);
        std::uint32_t address = 0;
        for (std::size_t i = 4; i-- > 0;)
            address = address << 8 | raw.at(BLOCK_SIZE + ROOT_OFFSET + i);
        return address;
    }
};

TEST_F(FilesRead, InterruptedReadsAreRepeated) {
    expect_undisturbed("call=pread,nth=1+2,errno=EINTR");
}

TEST_F(FilesRead, ShortReadsAreContinuedAtTheRunningOffset) {
    expect_undisturbed("call=pread,count=5003");
}

TEST_F(FilesRead, InterruptedAndShortReadsTogether) {
    expect_undisturbed("call=pread,nth=1+3,errno=EINTR;call=pread,count=4096");
}

TEST_F(FilesRead, ReadErrorNamesTheFileAndFailsTheCommandOnly) {
    EXPECT_EQ(export_reply("call=pread,errno=EIO"),
              "read \"" + system_ + "\": Input/output error\n" + failed_extent(root_));
}

TEST_F(FilesRead, ReadErrorInTheMiddleOfARunIsAnError) {
    EXPECT_EQ(export_reply("call=pread,nth=1,count=100;call=pread,nth=2,errno=EIO"),
              "read \"" + system_ + "\": Input/output error\n" + failed_extent(root_));
}

TEST_F(FilesRead, WrongCheckValueIsReportedInLowerCaseHexadecimal) {
    set_checksum("YES");
    damage(root_);
    EXPECT_EQ(export_reply(), mismatch(root_) + failed_extent(root_));
}

TEST_F(FilesRead, WrongCheckValueInsideARunNamesItsOwnBlock) {
    set_checksum("YES");
    damage(root_ + 2);
    EXPECT_EQ(export_reply(), mismatch(root_ + 2) + failed_extent(root_));
}

TEST_F(FilesRead, OfSeveralWrongBlocksTheFirstIsReported) {
    set_checksum("yes");
    damage(root_ + 3);
    damage(root_ + 2);
    EXPECT_EQ(export_reply(), mismatch(root_ + 2) + failed_extent(root_));
}

TEST_F(FilesRead, WithoutCheckingWrongCheckValuesDoNotMatter) {
    set_checksum("NO");
    const std::string reply = export_reply();
    const auto files = dictionary();
    damage(root_);
    damage(root_ + 1);
    EXPECT_EQ(export_reply(), reply);
    EXPECT_TRUE(dictionary() == files);
}

TEST_F(FilesRead, BlockWithoutCheckValueFailsWhateverItsFlagByteSays) {
    set_checksum("YES");
    sample::patch_file(system_, BLOCK_SIZE, root_ & BLOCK_MASK, 15, sample::Bytes{0x00}, true);
    sample::patch_file(system_, BLOCK_SIZE, root_ & BLOCK_MASK, 16, sample::Bytes{0x00, 0x00}, false);
    EXPECT_EQ(export_reply(), mismatch(root_) + failed_extent(root_));
}

TEST_F(FilesRead, RunOfBlocksIsOneSystemRead) {
    run_options options;
    options.io_rules = "call=pread,min=" + std::to_string(2 * BLOCK_SIZE) + ";call=pread";
    options.io_log = dir_.file("io.log");
    expect_clean_run(run_vexlo(config_, {"export dict"}, options));
    const std::string log = read_text(options.io_log);
    unsigned runs = 0;
    unsigned long run_bytes = 0;
    ASSERT_EQ(std::sscanf(log.c_str(), "%*s calls=%u bytes=%lu", &runs, &run_bytes), 2) << log;
    EXPECT_GE(runs, 12u);
    EXPECT_GE(run_bytes, runs * 2 * BLOCK_SIZE);
}

TEST_F(FilesRead, DatafilesAreNeverWritten) {
    const bytes before = read_file(system_);
    run_options options;
    options.io_rules = "call=write|pwrite,path=.dbf";
    options.io_log = dir_.file("io.log");
    expect_clean_run(run_vexlo(config_, {"export dict", "load dict", "unload user sys"}, options));
    EXPECT_EQ(read_text(options.io_log), "call=write|pwrite,path=.dbf calls=0 bytes=0\n");
    EXPECT_TRUE(read_file(system_) == before);
}

} // namespace
} // namespace vexlo_test
