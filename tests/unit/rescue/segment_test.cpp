#include "format/block_address.h"
#include "rescue/segment.h"
#include "rescue_fixture.h"

using namespace rescue_test;
using namespace vexlo;

namespace {

constexpr uint8_t HEADER_TYPE = 0x23;
constexpr uint8_t MAP_TYPE = 0x24;
constexpr size_t HEADER_MAP = 264; // place of the extent map in a header, and in a map block
constexpr size_t BLOCK_MAP = 20;

sample::Bytes word(uint32_t value) {
    sample::Bytes bytes(4);
    sample::store_le32(bytes.data(), value);
    return bytes;
}

// A table of many extents, whose map does not fit into its header.
class SegmentTest : public RescueTest {
protected:
    SegmentTest() {
        sample::TableDef def = table_def(scott(), "T", users());
        def.segment.extent_blocks = 4;
        def.segment.map_entries = 3;
        table_ = db().add_table(def);
        for (const TextRow &row : all_rows())
            db().insert(table_, {sample::number(std::stoi(row[0])), sample::text(row[1])});
        other_ = add_table("OTHER");
        insert_rows(other_, 1, 3000);
        db().finish();
    }

    static std::vector<TextRow> all_rows() {
        std::vector<TextRow> rows = numbered_rows(1, LAST);
        for (TextRow &row : rows)
            row[1] += std::string(300, 'x');
        return rows;
    }
    ReadDatabase reopen(ReadOptions options = {}) { return ReadDatabase(paths(), options); }
    uint32_t header() { return header_block(table_); }

    static constexpr int LAST = 3000;
    size_t table_;
    size_t other_;
};

} // namespace

TEST_F(SegmentTest, MapsLeadToAllRowsInOrder) {
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.rows, all_rows());
    EXPECT_TRUE(read.suspects.empty());
    EXPECT_TRUE(read.tally.losses.empty());
    EXPECT_EQ(read.tally.counts.data, blocks_of_type(USERS_FILE, TABLE_BLOCKS, object_of(table_)).size());
    EXPECT_EQ(read.tally.counts.foreign, 0u);
}

TEST_F(SegmentTest, WithoutMapsTheFilesAreGoneThrough) {
    ReadOptions options;
    options.ignore_maps = true;
    const TableRows read = reopen(options).read("T");
    EXPECT_EQ(read.rows, all_rows());
    EXPECT_TRUE(read.tally.losses.empty());
}

TEST_F(SegmentTest, ALostHeaderCostsItsBlockAlone) {
    destroy(USERS_FILE, header());
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.rows, all_rows());
    ASSERT_EQ(read.tally.losses.size(), 1u);
    EXPECT_EQ(read.tally.losses[0].block, header());
    EXPECT_EQ(read.tally.losses[0].blocks, 1u);
    EXPECT_EQ(read.tally.losses[0].file, 2u);
}

TEST_F(SegmentTest, AHeaderOfZerosIsLostToo) {
    patch(USERS_FILE, header(), 0, sample::Bytes(DB_BLOCK_SIZE), false);
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.rows, all_rows());
    ASSERT_EQ(read.tally.losses.size(), 1u);
    EXPECT_EQ(read.tally.losses[0].kind, LossKind::address);
}

TEST_F(SegmentTest, ALostMapBlockCostsNoRows) {
    const std::vector<uint32_t> maps = blocks_of_type(USERS_FILE, MAP_TYPE);
    ASSERT_GT(maps.size(), 3u);
    destroy(USERS_FILE, maps[1]);
    TableRows read = reopen().read("T");
    std::sort(read.rows.begin(), read.rows.end());
    std::vector<TextRow> expected = all_rows();
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(read.rows, expected);
    ASSERT_EQ(read.tally.losses.size(), 1u);
    EXPECT_EQ(read.tally.losses[0].block, maps[1]);
}

TEST_F(SegmentTest, AMapChainThatLoopsIsLeftAndNoRowComesTwice) {
    const std::vector<uint32_t> maps = blocks_of_type(USERS_FILE, MAP_TYPE);
    patch(USERS_FILE, maps[2], BLOCK_MAP + 4, word(make_rdba(2, maps[0])));
    TableRows read = reopen().read("T");
    std::sort(read.rows.begin(), read.rows.end());
    std::vector<TextRow> expected = all_rows();
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(read.rows, expected);
}

