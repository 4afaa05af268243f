// Damaged blocks, rows and chains: what is left out, what stays, and the line that says so.
#include "unload_segment_fixture.h"

#include <filesystem>

using namespace unload_unit;

namespace {

class UnloadDamage : public SegmentTest {
protected:
    static constexpr uint32_t AWAY = 20;

    UnloadDamage() { columns(plain_columns(2)); }

    // Unloads what was stored: damage is no failure.
    void expect_rows(const Bytes &rows, const std::string &err, uint32_t nrow) {
        const Outcome got = unload();
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.err, err);
        EXPECT_EQ(got.rows, rows);
        EXPECT_EQ(nrow_, nrow);
    }
};

const Row ROW{text("a"), text("b")};

// A whole row whose second value claims to be longer than any block.
Bytes overlong() {
    return {H | F | L, 0, 2, 1, 'a', 0xFE, 0xFF, 0xFF, 'b'};
}

TEST_F(UnloadDamage, ValueThatLeavesTheBlockLeavesTheRowOut) {
    store_pieces(2, {piece(H | F | L, ROW), overlong(), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row(ROW).row(ROW).raw, damaged_row(2, 1), 2);
}

TEST_F(UnloadDamage, RowNumberCountsTheDirectoryEntriesOfTheTable) {
    tab_.tabn = 1;
    sample::TableBlock blk = block(2, 2);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    blk.add_free(1);
    Bytes bad = overlong();
    bad.insert(bad.begin() + 3, uint8_t{0});
    blk.add(bad, 1);
    store(blk);
    expect_rows({}, damaged_row(2, 1), 0);
}

TEST_F(UnloadDamage, PieceOutsideTheBlockLeavesTheRowOut) {
    for (int16_t offset : {int16_t{30000}, int16_t{-200}, int16_t{0}, int16_t{1947}}) {
        sample::TableBlock blk = block(2);
        blk.add(piece(H | F | L, ROW));
        blk.add_raw_offset(offset);
        blk.add(piece(H | F | L, ROW));
        store(blk);
        expect_rows(dump_bytes().row(ROW).row(ROW).raw, damaged_row(2, 1), 2);
    }
}

TEST_F(UnloadDamage, DirectoryThatLeavesTheBlockEndsWithItsFirstLostEntry) {
    sample::TableBlock blk = block(2);
    blk.add(piece(H | F | L, ROW));
    Bytes raw = blk.finish();
    constexpr size_t table_rows = 44 + 2 * 24 + 8 + 14 + 2;
    sample::store_le16(&raw[table_rows], 0x7FFF);
    store(at(2).rdba, raw);
    store_pieces(3, {piece(H | F | L, ROW)});
    const Outcome got = unload();
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.rows, dump_bytes().row(ROW).row(ROW).raw);
    EXPECT_TRUE(got.err.starts_with(damaged_row(2, 1))) << got.err;
}

