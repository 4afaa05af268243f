// The walk over a table's segments: header types, chained extent maps, extents, and what makes it fail.
#include "segment_fixture.h"

using namespace unload_unit;

namespace {

constexpr uint8_t FREELIST = sample::BLOCK_SEGMENT_HEADER, ASSM = sample::BLOCK_ASSM_SEGMENT_HEADER;
constexpr uint8_t MAP = sample::BLOCK_EXTENT_MAP, ASSM_MAP = sample::BLOCK_ASSM_EXTENT_MAP;

class UnloadSegment : public SegmentTest {
protected:
    UnloadSegment() { columns(plain_columns(1)); }

    static uint32_t rdba(uint32_t block, uint32_t rfn = RFN) { return sample::make_rdba(rfn, block); }

    // Stores a block of one row that tells where it stands, and expects that row next.
    void add_row(uint32_t number, uint32_t rfn = RFN) {
        const Row row{text(std::to_string(rfn) + "/" + std::to_string(number))};
        sample::TableBlock blk = block(number, 1, rfn);
        blk.add(piece(H | F | L, row));
        store(blk);
        expected_.row(row);
    }

    void expect_failure(const std::string &message) {
        const Outcome got = unload();
        EXPECT_EQ(got.result, -1);
        EXPECT_EQ(got.err, message + SEGMENT_FAILED);
    }

    dump_builder expected_;
};

class UnloadHeaderType : public UnloadSegment, public ::testing::WithParamInterface<uint8_t> {};

TEST_P(UnloadHeaderType, HasItsExtentMapInItsPlace) {
    add_row(2);
    add_row(3);
    store_map(rdba(HEADER_BLOCK), GetParam(), {{rdba(2), 2}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

INSTANTIATE_TEST_SUITE_P(All, UnloadHeaderType, ::testing::Values(FREELIST, ASSM, MAP, ASSM_MAP),
                         [](const auto &type) { return "Type" + std::to_string(type.param); });

TEST_F(UnloadSegment, DataBlockAsHeaderIsRejected) {
    store_pieces(HEADER_BLOCK, {piece(H | F | L, {text("a")})});
    expect_failure("error block type: 6\n");
}

// Only the `next` of a map says with 0 that there is nothing to read.
TEST_F(UnloadSegment, HeaderAtAddressZeroIsReadLikeAnyOther) {
    header_block_ = 0;
    use_block_size(2048, DF_BIGFILE);
    expect_failure("error block type: 0\n");
    sample::CacheHeader header;
    header.type = sample::BLOCK_FILE_HEADER;
    store(0, sample::empty_block(2048, header));
    expect_failure("error block type: b\n");
}

TEST_F(UnloadSegment, MapsThatBeginAtAddressZeroAreFollowedToTheirEnd) {
    header_block_ = 0;
    use_block_size(2048, DF_BIGFILE);
    add_row(2);
    add_row(3);
    store_map(0, ASSM, {{2, 1}}, 7);
    store_map(7, ASSM_MAP, {{3, 1}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

TEST_F(UnloadSegment, UnknownHeaderTypeIsShownInHexadecimal) {
    store_map(rdba(HEADER_BLOCK), ASSM, {}, 0);
    Bytes raw(2048);
    raw[0] = 0xAB;
    store(rdba(HEADER_BLOCK), raw);
    expect_failure("error block type: ab\n");
}

TEST_F(UnloadSegment, AllBlocksOfAllExtentsAreReadInOrder) {
    add_row(9);
    add_row(10);
    add_row(4);
    add_row(30);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(9), 3}, {rdba(4), 1}, {rdba(30), 1}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
    EXPECT_EQ(nrow_, 4U);
}

// The header belongs to its first extent and is read again with it; it is no data block.
TEST_F(UnloadSegment, ExtentThatHoldsTheHeaderItself) {
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(HEADER_BLOCK), 2}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

// The blocks of an extent stand where those of the one before stood: a piece there is read from its file.
TEST_F(UnloadSegment, PieceInAnEarlierExtentIsReadFromItsFile) {
    columns(plain_columns(2));
    store_pieces(10, {piece(L, {text("b")})});
    store_pieces(2, {piece(H | F, {text("a")}, at(10))});
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(10), 1}, {rdba(2), 1}}, 0);
    EXPECT_EQ(rows_of_segment(), dump_builder().row({text("a"), text("b")}).raw);
}

TEST_F(UnloadSegment, ExtentOfNoBlocksIsPassedOver) {
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(1, 99), 0}, {rdba(2), 1}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

TEST_F(UnloadSegment, SegmentWithoutExtentsHasNoRows) {
    store_map(rdba(HEADER_BLOCK), ASSM, {}, 0);
    EXPECT_EQ(rows_of_segment(), Bytes{});
}

TEST_F(UnloadSegment, ExtentsInOtherFilesOfTheTablespace) {
    add_file(9, 2048);
    add_row(2);
    add_row(5, 9);
    add_row(3);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}, {rdba(5, 9), 1}, {rdba(3), 1}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

TEST_F(UnloadSegment, MapsChainAcrossBlocksAndFiles) {
    add_file(9, 2048);
    add_row(2);
    add_row(3);
    add_row(4, 9);
    add_row(8);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, rdba(7, 9));
    store_map(rdba(7, 9), ASSM_MAP, {{rdba(3), 1}, {rdba(4, 9), 1}}, rdba(6));
    store_map(rdba(6), MAP, {{rdba(8), 1}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

TEST_F(UnloadSegment, SecondMapBlockOfUnknownTypeFails) {
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, rdba(2));
    expect_failure("error block type: 6\n");
}

TEST_F(UnloadSegment, RowsOfOtherTablespacesFilesAreNotTaken) {
    add_file(9, 2048, TSN + 1);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2, 9), 1}}, 0);
    expect_failure("datafile (ts#=4, rfile#=9) not found.\n");
}

