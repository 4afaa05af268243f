// Following a row from piece to piece: where chains end that lead nowhere or come back.
#include <filesystem>

#include "segment_fixture.h"

using namespace unload_unit;

namespace {

const Row ROW{text("a"), text("b")};

class UnloadBrokenChain : public SegmentTest {
protected:
    static constexpr uint32_t AWAY = 20;

    UnloadBrokenChain() { columns(plain_columns(2)); }

    // A row whose first value stands in its head; the chain behind it leads nowhere.
    void expect_gathered(RowAddress next) {
        store_pieces(2, {piece(H | F, {text("a")}, next), piece(H | F | L, ROW)});
        expect_rows(dump_builder().row({text("a")}).row(ROW).raw, damaged_row(2, 0), 2);
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
    expect_rows(dump_builder().row({text("a")}).raw, damaged_row(2, 0), 1);
}

TEST_F(UnloadBrokenChain, BlockBehindTheEndOfTheFileEndsTheRow) {
    expect_gathered(at(100000));
}

TEST_F(UnloadBrokenChain, PieceThatLeadsToItselfEndsTheRow) {
    columns(plain_columns(5));
    store_pieces(AWAY, {piece(0, {text("b")}, at(AWAY))});
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_builder().row(ROW).row(ROW).raw, damaged_row(2, 0), 2);
}

TEST_F(UnloadBrokenChain, ChainOfTwoThatComesBackEndsTheRow) {
    columns(plain_columns(5));
    store_pieces(AWAY, {piece(0, {text("b")}, at(AWAY + 1))});
    store_pieces(AWAY + 1, {piece(0, {text("c")}, at(AWAY))});
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_builder().row({text("a"), text("b"), text("c")}).row(ROW).raw, damaged_row(2, 0), 2);
}

TEST_F(UnloadBrokenChain, ChainThatComesBackToItsHeadEndsTheRow) {
    columns(plain_columns(5));
    store_pieces(AWAY, {piece(0, {text("b")}, at(2, 0))});
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY)), piece(H | F | L, ROW)});
    expect_rows(dump_builder().row(ROW).row(ROW).raw, damaged_row(2, 0), 2);
}

TEST_F(UnloadBrokenChain, StubThatLeadsToItselfEndsTheRow) {
    store_pieces(2, {piece(H, {}, at(2, 0)), piece(H | F | L, ROW)});
    expect_rows(dump_builder().row_end().row(ROW).raw, damaged_row(2, 0), 2);
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
        const Bytes begin = dump_builder().row(row).raw;
        ASSERT_GE(got.rows.size(), begin.size());
        EXPECT_TRUE(std::equal(begin.begin(), begin.end() - 2, got.rows.begin()));
        if (!loops) {
            EXPECT_EQ(got.rows, dump_builder().row(row).row(ROW).raw);
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
        expect_rows(dump_builder().row(row).row(ROW).raw, damaged_row(2, 0), 2);
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
    expect_rows(dump_builder().row(row).row(ROW).raw, "", 2);
}

// A chain of more than 1024 pieces is read ahead to its end, without checks: the block that stood there last
// is verified all the same when the row comes to it.
TEST_F(UnloadBrokenChain, CheckValueOfALongChainIsVerified) {
    constexpr uint32_t pieces = 1025;
    columns(plain_columns(pieces + 1));
    g_ctx.par.flag |= PAR_CHECKSUM;
    for (uint32_t i = 0; i < pieces; i++) {
        const bool last = i + 1 == pieces;
        sample::TableBlock blk = block(AWAY + i);
        blk.add(piece(last ? L : 0, {text("v")}, last ? std::nullopt : std::optional(at(AWAY + i + 1))));
        Bytes raw = blk.finish();
        raw[200] = static_cast<uint8_t>(raw[200] + (last ? 1 : 0));
        store(at(AWAY + i).rdba, raw);
    }
    store_pieces(2, {piece(H | F, {text("a")}, at(AWAY))});
    const Outcome got = unload(2);
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, "block rdba=0x1400414 check value not matched.\n" + std::string(SEGMENT_FAILED));
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
    dump_builder rows;
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
    expect_rows(dump_builder().row(ROW).row({text("c")}).row(ROW).raw, damaged_row(2, 1), 3);
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
    expect_rows(dump_builder().row({text("a"), text("b1")}).row(ROW).raw, damaged_row(2, 0), 2);
}

TEST_F(UnloadBrokenChain, LongValueKeepsThePartsThatWereFound) {
    columns({column(), column(TYPE_LONG)});
    store_pieces(2, {piece(H | F | N, {text("a"), text("long")}, at(100000))});
    expect_rows(dump_builder().value("a").long_mark().row_end().long_block(text("long")).raw,
                damaged_row(2, 0), 1);
}

// The pieces that are read ahead, to find out whether a long chain comes back, count like those that are
// taken.
TEST_F(UnloadBrokenChain, PiecesReadAheadOfALongChainAreCounted) {
    constexpr uint32_t in_block = 150, pieces = 10 * in_block, heads = 10;
    for (uint32_t i = 0; i < pieces; i += in_block) {
        std::vector<Bytes> block;
        for (uint32_t k = i + 1; k <= i + in_block; k++)
            block.push_back(k == pieces
                                ? piece(L, {})
                                : piece(0, {}, at(AWAY + k / in_block, static_cast<uint16_t>(k % in_block))));
        store_pieces(AWAY + i / in_block, block);
    }
    store_pieces(2, std::vector<Bytes>(heads, piece(H | F, {text("a")}, at(AWAY))));
    const size_t whole = std::filesystem::file_size(file_name(RFN)) / (2 * pieces * PIECE_HEADER);
    ASSERT_GT(whole, 0U);
    ASSERT_LT(heads * pieces * PIECE_HEADER, std::filesystem::file_size(file_name(RFN)));
    dump_builder rows;
    std::string told;
    for (uint32_t i = 0; i < heads; i++) {
        rows.row({text("a")});
        told += i < whole ? "" : damaged_row(2, static_cast<int>(i));
    }
    expect_rows(rows.raw, told, heads);
}

} // namespace
