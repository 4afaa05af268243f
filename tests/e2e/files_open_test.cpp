// Opening the datafiles at start-up: each way in which a file is refused, and that of SYSTEM files the last
// counts.
#include <algorithm>
#include <cstdio>

#include <gtest/gtest.h>

#include "files_fixture.h"

namespace vexlo_test {
namespace {

constexpr std::size_t START_SIZE = 40960; // bytes that a datafile has at least
constexpr char OPEN_ERROR[] = "open data files error.\n";
constexpr char NO_SYSTEM[] = "SYSTEM tablespace file not configured.\n";

bytes le32(std::uint32_t v) {
    return {static_cast<std::uint8_t>(v), static_cast<std::uint8_t>(v >> 8),
            static_cast<std::uint8_t>(v >> 16), static_cast<std::uint8_t>(v >> 24)};
}

class FilesOpen : public testing::Test {
protected:
    FilesOpen() : users_(site_.make_datafile("users01.dbf", datafile_info(4))) {
        site_.set_files({site_.system_path(), users_});
    }

    void expect_refused(const std::string &message, run_options options = {}) const {
        expect_start_failure(site_.run({"list files"}, std::move(options)), message + OPEN_ERROR);
    }

    void expect_check_error() const { expect_refused("block 0 of \"" + users_ + "\" check value error.\n"); }

    // Overwrites bytes of a block of users01.dbf and gives the block a right check value again.
    void patch(std::uint32_t block, std::size_t offset, const bytes &data, bool reseal = true) const {
        sample::patch_file(users_, BLOCK_SIZE, block, offset, data, reseal);
    }