TEST_F(UnloadDamage, HeadersThatLeaveTheBlockLeaveItOut) {
    sample::TableBlock blk = block(2);
    blk.add(piece(H | F | L, ROW));
    Bytes raw = blk.finish();
    raw[36] = 0xFF; // ITL entries
    store(at(2).rdba, raw);
    store_pieces(3, {piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row(ROW).raw, "block rdba=0x01400002 damaged, skip this block.\n", 1);
}

TEST_F(UnloadDamage, KeyRowThatIsNotInTheBlockLeavesTheRowOut) {
    tab_.tabn = 1;
    columns({column(VARCHAR2, 0x10000), column()});
    sample::TableBlock blk = block(2, 2);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    PieceHead head;
    head.key_index = 250;
    blk.add(sample::encode_piece(head, Row{text("a")}), 1);
    head.key_index = 0;
    blk.add(sample::encode_piece(head, Row{text("b")}), 1);
    store(blk);
    expect_rows(dump_bytes().row({text("k"), text("b")}).raw, damaged_row(2, 0), 1);
}

TEST_F(UnloadDamage, KeyValueThatLeavesTheBlockLeavesTheRowOut) {
    tab_.tabn = 1;
    columns({column(VARCHAR2, 0x10000), column()});
    sample::TableBlock blk = block(2, 2);
    Bytes key = sample::encode_key_piece({}, Row{text("kk")});
    key[19] = 0xFD;
    blk.add(key, 0);
    PieceHead head;
    head.key_index = 0;
    blk.add(sample::encode_piece(head, Row{text("a")}), 1);
    store(blk);
    expect_rows({}, damaged_row(2, 0), 0);
}

// A row outside a cluster has no key to take a value from.
TEST_F(UnloadDamage, KeyColumnOutsideAClusterLeavesTheRowOut) {
    columns({column(VARCHAR2, COL_CLUSTER_KEY), column()});
    store_pieces(2, {piece(H | F | L, ROW)});
    expect_rows({}, damaged_row(2, 0), 0);
}

// The first piece stored ends with the block's four bytes of tail.
TEST_F(UnloadDamage, LengthFFOfACutValueThatLeavesItsBlockLeavesTheRowOut) {
    columns(plain_columns(1));
    for (const size_t missing : {0U, 1U}) {
        Bytes raw{P | L, 0, 1, 0xFF};
        raw.resize(raw.size() + 255 - sample::TAIL_SIZE - missing);
        store_pieces(AWAY, {raw});
        store_pieces(2, {piece(H | F | N, {text("a")}, at(AWAY)), piece(H | F | L, {text("b")})});
        const Outcome got = unload();
        EXPECT_EQ(got.err, missing != 0 ? damaged_row(2, 0) : "");
        EXPECT_EQ(nrow_, 2U - missing);
    }
}

TEST_F(UnloadDamage, ValueThatLeavesAFollowedBlockLeavesTheWholeRowOut) {
    Bytes bad = overlong();
    bad[0] = L;
    bad[2] = 1;
    bad.erase(bad.begin() + 3, bad.begin() + 5);
    store_pieces(AWAY, {bad});
    store_pieces(2, {piece(H | F | L, ROW), piece(H | F, {text("lost")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row(ROW).row(ROW).raw, damaged_row(2, 1), 2);
}

TEST_F(UnloadDamage, CutValueThatLeavesItsBlockLeavesTheWholeRowOut) {
    store_pieces(AWAY, {Bytes{P | L, 0, 1, 0xFE, 0xFF, 0xFF, 'b'}});
    store_pieces(2, {piece(H | F | N, {text("a"), text("b")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row(ROW).raw, damaged_row(2, 0), 1);
}

// What a chained row has flushed already is taken back with the rest of it.
TEST_F(UnloadDamage, RowThatWasFlushedInPartIsLeftOutOfTheFile) {
    use_block_size(32768);
    constexpr uint32_t bad_block = 400, pieces = 140;
    columns(plain_columns(1000));
    for (uint32_t i = 0; i < pieces; i++)
        store_pieces(bad_block - pieces + i,
                     {piece(0, {Bytes(32000, 0x33)}, at(bad_block - pieces + i + 1))});
    store_pieces(bad_block, {Bytes{L, 0, 1, 0xFE, 0xFF, 0xFF, 'x'}});
    store_pieces(2, {piece(H | F | L, ROW), piece(H | F, {text("lost")}, at(bad_block - pieces)),
                     piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row(ROW).row(ROW).raw, damaged_row(2, 1), 2);
}

// A hundred lines are enough to tell of a damaged segment: the rest is counted. The next segment has its own
// hundred.
TEST_F(UnloadDamage, LinesBehindTheHundredthOfASegmentAreCounted) {
    sample::TableBlock blk = block(2);
    for (int i = 0; i < 103; i++)
        blk.add_raw_offset(-1);
    blk.add(piece(H | F | L, ROW));
    store(blk);
    std::string want;
    for (int i = 0; i < 100; i++)
        want += damaged_row(2, i);
    want += "3 more damaged rows or blocks.\n";
    for (int run = 0; run < 2; run++)
        expect_rows(dump_bytes().row(ROW).raw, want, 1);
}

class UnloadBrokenChain : public UnloadDamage {
protected:
    // A row whose first value stands in its head; the chain behind it leads nowhere.
    void expect_gathered(RowAddress next) {
        store_pieces(2, {piece(H | F, {text("a")}, next), piece(H | F | L, ROW)});
        expect_rows(dump_bytes().row({text("a")}).row(ROW).raw, damaged_row(2, 0), 2);
    }
};

TEST_F(UnloadBrokenChain, SlotThatDoesNotExistEndsTheRow) {
    store_pieces(AWAY, {piece(L, {text("b")})});
    expect_gathered(at(AWAY, 1));
    expect_gathered(at(AWAY, 0xFFFF));
}

TEST_F(UnloadBrokenChain, TableThatTheBlockLacksEndsTheRow) {
    tab_.tabn = 1;
    columns(plain_columns(2));
    store_pieces(AWAY, {piece(L, {text("b")})});
    sample::TableBlock blk = block(2, 2);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    PieceHead head;
    head.flags = H | F;
    head.key_index = 0;
    head.next = at(AWAY);
    blk.add(sample::encode_piece(head, Row{text("a")}), 1);
    store(blk);
    expect_rows(dump_bytes().row({text("a")}).raw, damaged_row(2, 0), 1);
}

TEST_F(UnloadBrokenChain, BlockBehindTheEndOfTheFileEndsTheRow) {
    expect_gathered(at(100000));
}

TEST_F(UnloadBrokenChain, PieceThatLeadsToItselfEndsTheRow) {
    columns(plain_columns(5));
    store_pieces(AWAY, {piece(0, {text("b")}, at(AWAY))});
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row(ROW).row(ROW).raw, damaged_row(2, 0), 2);
}

TEST_F(UnloadBrokenChain, ChainOfTwoThatComesBackEndsTheRow) {
    columns(plain_columns(5));
    store_pieces(AWAY, {piece(0, {text("b")}, at(AWAY + 1))});
    store_pieces(AWAY + 1, {piece(0, {text("c")}, at(AWAY))});
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row({text("a"), text("b"), text("c")}).row(ROW).raw, damaged_row(2, 0), 2);
}

TEST_F(UnloadBrokenChain, ChainThatComesBackToItsHeadEndsTheRow) {
    columns(plain_columns(5));
    store_pieces(AWAY, {piece(0, {text("b")}, at(2, 0))});
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row(ROW).row(ROW).raw, damaged_row(2, 0), 2);
}

TEST_F(UnloadBrokenChain, StubThatLeadsToItselfEndsTheRow) {
    store_pieces(2, {piece(H, {}, at(2, 0)), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row_end().row(ROW).raw, damaged_row(2, 0), 2);
}

// A sound chain is followed however long it is, and a loop behind a long way is found as well.
TEST_F(UnloadBrokenChain, LongChainIsFollowedToItsEndOrItsLoop) {
    for (bool loops : {false, true}) {
        constexpr uint32_t pieces = 600;
        columns(plain_columns(2 * pieces));
        Row row{text("a")};
        for (uint32_t i = 0; i < pieces; i++) {
            const Row value{text(std::to_string(i))};
            row.push_back(value[0]);
            const bool last = i + 1 == pieces;
            if (last && !loops)
                store_pieces(AWAY + i, {piece(L, value)});
            else
                store_pieces(AWAY + i, {piece(0, value, at(last ? AWAY + 5 : AWAY + i + 1))});
        }
        store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F | L, ROW)});
        const Outcome got = unload();
        EXPECT_EQ(got.result, 0);
        EXPECT_EQ(got.err, loops ? damaged_row(2, 0) : "");
        EXPECT_EQ(nrow_, 2U);
        const Bytes begin = dump_bytes().row(row).raw;
        ASSERT_GE(got.rows.size(), begin.size());
        EXPECT_TRUE(std::equal(begin.begin(), begin.end() - 2, got.rows.begin()));
        if (!loops) {
            EXPECT_EQ(got.rows, dump_bytes().row(row).row(ROW).raw);
        }
    }
}

// The round is longer than any number of pieces that could be kept in mind, and every piece gives its values
// once.
TEST_F(UnloadBrokenChain, RoundOfManyPiecesGivesEachOfThemOnce) {
    constexpr uint32_t in_block = 50, pieces = 130 * in_block;
    for (const uint32_t back_to : {0U, 1U, 1023U, 1024U, 1025U, 5000U, pieces - 1}) {
        SCOPED_TRACE(back_to);
        const auto place = [](uint32_t i) {
            return at(AWAY + i / in_block, static_cast<uint16_t>(i % in_block));
        };
        columns(plain_columns(2 * pieces));
        Row row{text("a")};
        std::vector<Bytes> block;
        for (uint32_t i = 0; i < pieces; i++) {
            row.push_back(text(std::to_string(i)));
            block.push_back(piece(0, {row.back()}, place(i + 1 < pieces ? i + 1 : back_to)));
            if (block.size() == in_block) {
                store_pieces(place(i).rdba & 0x3FFFFF, block);
                block.clear();
            }
        }
        store_pieces(2, {piece(H | F, {text("a")}, place(0)), piece(H | F | L, ROW)});
        expect_rows(dump_bytes().row(row).row(ROW).raw, damaged_row(2, 0), 2);
    }
}

// As long a chain that ends is followed to its end.
TEST_F(UnloadBrokenChain, ManyPiecesThatEndAreFollowedToTheLast) {
    constexpr uint32_t in_block = 50, pieces = 50 * in_block;
    columns(plain_columns(pieces + 1));
    Row row{text("a")};
    for (uint32_t i = 0; i < pieces; i += in_block) {
        std::vector<Bytes> block;
        for (uint32_t k = i; k < i + in_block; k++) {
            row.push_back(text(std::to_string(k)));
            const RowAddress next = at(AWAY + (k + 1) / in_block, static_cast<uint16_t>((k + 1) % in_block));
            const bool last = k + 1 == pieces;
            block.push_back(piece(last ? L : 0, {row.back()}, last ? std::nullopt : std::optional(next)));
        }
        store_pieces(AWAY + i / in_block, block);
    }
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row(row).row(ROW).raw, "", 2);
}

// A chain that is read ahead for its round has its check values verified all the same.
TEST_F(UnloadBrokenChain, CheckValueOfALongChainIsVerified) {
    constexpr uint32_t pieces = 1100, wrong = 1050;
    columns(plain_columns(pieces + 1));
    g_ctx.par.flag |= PAR_CHECKSUM;
    for (uint32_t i = 0; i < pieces; i++) {
        sample::TableBlock blk = block(AWAY + i);
        blk.add(piece(0, {text("v")}, at(AWAY + (i + 1 < pieces ? i + 1 : 0))));
        Bytes raw = blk.finish();
        raw[200] = static_cast<uint8_t>(raw[200] + (i == wrong ? 1 : 0));
        store(at(AWAY + i).rdba, raw);
    }
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY))});
    const Outcome got = unload(2);
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, "block rdba=0x140042e check value not matched.\n" + std::string(SEGMENT_FAILED));
}