TEST_F(SegmentTest, MapsThatClaimTheSameBlocksAgainAndAgainAreLeft) {
    const uint32_t end =
        static_cast<uint32_t>(std::filesystem::file_size(path_of(USERS_FILE)) / DB_BLOCK_SIZE);
    for (size_t entry = 0; entry < 3; ++entry) {
        patch(USERS_FILE, header(), HEADER_MAP + 16 + 8 * entry, word(make_rdba(2, 2)));
        patch(USERS_FILE, header(), HEADER_MAP + 16 + 8 * entry + 4, word(end - 2));
    }
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.rows, all_rows());
    EXPECT_EQ(read.tally.losses, (std::vector<Loss>{{LossKind::address, users(), 2, 2, header(), 1}}));
}

TEST_F(SegmentTest, SegmentsThatShareABudgetAreLedToNoMoreBlocksThanTheirTablespaceHasRoomFor) {
    const uint64_t end = std::filesystem::file_size(path_of(USERS_FILE)) / DB_BLOCK_SIZE;
    patch(USERS_FILE, header(), HEADER_MAP + 16, word(make_rdba(2, 2)));
    patch(USERS_FILE, header(), HEADER_MAP + 16 + 4, word(static_cast<uint32_t>(end - 2)));
    ReadDatabase database = reopen();
    const TableSegment segment = database.dictionary.segments(database.table("T")).front();
    const auto budget = std::make_shared<BlockBudget>(database.files, users());
    uint64_t mapped = 0, scanned = 0;
    for (int i = 0; i < 20; ++i) {
        SegmentRuns runs(database.files, database.scans, segment.segment, {}, budget);
        for (BlockRun run; runs.next(run);)
            (run.scanned ? scanned : mapped) += run.count;
        EXPECT_EQ(runs.was_scanned(), i > 0) << i;
    }
    EXPECT_LE(mapped, 2 * end);
    EXPECT_LE(scanned, 2 * end);
    EXPECT_GT(scanned, 0u);
}

// Behind its three extents the header has nothing but zeros.
TEST_F(SegmentTest, AMapThatClaimsMoreExtentsThanItHasIsLost) {
    for (const uint32_t claimed : {5u, 0xFFFFu}) {
        patch(USERS_FILE, header(), HEADER_MAP, word(claimed));
        const TableRows read = reopen().read("T");
        EXPECT_EQ(read.rows, all_rows());
        EXPECT_EQ(read.tally.losses, (std::vector<Loss>{{LossKind::address, users(), 2, 2, header(), 1}}));
    }
}

TEST_F(SegmentTest, AHeaderOfAnotherSegmentIsNotBelieved) {
    patch(USERS_FILE, header(), HEADER_MAP + 8, word(object_of(other_)));
    EXPECT_EQ(reopen().read("T").rows, all_rows());
}

TEST_F(SegmentTest, AnExtentBehindTheEndOfItsFileIsALoss) {
    patch(USERS_FILE, header(), HEADER_MAP + 16 + 4, word(0xFFFFFFFF)); // length of the first extent
    const TableRows read = reopen().read("T");
    const uint64_t end = std::filesystem::file_size(path_of(USERS_FILE)) / DB_BLOCK_SIZE;
    ASSERT_EQ(read.tally.losses.size(), 1u);
    EXPECT_EQ(read.tally.losses[0], (Loss{LossKind::unreadable, users(), 2, 2, end, (1u << 22) - end}));
    EXPECT_EQ(read.rows.size(), static_cast<size_t>(LAST)); // each block once
    EXPECT_NE(read.tally.counts.foreign, 0u);
}

