// Reading runs of blocks: where they are, how much is delivered, and their check values.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <vector>

#include <gtest/gtest.h>

#include "../clean_context.h"
#include "sample/block.h"

namespace vexlo_test {
namespace {

constexpr std::size_t SIZE = 512; // bytes of a block, block 0 included

class FilesReadBlocks : public clean_context {
protected:
    FilesReadBlocks() {
        df_.bsz = SIZE;
        df_.blk0_sz = SIZE;
        df_.fd = -1;
        std::snprintf(df_.name, sizeof df_.name, "%s", path("u.dbf").c_str());
    }

    ~FilesReadBlocks() override {
        if (df_.fd != -1)
            ::close(df_.fd);
    }

    // A file of block 0 and `blocks` sealed blocks, each with its number in its address field.
    void make_file(std::uint32_t blocks) {
        bytes file(df_.blk0_sz, 0xEE);
        for (std::uint32_t b = 1; b <= blocks; b++) {
            const sample::Bytes block = numbered(b);
            file.insert(file.end(), block.begin(), block.end());
        }
        open_file(file);
    }

    void open_file(const bytes &file) {
        write_file(path("u.dbf"), file);
        df_.fd = ::open(df_.name, O_RDONLY | O_CLOEXEC);
        ASSERT_NE(df_.fd, -1);
    }

    static sample::Bytes numbered(std::uint32_t number) {
        sample::CacheHeader header;
        header.rdba = number;
        sample::Bytes block = sample::empty_block(SIZE, header);
        sample::seal_block(block);
        return block;
    }

    // Number of the block in the buffer.
    std::uint32_t number_at(std::size_t index) const {
        std::uint32_t number = 0;
        for (std::size_t i = 4; i-- > 0;)
            number = number << 8 | buffer_[index * SIZE + 4 + i];
        return number;
    }

    // Reads with an expectation of what is said.
    int read(std::uint32_t rdba, int blocks, const std::string &message = "") {
        int result = 0;
        EXPECT_EQ(messages_of([&] { result = read_extent_blocks(&df_, rdba, blocks, buffer_.data()); }),
                  message);
        return result;
    }