// Rows that together follow more pieces than the files have room for repeat each other.
TEST_F(UnloadBrokenChain, MorePiecesThanTheFilesHaveRoomForEndTheRows) {
    constexpr size_t heads = 120, pieces = 80;
    use_block_size(4096);
    columns(plain_columns(pieces + 1));
    Row row{text("a")};
    std::vector<Bytes> chain;
    for (size_t i = 0; i < pieces; i++) {
        row.push_back(text("v"));
        const bool last = i + 1 == pieces;
        chain.push_back(piece(last ? L : 0, {text("v")},
                              last ? std::nullopt : std::optional(at(3, static_cast<uint16_t>(i + 1)))));
    }
    store_pieces(3, chain);
    store_pieces(2, std::vector<Bytes>(heads, piece(H | F, {text("a")}, at(3))));
    const size_t room = vexlo_test::read_file(file_name(RFN)).size() / PIECE_HEADER;
    ASSERT_LT(room, heads * pieces);
    dump_bytes rows;
    std::string err;
    for (size_t i = 0, left = room; i < heads; i++) {
        const size_t taken = std::min(left, pieces);
        left -= taken;
        rows.row(Row(row.begin(), row.begin() + 1 + static_cast<ptrdiff_t>(taken)));
        if (taken < pieces)
            err += damaged_row(2, static_cast<int>(i));
    }
    const Outcome got = unload(2);
    EXPECT_EQ(got.result, 0);
    EXPECT_EQ(got.err, err);
    EXPECT_EQ(got.rows, rows.raw);
}

