#include <array>

#include "format/cache_header.h"
#include "rescue/block_census.h"
#include "rescue_fixture.h"

using namespace rescue_test;
using namespace vexlo;

namespace {

constexpr uint32_t BLOCK_SIZE = 8192;

BlockKind kind_of_type(uint8_t type, uint8_t flags = 0, uint8_t transaction_type = 1) {
    sample::CacheHeader header;
    header.type = type;
    header.flags = flags;
    sample::Bytes block = sample::empty_block(BLOCK_SIZE, header);
    block[CACHE_HEADER_SIZE] = transaction_type;
    BlockCensus census;
    census.add(7, block.data(), Health::sound);
    for (size_t i = 0; i < BLOCK_KINDS; ++i)
        if (census.kinds[i] == 1)
            return static_cast<BlockKind>(i);
    return BlockKind::bad;
}

uint64_t count(const BlockCensus &census, BlockKind kind) {
    return census.kinds[static_cast<size_t>(kind)];
}

using CensusTest = RescueTest;

} // namespace

TEST(BlockCensus, TypesAreKinds) {
    EXPECT_EQ(kind_of_type(0x06), BlockKind::table);
    EXPECT_EQ(kind_of_type(0x06, 0, 2), BlockKind::index);
    EXPECT_EQ(kind_of_type(0x06, 0, 5), BlockKind::lob);
    EXPECT_EQ(kind_of_type(0x1B), BlockKind::lob);
    EXPECT_EQ(kind_of_type(0x28), BlockKind::lob);
    for (const uint8_t header : std::to_array<uint8_t>({0x10, 0x23}))
        EXPECT_EQ(kind_of_type(header), BlockKind::segment_header);
    for (const uint8_t map : std::to_array<uint8_t>({0x12, 0x24}))
        EXPECT_EQ(kind_of_type(map), BlockKind::extent_map);
    for (const uint8_t space : std::to_array<uint8_t>({0x0B, 0x16, 0x1D, 0x1E, 0x20, 0x21, 0x22}))
        EXPECT_EQ(kind_of_type(space), BlockKind::space);
    for (const uint8_t undo : std::to_array<uint8_t>({0x02, 0x26}))
        EXPECT_EQ(kind_of_type(undo), BlockKind::undo);
    EXPECT_EQ(kind_of_type(0x3F), BlockKind::other);
    EXPECT_EQ(kind_of_type(0x06, sample::CACHE_FLAG_ENCRYPTED), BlockKind::encrypted);
}

TEST(BlockCensus, RangesJoinWhereTheFaultIsTheSame) {
    BlockCensus census, next;
    census.add_range(5, 1, Health::tail);
    census.add_range(6, 2, Health::tail);
    census.add_range(8, 1, Health::address);
    census.add_range(10, 4, Health::unformatted);
    next.add_range(14, 6, Health::unformatted);
    next.add_range(20, 1, Health::tail);
    census.append(next);
    EXPECT_EQ(census.ranges, (std::vector<HealthRange>{{5, 3, Health::tail},
                                                       {8, 1, Health::address},
                                                       {10, 10, Health::unformatted},
                                                       {20, 1, Health::tail}}));
    EXPECT_EQ(count(census, BlockKind::bad), 5u);
    EXPECT_EQ(count(census, BlockKind::unformatted), 10u);
}

TEST_F(CensusTest, AFileIsTheSameForAnyNumberOfThreads) {
    insert_rows(add_table("T"), 1, 3000);
    db().finish();
    const std::vector<uint32_t> data = blocks_of_type(USERS_FILE, 0x06);
    for (const size_t i : {size_t{2}, size_t{3}})
        patch(USERS_FILE, data.at(i), 5000, {0xFF}, false);
    const auto file = Datafile::open(path_of(USERS_FILE));
    uint64_t seen = 0;
    const BlockCensus one = take_census(*file, 1, false, [&](uint64_t blocks) { seen += blocks; });
    const BlockCensus three = take_census(*file, 3, false, [](uint64_t) {});
    EXPECT_EQ(seen, file->blocks() - 1);
    EXPECT_EQ(one.kinds, three.kinds);
    EXPECT_EQ(one.ranges, three.ranges);
    EXPECT_EQ(count(one, BlockKind::bad), 2u);
    EXPECT_EQ(count(one, BlockKind::table), data.size() - 2);
    EXPECT_EQ(one.ranges.front(), (HealthRange{data[2], 2, Health::check_value}));
    const BlockCensus trusted = take_census(*file, 1, true, [](uint64_t) {});
    EXPECT_EQ(count(trusted, BlockKind::bad), 0u);
}