    DATAFILE df_{};
    bytes buffer_ = bytes(8 * SIZE, 0xCD);
};

struct place {
    std::uint32_t flag, blk0_sz, bsz, rdba, offset;
};

TEST(FilesBlockOffset, IsBlock0AndTheBlocksBetweenIn32Bits) {
    for (const place &p : {
             place{0, 8192, 8192, 0x01000010, 131072},                    // file 4, block 16
             place{DF_BIGFILE, 8192, 8192, 0x01000010, 131072},           // block 16777232, wrapped
             place{0, 8192, 8192, 0x00400001, 8192},                      // the header block
             place{0, 512, 8192, 0x00400001, 512},                        // a smaller block 0
             place{0, 512, 8192, 0x00400003, 512 + 2 * 8192},             //
             place{0, 8192, 2048, 0xFFC00002, 8192 + 2048},               // highest file number
             place{0, 8192, 8192, 0x00480001, 8192},                      // first block beyond 4 GiB
             place{DF_BIGFILE, 8192, 8192, 0x0007FFFF, 0xFFFFE000},       // last block before it
             place{DF_BIGFILE, 8192, 8192, 0x00080000, 0},                //
             place{DF_BIGFILE, 8192, 8192, 0x00400002, 16384},            // all bits are block number
             place{DF_BIGFILE | DF_MARKED, 2048, 2048, 0x00200003, 6144}, //
             place{DF_MARKED, 8192, 8192, 0x00800002, 16384},             // the marker bit changes nothing
             place{0, 8192, 8192, 0x00400000, 0},                         // block 0, one before block 1
         }) {
        DATAFILE df{};
        df.flag = p.flag;
        df.blk0_sz = p.blk0_sz;
        df.bsz = p.bsz;
        EXPECT_EQ(block_offset(&df, p.rdba), p.offset) << std::hex << p.rdba;
    }
}

TEST_F(FilesReadBlocks, RunIsDeliveredWithItsLength) {
    make_file(6);
    EXPECT_EQ(read(0x01000002, 3), static_cast<int>(3 * SIZE));
    for (std::uint32_t i = 0; i < 3; i++)
        EXPECT_EQ(number_at(i), 2 + i);
    EXPECT_EQ(buffer_[3 * SIZE], 0xCD);
}

TEST_F(FilesReadBlocks, FileNumberOfASmallfileAddressIsMaskedOff) {
    make_file(6);
    for (const std::uint32_t file : {0u, 1u, 4u, 1023u}) {
        EXPECT_EQ(read(make_rdba(file, 5), 1), static_cast<int>(SIZE));
        EXPECT_EQ(number_at(0), 5u);
    }
}

TEST_F(FilesReadBlocks, BigfileAddressWrapsAt4GiB) {
    make_file(6);
    df_.flag = DF_BIGFILE;
    EXPECT_EQ(read(0x00800004, 1), static_cast<int>(SIZE));
    EXPECT_EQ(number_at(0), 4u);
}

TEST_F(FilesReadBlocks, Block0OfAnotherSizeShiftsEveryBlock) {
    df_.blk0_sz = 4096;
    make_file(3);
    EXPECT_EQ(read(2, 1), static_cast<int>(SIZE));
    EXPECT_EQ(number_at(0), 2u);
}

TEST_F(FilesReadBlocks, WithoutCheckingAReadAtTheEndIsShort) {
    make_file(4);
    EXPECT_EQ(read(3, 4), static_cast<int>(2 * SIZE));
    EXPECT_EQ(read(5, 1), 0);
    EXPECT_EQ(read(4000, 2), 0);
    EXPECT_EQ(buffer_[2 * SIZE], 0xCD);
}

TEST_F(FilesReadBlocks, WithoutCheckingAPartOfABlockIsCountedInBytes) {
    make_file(4);
    resize_file(path("u.dbf"), 4 * SIZE + 100);
    EXPECT_EQ(read(3, 4), static_cast<int>(SIZE + 100));
}

TEST_F(FilesReadBlocks, WithoutCheckingWrongCheckValuesAndTheFieldItselfStay) {
    make_file(2);
    patch_file(path("u.dbf"), SIZE + 16, {0xBE, 0xEF});
    EXPECT_EQ(read(1, 1), static_cast<int>(SIZE));
    EXPECT_EQ(buffer_[16], 0xBE);
    EXPECT_EQ(buffer_[17], 0xEF);
}

TEST_F(FilesReadBlocks, WithCheckingEveryBlockIsCheckedAndItsFieldCleared) {
    g_ctx.par.flag = PAR_CHECKSUM;
    make_file(4);
    EXPECT_EQ(read(1, 4), static_cast<int>(4 * SIZE));
    for (std::size_t i = 0; i < 4; i++) {
        EXPECT_EQ(buffer_[i * SIZE + 16], 0);
        EXPECT_EQ(buffer_[i * SIZE + 17], 0);
    }
}

TEST_F(FilesReadBlocks, MismatchNamesTheStartingAddressPlusTheBlocksPlace) {
    g_ctx.par.flag = PAR_CHECKSUM;
    make_file(6);
    patch_file(path("u.dbf"), 3 * SIZE + 30, {0x01});
    patch_file(path("u.dbf"), 4 * SIZE + 30, {0x01});
    EXPECT_EQ(read(0x02C00002, 4, "block rdba=0x2c00003 check value not matched.\n"), -1);
    EXPECT_EQ(read(0x02C00003, 1, "block rdba=0x2c00003 check value not matched.\n"), -1);
    EXPECT_EQ(read(0x02C00005, 2), static_cast<int>(2 * SIZE));
}

TEST_F(FilesReadBlocks, WithCheckingAShortReadFailsAtTheUnreadTail) {
    g_ctx.par.flag = PAR_CHECKSUM;
    make_file(4);
    std::fill(buffer_.begin(), buffer_.end(), std::uint8_t{0});
    buffer_[2 * SIZE + 40] = 0x77;
    EXPECT_EQ(read(3, 4, "block rdba=0x5 check value not matched.\n"), -1);
}

// What an earlier read left in the buffer never stands in for a block that was not delivered.
TEST_F(FilesReadBlocks, WithCheckingSoundBytesInTheUnreadTailDoNotMatch) {
    g_ctx.par.flag = PAR_CHECKSUM;
    make_file(4);
    for (std::size_t i = 0; i < 4; i++) {
        const sample::Bytes stale = numbered(100);
        std::copy(stale.begin(), stale.end(), buffer_.begin() + static_cast<std::ptrdiff_t>(i * SIZE));
    }
    EXPECT_EQ(read(3, 4, "block rdba=0x5 check value not matched.\n"), -1);
}

TEST_F(FilesReadBlocks, ReadErrorNamesTheFile) {
    make_file(1);
    ::close(df_.fd);
    df_.fd = ::open(path("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    EXPECT_EQ(read(1, 1, "read \"" + path("u.dbf") + "\": Is a directory\n"), -1);
}

} // namespace
} // namespace vexlo_test