// A block that came in part has overwritten the one followed before.
TEST_F(UnloadBrokenChain, BlockIsReadAgainBehindOneThatTheFileHoldsInPart) {
    constexpr uint32_t cut = 30;
    store_pieces(AWAY, {piece(L, {text("b")})});
    store_pieces(cut, {});
    std::filesystem::resize_file(file_name(RFN), cut * 2048 + 1024);
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F, {text("c")}, at(cut)),
                     piece(H | F, {text("a")}, at(AWAY))});
    expect_rows(dump_bytes().row(ROW).row({text("c")}).row(ROW).raw, damaged_row(2, 1), 3);
}

TEST_F(UnloadBrokenChain, FreeEntryEndsTheRow) {
    sample::TableBlock blk = block(AWAY);
    blk.add_free(); // its link, 30, points behind it, into the directory
    for (int i = 1; i < 30; i++)
        blk.add(piece(L, {text("b")}));
    blk.add_free();
    store(blk);
    expect_gathered(at(AWAY, 0));
    expect_gathered(at(AWAY, 30));
}

// What was gathered of a cut value stays too.
TEST_F(UnloadBrokenChain, CutValueKeepsThePartsThatWereFound) {
    store_pieces(2, {piece(H | F | N, {text("a"), text("b1")}, at(100000)), piece(H | F | L, ROW)});
    expect_rows(dump_bytes().row({text("a"), text("b1")}).row(ROW).raw, damaged_row(2, 0), 2);
}

TEST_F(UnloadBrokenChain, LongValueKeepsThePartsThatWereFound) {
    columns({column(), column(8)});
    store_pieces(2, {piece(H | F | N, {text("a"), text("long")}, at(100000))});
    expect_rows(dump_bytes().value("a").long_mark().row_end().long_block(text("long")).raw, damaged_row(2, 0),
                1);
}

} // namespace
