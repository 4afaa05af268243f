// Rows in several pieces: following the pieces, values cut between them, and the column position.
#include "segment_fixture.h"

using namespace unload_unit;

namespace {

// The head is slot 0 of block 2; the pieces that follow stand in blocks behind the scanned extent.
class UnloadChainedRow : public SegmentTest {
protected:
    static constexpr uint32_t FIRST = 20;

    // Stores one piece a block: the head in block 2, each further one in the next block from FIRST on, linked
    // to each other. A head with F and L has no address.
    void chain(const std::vector<std::pair<uint8_t, Row>> &parts) {
        for (size_t i = 0; i < parts.size(); i++) {
            const uint32_t number = i == 0 ? 2 : FIRST + static_cast<uint32_t>(i) - 1;
            const uint32_t next = FIRST + static_cast<uint32_t>(i);
            const bool last = i + 1 == parts.size();
            sample::TableBlock blk = block(number);
            blk.add(piece(parts[i].first, parts[i].second, last ? std::nullopt : std::optional(at(next))));
            store(blk);
        }
    }

    Bytes rows_of_chain(const std::vector<std::pair<uint8_t, Row>> &parts) {
        chain(parts);
        const Bytes rows = rows_of_segment();
        EXPECT_EQ(nrow_, 1U);
        return rows;
    }
};

TEST_F(UnloadChainedRow, PiecesCutBetweenColumns) {
    columns(plain_columns(5));
    EXPECT_EQ(rows_of_chain({{H | F, {text("a"), text("b")}}, {0, {{}, text("d")}}, {L, {text("e")}}}),
              dump_builder().row({text("a"), text("b"), {}, text("d"), text("e")}).raw);
}

TEST_F(UnloadChainedRow, MigratedRowIsWrittenOnceFromThePieceAtTheAddress) {
    PieceHead moved;
    moved.flags = F | L;
    moved.head_rowid = at(2);
    sample::TableBlock away = block(FIRST);
    away.add(sample::encode_piece(moved, Row{text("a"), text("b")}));
    store(away);
    EXPECT_EQ(rows_of({piece(H, {}, at(FIRST))}), dump_builder().row({text("a"), text("b")}).raw);
    EXPECT_EQ(nrow_, 1U);
}

TEST_F(UnloadChainedRow, MigratedRowInTheScannedExtentIsWrittenOnce) {
    PieceHead moved;
    moved.flags = F | L;
    moved.head_rowid = at(2);
    EXPECT_EQ(rows_of({piece(H, {}, at(2, 1)), sample::encode_piece(moved, Row{text("a")})}),
              dump_builder().row({text("a")}).raw);
    EXPECT_EQ(nrow_, 1U);
}

// A stub's own column count takes nothing from the stub.
TEST_F(UnloadChainedRow, StubWritesNoValues) {
    PieceHead moved;
    moved.flags = F | L;
    moved.head_rowid = at(2);
    sample::TableBlock away = block(FIRST);
    away.add(sample::encode_piece(moved, Row{text("moved")}));
    store(away);
    EXPECT_EQ(rows_of({piece(H, {text("stub"), text("stub")}, at(FIRST))}),
              dump_builder().row({text("moved")}).raw);
}

TEST_F(UnloadChainedRow, MigratedRowThatIsChainedItself) {
    PieceHead moved;
    moved.flags = F | N;
    moved.head_rowid = at(2);
    moved.next = at(FIRST + 1);
    sample::TableBlock away = block(FIRST);
    away.add(sample::encode_piece(moved, Row{text("a"), text("b1")}));
    store(away);
    sample::TableBlock rest = block(FIRST + 1);
    rest.add(piece(L | P, {text("b2")}));
    store(rest);
    EXPECT_EQ(rows_of({piece(H, {}, at(FIRST))}), dump_builder().row({text("a"), text("b1b2")}).raw);
}

// H and L without F is a row of several pieces: the address is read and followed.
TEST_F(UnloadChainedRow, HeadWithLButWithoutFIsFollowed) {
    PieceHead moved;
    moved.flags = F | L;
    moved.head_rowid = at(2);
    sample::TableBlock away = block(FIRST);
    away.add(sample::encode_piece(moved, Row{text("a")}));
    store(away);
    EXPECT_EQ(rows_of({piece(H | L, {}, at(FIRST))}), dump_builder().row({text("a")}).raw);
}

TEST_F(UnloadChainedRow, NextAddressZeroEndsTheRow) {
    EXPECT_EQ(rows_of({piece(H | F, {text("a")}, RowAddress{})}), dump_builder().row({text("a")}).raw);
    EXPECT_EQ(nrow_, 1U);
}

TEST_F(UnloadChainedRow, DFlagAndBlockTypeOfFollowedPiecesAreNotLookedAt) {
    sample::TableBlock away = block(FIRST);
    away.add(piece(D | L, {text("b")}));
    Bytes raw = away.finish();
    raw[0] = 0x20;
    store(at(FIRST).rdba, raw);
    EXPECT_EQ(rows_of({piece(H | F, {text("a")}, at(FIRST))}),
              dump_builder().row({text("a"), text("b")}).raw);
}

TEST_F(UnloadChainedRow, PiecesInAnotherFileOfTheTablespace) {
    add_file(9, 2048);
    sample::TableBlock away = block(7, 1, 9);
    away.add(piece(0, {}, RowAddress{}));
    away.add(piece(L, {text("b")}));
    store(away);
    const RowAddress next{sample::make_rdba(9, 7), 1};
    EXPECT_EQ(rows_of({piece(H | F, {text("a")}, next)}), dump_builder().row({text("a"), text("b")}).raw);
}

TEST_F(UnloadChainedRow, SlotCountsFromTheTablesFirstEntry) {
    tab_.tabn = 2;
    sample::TableBlock away = block(FIRST, 3);
    away.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    away.add(piece(L, {text("table 1")}), 1);
    away.add(piece(L, {text("x")}), 2);
    away.add(piece(L, {text("b")}), 2);
    store(away);
    sample::TableBlock blk = block(2, 3);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    blk.add(piece(F | L, {}), 1);
    PieceHead head;
    head.flags = H | F;
    head.key_index = 0;
    head.next = at(FIRST, 1);
    blk.add(sample::encode_piece(head, Row{text("a")}), 2);
    store(blk);
    EXPECT_EQ(rows_of_segment(), dump_builder().row({text("a"), text("b")}).raw);
}

// Whether the table's own entries reach that far is not asked.
TEST_F(UnloadChainedRow, SlotMayNameAnEntryOfALaterTable) {
    tab_.tabn = 1;
    sample::TableBlock away = block(FIRST, 3);
    away.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    away.add(piece(L, {text("table 1")}), 1);
    away.add(piece(L, {text("b")}), 2);
    store(away);
    PieceHead head;
    head.flags = H | F;
    head.key_index = 0;
    head.next = at(FIRST, 1);
    sample::TableBlock blk = block(2, 2);
    blk.add(sample::encode_key_piece({}, Row{text("k")}), 0);
    blk.add(sample::encode_piece(head, Row{text("a")}), 1);
    store(blk);
    EXPECT_EQ(rows_of_segment(), dump_builder().row({text("a"), text("b")}).raw);
}

TEST_F(UnloadChainedRow, ExtraSixBytesStandInHeadPiecesAlone) {
    tab_.flag = TAB_ROW_DEPENDENCIES;
    columns(plain_columns(2));
    PieceHead head;
    head.flags = H | F;
    head.extra = {9, 9, 9, 9, 9, 9};
    head.next = at(FIRST);
    PieceHead stub;
    stub.flags = H;
    stub.extra = head.extra;
    stub.next = at(FIRST, 1);
    PieceHead moved;
    moved.flags = F | L;
    moved.head_rowid = at(2, 1);
    sample::TableBlock away = block(FIRST);
    away.add(piece(L, {text("b")}));
    away.add(sample::encode_piece(moved, Row{text("c"), text("d")}));
    store(away);
    EXPECT_EQ(rows_of({sample::encode_piece(head, Row{text("a")}), sample::encode_piece(stub, {})}),
              dump_builder().row({text("a"), text("b")}).row({text("c"), text("d")}).raw);
}

TEST_F(UnloadChainedRow, ValueCutOverTwoPieces) {
    columns(plain_columns(2));
    EXPECT_EQ(rows_of_chain({{H | F | N, {text("a"), pattern(300, 1)}}, {L | P, {pattern(40, 2)}}}),
              dump_builder()
                  .row({text("a"),
                        [] {
                            Bytes b = pattern(300, 1), more = pattern(40, 2);
                            b.insert(b.end(), more.begin(), more.end());
                            return b;
                        }()})
                  .raw);
}

TEST_F(UnloadChainedRow, ValueCutOverFourPieces) {
    columns(plain_columns(2));
    EXPECT_EQ(rows_of_chain({{H | F | N, {text("a"), text("b1")}},
                             {P | N, {text("b2")}},
                             {P | N, {text("b3")}},
                             {P | L, {text("b4")}}}),
              dump_builder().row({text("a"), text("b1b2b3b4")}).raw);
}

TEST_F(UnloadChainedRow, CutValueThatThePieceBehindDoesNotContinueGoesOnWithTheNextCutOne) {
    columns(plain_columns(1));
    EXPECT_EQ(rows_of_chain({{H | F | N, {text("0a")}}, {N, {text("0b")}}, {P | L, {text("0c")}}}),
              dump_builder().row({text("0a0b0c")}).raw);
}

// The position advances once when the entry is complete and once more because the column ends: the value
// behind a cut one stands for the column after the next.
TEST_F(UnloadChainedRow, PositionAdvancesTwiceBehindACutOrdinaryValue) {
    columns(plain_columns(4));
    EXPECT_EQ(
        rows_of_chain({{H | F | N, {text("0"), text("1a")}}, {P | L, {text("1b"), text("2"), text("3")}}}),
        dump_builder().row({text("0"), text("1a1b"), text("2")}).raw);
}

// That the position is really the later one shows in how the columns there are treated.
TEST_F(UnloadChainedRow, ColumnBehindTheDoubleAdvanceDecidesHowTheValueIsTaken) {
    columns({column(), column(VARCHAR2, COL_HIDDEN), column(TYPE_LONG), column()});
    EXPECT_EQ(rows_of_chain({{H | F | N, {text("0a")}}, {P | L, {text("0b"), text("2"), text("3")}}}),
              dump_builder().value("0a0b").long_mark().value("3").row_end().long_block(text("2")).raw);
}

TEST_F(UnloadChainedRow, DoubleAdvanceFromAPieceThatIsCutAgain) {
    columns(plain_columns(6));
    EXPECT_EQ(rows_of_chain({{H | F | N, {text("0a")}},
                             {P | N, {text("0b"), text("2"), text("3a")}},
                             {P | L, {text("3b"), text("5"), text("6")}}}),
              dump_builder().row({text("0a0b"), text("2"), text("3a3b"), text("5")}).raw);
}

// With P and N and two values the first is complete and the second begins.
TEST_F(UnloadChainedRow, PieceWithTwoCutValues) {
    columns(plain_columns(3));
    EXPECT_EQ(
        rows_of_chain({{H | F | N, {text("0a")}}, {P | N, {text("0b"), text("2a")}}, {P | L, {text("2b")}}}),
        dump_builder().row({text("0a0b"), text("2a2b")}).raw);
}

// The count of a gathered value has two bytes: what does not fit into them is lost, the value's bytes are
// not.
TEST_F(UnloadChainedRow, LengthOfAGatheredValueIsStoredModulo65536) {
    use_block_size(32768);
    columns(plain_columns(2));
    const Bytes part = pattern(20000, 1);
    for (const size_t last : {size_t{5530}, size_t{5531}, size_t{5535}, size_t{5536}, size_t{9000}}) {
        const Bytes end = pattern(last, 9);
        chain({{H | F | N, {text("a"), part}}, {P | N, {part}}, {P | N, {part}}, {P | L, {end}}});
        sample::TableBlock other = block(3);
        other.add(piece(H | F | L, {text("x"), text("y")}));
        store(other);
        Bytes joined;
        for (const Bytes &b : {part, part, part, end})
            joined.insert(joined.end(), b.begin(), b.end());
        Bytes want = dump_builder().value("a").raw;
        const size_t length = (60000 + last) % 65536;
        want.push_back(static_cast<uint8_t>(length >> 8));
        want.push_back(static_cast<uint8_t>(length));
        want.insert(want.end(), joined.begin(), joined.end());
        const Bytes rest = dump_builder().row_end().row({text("x"), text("y")}).raw;
        want.insert(want.end(), rest.begin(), rest.end());
        EXPECT_EQ(rows_of_segment(), want) << last;
        EXPECT_EQ(nrow_, 2U);
    }
}

TEST_F(UnloadChainedRow, LengthFFOfAContinuedValueIs255Bytes) {
    columns(plain_columns(2));
    sample::TableBlock rest = block(FIRST);
    Bytes raw{L | P, 0, 1, 0xFF};
    const Bytes tail = pattern(255, 3);
    raw.insert(raw.end(), tail.begin(), tail.end());
    rest.add(raw);
    store(rest);
    Bytes joined = text("b");
    joined.insert(joined.end(), tail.begin(), tail.end());
    EXPECT_EQ(rows_of({piece(H | F | N, {text("a"), text("b")}, at(FIRST))}),
              dump_builder().row({text("a"), joined}).raw);
}

TEST_F(UnloadChainedRow, LengthFEOfAContinuedValueIsATwoByteLength) {
    columns(plain_columns(1));
    sample::TableBlock rest = block(FIRST);
    rest.add(Bytes{L | P, 0, 1, 0xFE, 3, 0, 'x', 'y', 'z'});
    store(rest);
    EXPECT_EQ(rows_of({piece(H | F | N, {text("b")}, at(FIRST))}), dump_builder().row({text("bxyz")}).raw);
}

TEST_F(UnloadChainedRow, CutValueOfASkippedColumnIsSteppedOver) {
    for (uint32_t flag : {COL_HIDDEN, COL_UNUSED}) {
        columns({column(), column(VARCHAR2, flag), column(), column()});
        EXPECT_EQ(rows_of_chain({{H | F | N, {text("0"), text("1a")}},
                                 {P | N, {text("1b")}},
                                 {P | L, {text("1c"), text("2"), text("3")}}}),
                  dump_builder().row({text("0"), text("2"), text("3")}).raw)
            << flag;
    }
}

TEST_F(UnloadChainedRow, CutSkippedValueFollowedByACutValue) {
    columns({column(VARCHAR2, COL_HIDDEN), column()});
    EXPECT_EQ(
        rows_of_chain({{H | F | N, {text("0a")}}, {P | N, {text("0b"), text("1a")}}, {P | L, {text("1b")}}}),
        dump_builder().row({text("1a1b")}).raw);
}

// Such a column has no record in the column list and is no skipped one all the same: its value is gathered.
TEST_F(UnloadChainedRow, CutColumnWithProperty2IsWritten) {
    columns({column(), column(VARCHAR2, COL_DROPPED)});
    EXPECT_EQ(rows_of_chain({{H | F | N, {text("0"), text("1a")}}, {P | L, {text("1b")}}}),
              dump_builder().row({text("0"), text("1a1b")}).raw);
}

TEST_F(UnloadChainedRow, ContinuedValueBehindTheLastColumnIsSteppedOver) {
    columns(plain_columns(1));
    EXPECT_EQ(rows_of_chain({{H | F | N, {text("0"), text("1a")}}, {P | L, {text("1b"), text("2")}}}),
              dump_builder().row({text("0")}).raw);
}

TEST_F(UnloadChainedRow, ValuesBehindTheLastColumnBeforeACutValueAreSteppedOver) {
    columns(plain_columns(1));
    EXPECT_EQ(rows_of_chain({{H | F | N, {text("0"), text("1"), text("2a")}}, {P | L, {text("2b")}}}),
              dump_builder().row({text("0")}).raw);
}

TEST_F(UnloadChainedRow, PiecesWithoutColumns) {
    columns(plain_columns(2));
    EXPECT_EQ(rows_of_chain({{H | F, {}}, {0, {text("a")}}, {0, {}}, {L, {text("b")}}}),
              dump_builder().row({text("a"), text("b")}).raw);
}

TEST_F(UnloadChainedRow, StateDoesNotPassFromRowToRow) {
    columns(plain_columns(3));
    sample::TableBlock rest = block(FIRST);
    rest.add(piece(P | L, {text("b2"), text("c")}));
    store(rest);
    const Bytes head = piece(H | F | N, {text("a"), text("b1")}, at(FIRST));
    const Bytes plain = piece(H | F | L, {text("x"), text("y"), text("z")});
    EXPECT_EQ(rows_of({head, plain, head, plain}), [] {
        dump_builder d;
        for (int i = 0; i < 2; i++)
            d.row({text("a"), text("b1b2")}).row({text("x"), text("y"), text("z")});
        return d.raw;
    }());
    EXPECT_EQ(nrow_, 4U);
}

TEST_F(UnloadChainedRow, MissingDatafileOfANextPieceEndsTheTable) {
    const RowAddress next{sample::make_rdba(77, 3), 0};
    const Outcome got = unload_pieces({piece(H | F | L, {text("kept")}), piece(H | F, {text("a")}, next),
                                       piece(H | F | L, {text("never")})});
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, "datafile (ts#=4, rfile#=77) not found.\n" + std::string(SEGMENT_FAILED));
    EXPECT_EQ(nrow_, 1U);
    EXPECT_EQ(got.file, Bytes{});
}

TEST_F(UnloadChainedRow, UnreadableBlockOfANextPieceEndsTheTable) {
    add_file(9, 2048);
    break_file(9);
    const RowAddress next{sample::make_rdba(9, 3), 0};
    const Outcome got = unload_pieces({piece(H | F, {text("a")}, next)});
    EXPECT_EQ(got.result, -1);
    EXPECT_EQ(got.err, "read \"" + file_name(9) + "\": Bad file descriptor\n" + SEGMENT_FAILED);
    EXPECT_EQ(nrow_, 0U);
}

} // namespace