TEST_F(UnloadSegment, MissingFileOfTheHeader) {
    store_map(rdba(HEADER_BLOCK), ASSM, {}, 0);
    use_block_size(2048);
    store_map(rdba(HEADER_BLOCK), ASSM, {}, 0);
    tab_.tsn = 1023;
    add_file(9, 2048);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2, 1023), 1}}, 0);
    expect_failure("datafile (ts#=4, rfile#=1023) not found.\n");
}

TEST_F(UnloadSegment, MissingFileOfANextMap) {
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, rdba(7, 300));
    expect_failure("datafile (ts#=4, rfile#=300) not found.\n");
    EXPECT_EQ(nrow_, 1U);
}

TEST_F(UnloadSegment, UnreadableHeaderNamesItsAddress) {
    store_map(rdba(HEADER_BLOCK), ASSM, {}, 0);
    break_file(RFN);
    expect_failure("read \"" + file_name(RFN) +
                   "\": Bad file descriptor\nread extent (ts#=4, rdba=0x01400001) error.\n");
}

TEST_F(UnloadSegment, HeaderThatWasNotDeliveredWholeIsAReadFailure) {
    store_map(rdba(HEADER_BLOCK), ASSM, {}, 0);
    vexlo_test::resize_file(file_name(RFN), 2048 + 2047);
    expect_failure("read extent (ts#=4, rdba=0x01400001) error.\n");
}

TEST_F(UnloadSegment, NextMapBehindTheEndOfItsFileIsAReadFailure) {
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, rdba(0x1234));
    expect_failure("read extent (ts#=4, rdba=0x01401234) error.\n");
}

TEST_F(UnloadSegment, UnreadableExtentNamesItsFirstBlock) {
    add_file(9, 2048);
    break_file(9);
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}, {rdba(3, 9), 8}}, 0);
    expect_failure("read \"" + file_name(9) +
                   "\": Bad file descriptor\nread extent (ts#=4, rdba=0x02400003) error.\n");
    EXPECT_EQ(nrow_, 1U);
}

// An extent may run past the end of its file; a block that is there in part is not decoded.
TEST_F(UnloadSegment, ExtentPastTheEndOfTheFileIsDecodedAsFarAsItGoes) {
    add_row(2);
    add_row(3);
    store_pieces(4, {piece(H | F | L, {text("in part")})});
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 3000000}, {rdba(2), 1}}, 0);
    vexlo_test::resize_file(file_name(RFN), 4 * 2048 + 2047);
    expected_.row({text("5/2")});
    EXPECT_EQ(rows_of_segment(), expected_.raw);
    EXPECT_EQ(nrow_, 3U);
}

TEST_F(UnloadSegment, ExtentWhollyBehindTheEndOfTheFileIsPassedOver) {
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(900), 8}, {rdba(2), 1}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