TEST_F(SegmentTest, AnExtentInAMissingFileIsALoss) {
    const uint32_t rdba = load_le32(block(USERS_FILE, header()).data() + HEADER_MAP + 16 + 8);
    patch(USERS_FILE, header(), HEADER_MAP + 16 + 8,
          word(make_rdba(77, 130))); // address of the second extent
    ReadDatabase open = reopen();
    const TableRows read = open.read("T");
    ASSERT_EQ(read.tally.losses.size(), 1u);
    EXPECT_EQ(read.tally.losses[0], (Loss{LossKind::missing_file, users(), 0, 77, 130, 4}));
    EXPECT_EQ(open.files.missing(), (std::vector<MissingFile>{{users(), 77}}));
    EXPECT_LT(read.rows.size(), static_cast<size_t>(LAST));
    EXPECT_NE(rdba, 0u);
}

TEST_F(SegmentTest, EncryptedBlocksThatAScanMeetsBesideTheSegmentAreCounted) {
    const std::vector<uint32_t> blocks = blocks_of_type(USERS_FILE, TABLE_BLOCKS, object_of(table_));
    constexpr uint8_t CHECKED_AND_ENCRYPTED = 0x14;
    patch(USERS_FILE, blocks[20], 15, {CHECKED_AND_ENCRYPTED});
    patch(USERS_FILE, blocks[20], 24, word(0xC1FE77E4));
    ReadOptions options;
    options.ignore_maps = true;
    ReadDatabase open = reopen(options);
    EXPECT_EQ(open.read("T").tally.counts.encrypted, 1u);
    EXPECT_EQ(open.read("OTHER").tally.counts.encrypted, 0u);
}

TEST_F(SegmentTest, BlocksOfAnotherTableAreForeign) {
    const std::vector<uint32_t> blocks = blocks_of_type(USERS_FILE, TABLE_BLOCKS, object_of(table_));
    patch(USERS_FILE, blocks[1], 24, word(object_of(other_)));
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.tally.counts.foreign, 1u);
    EXPECT_EQ(read.tally.counts.older, 0u);
    EXPECT_TRUE(read.tally.losses.empty());
    EXPECT_LT(read.rows.size(), static_cast<size_t>(LAST));
}

TEST_F(SegmentTest, LostBlocksAreRangesOfTheirKind) {
    const std::vector<uint32_t> blocks = blocks_of_type(USERS_FILE, TABLE_BLOCKS, object_of(table_));
    // Two blocks side by side, one for itself.
    size_t pair = 0;
    while (blocks[pair + 1] != blocks[pair] + 1)
        ++pair;
    const uint32_t alone = blocks[pair + 8];
    for (const uint32_t number : {blocks[pair], blocks[pair] + 1, alone})
        patch(USERS_FILE, number, 5000, {0xEE, 0xEE, 0xEE}, false);
    const TableRows read = reopen().read("T");
    EXPECT_EQ(read.tally.losses, (std::vector<Loss>{{LossKind::check_value, users(), 2, 2, blocks[pair], 2},
                                                    {LossKind::check_value, users(), 2, 2, alone, 1}}));
    EXPECT_FALSE(read.suspects.empty());
    for (const SuspectRow &row : read.suspects)
        EXPECT_EQ(row.fault, RowFault::check_value);
    EXPECT_EQ(read.rows.size() + read.suspects.size(), static_cast<size_t>(LAST));
    ReadOptions trusting;
    trusting.trust_blocks = true;
    EXPECT_TRUE(reopen(trusting).read("T").tally.losses.empty());
}

TEST_F(SegmentTest, WhenTheFilesAreGoneThroughLostBlocksBesideTheSegmentCount) {
    const std::vector<uint32_t> blocks = blocks_of_type(USERS_FILE, TABLE_BLOCKS, object_of(table_));
    destroy(USERS_FILE, header());
    destroy(USERS_FILE, blocks[20]);
    const std::vector<uint32_t> others = blocks_of_type(USERS_FILE, TABLE_BLOCKS, object_of(other_));
    destroy(USERS_FILE, others[others.size() / 2]); // between blocks of the other table
    const TableRows read = reopen().read("T");
    std::vector<uint64_t> lost;
    for (const Loss &loss : read.tally.losses)
        lost.push_back(loss.block);
    EXPECT_EQ(lost, (std::vector<uint64_t>{header(), blocks[20]}));
}