    site site_;
    std::string users_;
};

TEST_F(FilesOpen, MissingFile) {
    site_.set_files({site_.system_path(), "/nowhere/users.dbf", users_});
    expect_refused("open /nowhere/users.dbf: No such file or directory\n");
}

TEST_F(FilesOpen, RefusedFile) {
    run_options options;
    options.io_rules = "call=open,path=users01,errno=EACCES";
    expect_refused("open " + users_ + ": Permission denied\n", options);
}

TEST_F(FilesOpen, DirectoryOpensAndCannotBeRead) {
    site_.set_files({site_.system_path(), site_.dict_dir()});
    expect_refused("read " + site_.dict_dir() + ": Is a directory\n");
}

TEST_F(FilesOpen, ReadError) {
    run_options options;
    options.io_rules = "call=read,path=users01,errno=EIO";
    expect_refused("read " + users_ + ": Input/output error\n", options);
}

TEST_F(FilesOpen, ReadErrorBehindAShortRead) {
    run_options options;
    options.io_rules = "call=read,path=users01,nth=1,count=4096;call=read,path=users01,nth=2,errno=EIO";
    expect_refused("read " + users_ + ": Input/output error\n", options);
}

TEST_F(FilesOpen, ShortAndInterruptedReadsAreContinued) {
    for (const char *rules : {"call=read,path=.dbf,count=999", "call=read,path=.dbf,nth=1+2,errno=EINTR",
                              "call=read,path=.dbf,nth=1+2,errno=EINTR;call=read,path=.dbf,count=5000"}) {
        run_options options;
        options.io_rules = rules;
        const run_result result = site_.run({"list files"}, options);
        expect_clean_run(result);
        EXPECT_EQ(result.out, FILE_LIST_HEADER + file_row(datafile_info(1), site_.system_path()) +
                                  file_row(datafile_info(4), users_));
    }
}

TEST_F(FilesOpen, FileOf40960BytesIsLargeEnoughAndOneByteLessIsNot) {
    resize_file(users_, START_SIZE);
    expect_clean_run(site_.run());
    for (const std::size_t size : {START_SIZE - 1, BLOCK_SIZE, std::size_t{0}}) {
        resize_file(users_, size);
        expect_refused(users_ + " size too small.\n");
    }
}

TEST_F(FilesOpen, Block0WithAnyBitChangedHasACheckValueError) {
    patch(0, 100, {0x01}, false);
    expect_check_error();
}

TEST_F(FilesOpen, Block0IsCheckedWhateverTheChecksumSettingSays) {
    patch(0, 100, {0x01}, false);
    const std::string config = read_text(site_.config_path());
    for (const char *setting : {"checksum=YES\n", "checksum=NO\n"}) {
        site_.set_config(config + setting);
        expect_check_error();
    }
}

TEST_F(FilesOpen, OnlyBlock0IsChecked) {
    site_.set_config(read_text(site_.config_path()) + "checksum=YES\n");
    patch(1, 16, {0xFF, 0xFF}, false);
    patch(2, 100, {0x55}, false);
    expect_clean_run(site_.run());
}

TEST_F(FilesOpen, Block0WithoutCheckValueFailsWhateverItsFlagByteSays) {
    for (const std::uint8_t flag : {std::uint8_t{0x00}, std::uint8_t{0x04}}) {
        patch(0, 15, {flag});
        patch(0, 16, {0, 0}, false);
        expect_check_error();
    }
}

TEST_F(FilesOpen, Block0WithCheckValue0PassesWhenItsWordsFoldTo0) {
    const sample::Bytes block(BLOCK_SIZE);
    patch(0, 0, block, false);
    patch(0, 20, le32(BLOCK_SIZE));
    const bytes raw = read_file(users_);
    const bytes check{raw[16], raw[17]};
    patch(0, 30, check, false);
    patch(0, 16, {0, 0}, false);
    expect_clean_run(site_.run());
}

// The header block behind block 0 must lie in the bytes read.
TEST_F(FilesOpen, Block0SizeThatDoesNotFitTheBytesReadIsACheckValueError) {
    for (const std::uint32_t size :
         {40589u, 40959u, 40960u, 40961u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFEu, 0xFFFFFFFFu}) {
        SCOPED_TRACE(size);
        patch(0, 20, le32(size));
        expect_check_error();
    }
}

// Block 0 may end before the place of its check value, which counts all the same.
TEST_F(FilesOpen, Block0Below18BytesIsTakenWhenItsCheckValueMatches) {
    const bytes raw = read_file(users_);
    for (const std::uint32_t size : {0u, 1u, 2u, 8u, 15u, 16u, 17u}) {
        SCOPED_TRACE(size);
        bytes file = raw;
        std::copy_n(raw.begin() + BLOCK_SIZE + 32, 400,
                    file.begin() + size + 32); // what counts of the header
        for (std::size_t at = 0; at < 16; at++)
            file[at] = static_cast<std::uint8_t>(0x35 + 11 * at);
        std::ranges::copy(le32(size), file.begin() + 20);
        file[16] = file[17] = 0;
        for (std::size_t at = 0; at + 1 < size; at++)
            file[16 + at % 2] = static_cast<std::uint8_t>(file[16 + at % 2] ^ file[at]);
        if (size % 2 == 0 && size > 0)
            file[17] = static_cast<std::uint8_t>(file[17] ^ file[size - 1]);
        write_file(users_, file);
        const run_result result = site_.run({"list files"});
        expect_clean_run(result);
        EXPECT_TRUE(result.out.ends_with(file_row(datafile_info(4), users_))) << result.out;
        file[16] ^= 1;
        write_file(users_, file);
        expect_check_error();
    }
}

TEST_F(FilesOpen, BlockSizeThatNoBufferHoldsIsRefused) {
    for (const std::uint32_t size : {0u, 65537u, 0x00800000u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(size);
        patch(1, 48, le32(size));
        expect_refused("block size " + std::to_string(size) + " of \"" + users_ + "\" not supported.\n");
    }
}

TEST_F(FilesOpen, EveryOtherBlockSizeIsTaken) {
    for (const std::uint32_t size :
         {1u, 2u, 511u, 514u, 1000u, 8191u, 32768u, 32770u, 65534u, 65535u, 65536u}) {
        SCOPED_TRACE(size);
        patch(1, 48, le32(size));
        sample::DatafileInfo info = datafile_info(4);
        info.block_size = size;
        const run_result result = site_.run({"list files"});
        expect_clean_run(result);
        EXPECT_TRUE(result.out.ends_with(file_row(info, users_))) << result.out;
    }
}

TEST_F(FilesOpen, FirstRefusedFileEndsTheStart) {
    site_.set_files({"/nowhere/a.dbf", "/nowhere/b.dbf"});
    expect_refused("open /nowhere/a.dbf: No such file or directory\n");
}

TEST_F(FilesOpen, FilesOpenedBeforeTheRefusedOneAreClosed) {
    site_.set_files({site_.system_path(), users_, "/nowhere/c.dbf"});
    run_options options;
    options.io_rules = "call=close,path=.dbf";
    options.io_log = site_.path("io.log");
    expect_refused("open /nowhere/c.dbf: No such file or directory\n", options);
    EXPECT_EQ(read_text(options.io_log), "call=close,path=.dbf calls=2 bytes=0\n");
}

TEST_F(FilesOpen, WithoutFileNumber1SystemIsNotConfigured) {
    site_.set_files({users_});
    expect_refused(NO_SYSTEM);
}

TEST_F(FilesOpen, File1WithoutRootAddressIsNoSystemFile) {
    sample::DatafileInfo info = datafile_info(1);
    info.rootdba = 0;
    site_.set_files({site_.make_datafile("rootless.dbf", info)});
    expect_refused(NO_SYSTEM);
}

TEST_F(FilesOpen, OfSeveralFiles1TheLastGivesTheRootAddress) {
    sample::DatafileInfo info = datafile_info(1);
    info.rootdba = 0;
    const std::string rootless = site_.make_datafile("rootless.dbf", info);
    site_.set_files({site_.system_path(), rootless});
    expect_refused(NO_SYSTEM);
    site_.set_files({rootless, site_.system_path()});
    expect_clean_run(site_.run());
}

TEST_F(FilesOpen, RootAddressOfOtherFilesDoesNotCount) {
    sample::DatafileInfo info = datafile_info(4);
    info.rootdba = 0x01000009;
    site_.set_files({site_.make_datafile("rooted.dbf", info)});
    expect_refused(NO_SYSTEM);
}

TEST_F(FilesOpen, IdentityComesFromTheHeaderBlock) {
    std::string expected = FILE_LIST_HEADER + file_row(datafile_info(1), site_.system_path());
    std::vector<std::string> paths{site_.system_path()};
    for (const std::size_t size : {2048u, 4096u, 16384u, 32768u}) {
        sample::DatafileInfo info = datafile_info(6);
        info.rfn = 9;
        info.tsn = 7;
        info.block_size = size;
        paths.push_back(site_.make_datafile(std::to_string(size) + ".dbf", info));
        const std::uint32_t blocks = static_cast<std::uint32_t>(std::max<std::size_t>(8, START_SIZE / size));
        char row[100];
        std::snprintf(row, sizeof row, "%-6d%-10d%-16d%-10u%-12zu", 7, 6, 9, blocks, size);
        expected += row + paths.back() + "\n";
    }
    site_.set_files(paths);
    const run_result result = site_.run({"list files"});
    expect_clean_run(result);
    EXPECT_EQ(result.out, expected);
}

} // namespace
} // namespace vexlo_test