TEST_F(UnloadSegment, ExtentLongerThanTheReadBuffer) {
    use_block_size(32768);
    for (uint32_t number : {2U, 126U, 127U, 128U, 252U, 300U})
        add_row(number);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 299}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

TEST_F(UnloadSegment, BlocksOfEverySize) {
    for (uint32_t bsz : {512U, 514U, 1000U, 2048U, 3001U, 4096U, 8192U, 16384U, 24578U, 32768U}) {
        use_block_size(bsz);
        expected_ = {};
        add_row(2);
        add_row(3);
        EXPECT_EQ(rows_of_segment(3), expected_.raw) << bsz;
    }
}

// The row directory reaches 32 KiB into such a block; a row may go on behind that.
TEST_F(UnloadSegment, BlocksOf64KiB) {
    columns(plain_columns(2));
    for (uint32_t bsz : {65536U, 65535U, 33000U}) {
        const Bytes value = pattern(bsz - 1000);
        use_block_size(bsz);
        store_large_piece(2, bsz, piece(H | F | L, {text("a"), value}));
        expected_ = {};
        expected_.row({text("a"), value});
        EXPECT_EQ(rows_of_segment(), expected_.raw) << bsz;
    }
}

TEST_F(UnloadSegment, TableWithLobColumnsInBlocksOfOddSize) {
    columns({column(), column(TYPE_CLOB), column()});
    tab_.flag = TAB_HAS_LOB;
    use_block_size(2049);
    store_pieces(2, {piece(H | F | L, {text("a"), text("locator"), text("c")})});
    const Outcome got = unload();
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, std::string("LOB type is unsupported in this edition.\n") + SEGMENT_FAILED);
}

// All files of a tablespace have one block size: one with another is none of the segment's.
TEST_F(UnloadSegment, FileOfAnotherBlockSizeIsNotTaken) {
    add_file(9, 4096);
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}, {rdba(2, 9), 1}}, 0);
    expect_failure("datafile (ts#=4, rfile#=9) not found.\n");
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, rdba(2, 9));
    expect_failure("datafile (ts#=4, rfile#=9) not found.\n");
}

// In a bigfile the whole address is the block number.
TEST_F(UnloadSegment, BigfileAddressesAreBlockNumbers) {
    use_block_size(2048, DF_BIGFILE);
    const uint32_t far = (1U << 20) + 5;
    for (uint32_t number : {2U, far})
        add_row(number);
    store_map(HEADER_BLOCK, ASSM, {{2, 1}}, 7);
    store_map(7, ASSM_MAP, {{far, 1}}, 0);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

TEST_F(UnloadSegment, LoopingMapsAreAFailureAndNoHang) {
    for (uint32_t last_next : {HEADER_BLOCK, 6U, 7U}) {
        add_row(2);
        store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, rdba(6));
        store_map(rdba(6), ASSM_MAP, {}, rdba(7));
        store_map(rdba(7), ASSM_MAP, {}, rdba(last_next));
        const Outcome got = unload();
        EXPECT_EQ(got.result, -1);
        EXPECT_NE(got.err.find("loop"), std::string::npos) << got.err;
        EXPECT_TRUE(got.err.ends_with(SEGMENT_FAILED)) << got.err;
        EXPECT_EQ(nrow_, 1U);
    }
}

// Extents that together are larger than all files repeat each other: the walk ends before it repeats for
// ever.
TEST_F(UnloadSegment, ExtentsLargerThanAllFilesAreAFailure) {
    add_row(2);
    store_pieces(6, {});
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 3}, {rdba(2), 3}, {rdba(2), 2}}, 0);
    expect_failure("extent map at rdba=0x01400002 names more blocks than the datafiles hold.\n");
    EXPECT_EQ(nrow_, 2U);
}

TEST_F(UnloadSegment, MapThatClaimsMoreExtentsThanFitsStaysInsideItsBlock) {
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, 0);
    Bytes raw = vexlo_test::read_file(file_name(RFN));
    raw.erase(raw.begin(), raw.begin() + 2048);
    raw.resize(2048);
    sample::store_le32(&raw[264], 0x7FFFFFFF);
    // The tail of the block would be an entry otherwise.
    std::fill(raw.begin() + 2040, raw.end(), uint8_t{0});
    store(rdba(HEADER_BLOCK), raw);
    const Outcome got = unload();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.err, "extent map at rdba=0x01400001 claims more extents than fit into its block.\n");
    EXPECT_EQ(got.rows, expected_.raw);
}

