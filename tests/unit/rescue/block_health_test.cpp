#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "rescue/block_health.h"
#include "sample/block.h"

using namespace vexlo;

namespace {

constexpr uint32_t RDBA = 0x01000010;

sample::Bytes sealed_block(uint32_t rdba = RDBA) {
    sample::CacheHeader header;
    header.rdba = rdba;
    header.scn_base = 0x00112233;
    header.sequence = 7;
    sample::Bytes block = sample::empty_block(8192, header);
    block[4000] = 0x5A;
    sample::seal_block(block);
    return block;
}

Health health_of(const sample::Bytes &block, bool trust = false, uint32_t rdba = RDBA) {
    return block_health(block.data(), static_cast<uint32_t>(block.size()), rdba, trust);
}

// A block kept as lines of an offset and the bytes from there on.
sample::Bytes read_block_text(const std::string &name) {
    sample::Bytes block(8192);
    std::ifstream in(std::string(TEST_DATA) + "/" + name);
    for (std::string line; std::getline(in, line);) {
        if (line.starts_with("#"))
            continue;
        std::istringstream words(line);
        std::string offset, bytes;
        words >> offset >> bytes;
        for (size_t i = 0; i < bytes.size() / 2; ++i)
            block.at(std::stoul(offset, nullptr, 16) + i) =
                static_cast<uint8_t>(std::stoul(bytes.substr(2 * i, 2), nullptr, 16));
    }
    return block;
}

} // namespace

TEST(BlockHealth, ASealedBlockAtItsPlaceIsSound) {
    EXPECT_EQ(health_of(sealed_block()), Health::sound);
}

TEST(BlockHealth, BlocksThatDatabasesWroteAreSound) {
    EXPECT_EQ(health_of(read_block_text("table_block_10g.txt"), false, 0x01400010), Health::sound);
    EXPECT_EQ(health_of(read_block_text("table_block_19c.txt"), false, 0x03000C36), Health::sound);
}

TEST(BlockHealth, AChangedByteBreaksTheCheckValue) {
    for (const size_t at : {size_t{2}, size_t{100}, size_t{8187}}) {
        sample::Bytes block = sealed_block();
        block[at] ^= 1;
        EXPECT_EQ(health_of(block), Health::check_value) << at;
        EXPECT_EQ(health_of(block, true), Health::sound) << at;
    }
}

TEST(BlockHealth, WithoutACheckValueTheTailTellsAHalfWrittenBlock) {
    sample::Bytes block = sealed_block();
    block[15] = 0;
    EXPECT_EQ(health_of(block), Health::sound);
    for (size_t at = 8188; at < 8192; ++at) {
        sample::Bytes torn = block;
        torn[at] ^= 1;
        EXPECT_EQ(health_of(torn), Health::tail) << at;
        EXPECT_EQ(health_of(torn, true), Health::sound) << at;
    }
}

TEST(BlockHealth, ABlockOfAnotherPlaceIsKnownByItsAddress) {
    EXPECT_EQ(health_of(sealed_block(RDBA + 1)), Health::address);
    EXPECT_EQ(health_of(sealed_block(RDBA + 1), true), Health::address);
}

TEST(BlockHealth, ABlockOfZerosWasNeverWritten) {
    sample::Bytes block(8192);
    EXPECT_EQ(health_of(block), Health::unformatted);
    block[8191] = 1;
    EXPECT_EQ(health_of(block), Health::address);
}

TEST(BlockHealth, ABlockOfNoTypeAtItsPlaceIsUnformatted) {
    sample::CacheHeader header;
    header.type = 0;
    header.rdba = RDBA;
    sample::Bytes block = sample::empty_block(8192, header);
    sample::seal_block(block);
    EXPECT_EQ(health_of(block), Health::unformatted);
}