TEST_F(UnloadSegment, NothingOfAFailedSegmentsCacheReachesTheFile) {
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}, {rdba(2, 77), 1}}, 0);
    EXPECT_EQ(unload().file, Bytes{});
}

class UnloadPartitions : public UnloadSegment {
protected:
    static constexpr uint32_t AWAY = 20;

    // Makes the table one of two partitions whose segments begin at HEADER_BLOCK of file RFN of two
    // tablespaces.
    void partition(uint32_t other_tsn) {
        tab_.objn = 77;
        tab_.flag = TAB_PARTITIONED;
        for (TABPART &part : parts_) {
            part.objp = tab_.objn;
            part.fno = RFN;
            part.blk = HEADER_BLOCK;
        }
        parts_[0].tsn = TSN;
        parts_[1].tsn = other_tsn;
        g_ctx.tp = parts_;
        g_ctx.sys.ntp = g_ctx.cap.ntp = 2;
    }

    TABPART parts_[2]{};
};

// The same address in another tablespace is another block.
TEST_F(UnloadPartitions, BlockFollowedInOneSegmentIsNotTakenForThatOfTheNext) {
    constexpr uint32_t OTHER = 9;
    columns(plain_columns(2));
    add_file(OTHER, 2048, TSN + 1);
    for (const uint32_t rfn : {RFN, OTHER}) {
        sample::TableBlock heads = block(2, 1, rfn), away = block(AWAY, 1, rfn);
        heads.add(piece(H | F, {text("a")}, at(AWAY)));
        away.add(piece(L, {text(std::to_string(rfn))}));
        store(heads);
        store(away);
        store_map(rdba(HEADER_BLOCK, rfn), ASSM, {{rdba(2), 1}}, 0);
        expected_.row({text("a"), text(std::to_string(rfn))});
    }
    renumber_file(OTHER, RFN);
    partition(TSN + 1);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

// Partitions whose parents are in no order come out as well, in the order in which they stand.
TEST_F(UnloadPartitions, AreFoundInAnyOrderOfTheirParents) {
    columns(plain_columns(1));
    add_row(2);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, 0);
    expected_.raw.insert(expected_.raw.end(), expected_.raw.begin(), expected_.raw.end());
    partition(TSN);
    TABPART ordered[]{parts_[0], parts_[0], parts_[1], parts_[1]}, mixed[]{parts_[0], parts_[0], parts_[1]};
    ordered[0].objp = tab_.objn - 1;
    ordered[3].objp = tab_.objn + 1;
    mixed[1].objp = tab_.objn - 1;
    for (const std::span<TABPART> parts : {std::span<TABPART>(ordered), std::span<TABPART>(mixed)}) {
        g_ctx.tp = parts.data();
        g_ctx.sys.ntp = g_ctx.cap.ntp = static_cast<uint32_t>(parts.size());
        EXPECT_EQ(find_part_order().tabpart, parts.data() == ordered);
        EXPECT_EQ(rows_of_segment(), expected_.raw);
    }
}

// The pieces that the rows of one segment follow are counted for that segment alone.
TEST_F(UnloadPartitions, PiecesAreCountedForEachSegment) {
    constexpr int heads = 100, pieces = 80;
    columns(plain_columns(pieces + 1));
    Row row{text("a")};
    sample::TableBlock away = block(AWAY), begin = block(2);
    for (uint16_t i = 0; i < pieces; i++) {
        row.push_back(text("v"));
        const bool last = i + 1 == pieces;
        away.add(piece(last ? L : 0, {text("v")},
                       last ? std::nullopt : std::optional(at(AWAY, static_cast<uint16_t>(i + 1)))));
    }
    store(away);
    for (int i = 0; i < heads; i++)
        begin.add(piece(H | F, {text("a")}, at(AWAY)));
    store(begin);
    store_map(rdba(HEADER_BLOCK), ASSM, {{rdba(2), 1}}, 0);
    const size_t room = vexlo_test::read_file(file_name(RFN)).size() / PIECE_HEADER;
    ASSERT_LT(size_t{heads} * pieces, room);
    ASSERT_GT(2 * size_t{heads} * pieces, room);
    partition(TSN);
    for (int i = 0; i < 2 * heads; i++)
        expected_.row(row);
    EXPECT_EQ(rows_of_segment(), expected_.raw);
}

} // namespace
