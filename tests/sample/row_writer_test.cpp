#include <stdexcept>

#include <gtest/gtest.h>

#include "hex.h"
#include "reader.h"

using namespace sample;
using namespace sample_test;

namespace {

// A segment in a tablespace of two files, files 4 and 5, whose rows are read back after close.
class Fixture {
public:
    explicit Fixture(int tables = 1, SegmentOptions options = {})
        : space_({info(4), info(5)}), writer(std::make_unique<Segment>(space_, options), tables) {}

    std::vector<FoundRow> rows(int tabno = 0, size_t extra = 0) {
        close();
        Reader reader({dir_.path() / "4", dir_.path() / "5"});
        EXPECT_EQ(reader.bad_blocks(), 0);
        return reader.rows(5, writer.segment().header(), tabno, extra);
    }

    Bytes block(uint32_t rdba) {
        close();
        return Reader({dir_.path() / "4", dir_.path() / "5"}).block(5, rdba);
    }

private:
    DatafileInfo info(uint32_t number) {
        DatafileInfo i;
        i.path = dir_.path() / std::to_string(number);
        i.fno = i.rfn = number;
        i.tsn = 5;
        i.block_size = 2048;
        return i;
    }
    void close() {
        writer.close();
        if (!std::exchange(closed_, true))
            space_.close(0);
    }

    TempDir dir_;
    Tablespace space_;
    bool closed_ = false;

public:
    RowWriter writer;
};

Value letters(size_t length) {
    Bytes b(length);
    for (size_t i = 0; i < length; i++)
        b[i] = static_cast<uint8_t>('a' + i % 26);
    return b;
}

TEST(RowWriter, RowsFillBlocksInOrder) {
    Fixture f;
    for (int i = 0; i < 200; i++)
        f.writer.insert(Row{number(i), letters(50)});
    auto rows = f.rows();
    ASSERT_EQ(rows.size(), 200U);
    for (int i = 0; i < 200; i++) {
        EXPECT_EQ(to_integer(rows[static_cast<size_t>(i)].columns[0]), i);
        EXPECT_EQ(rows[static_cast<size_t>(i)].pieces, 1);
    }
    EXPECT_NE(rows.front().blocks, rows.back().blocks);
}

TEST(RowWriter, TrailingNullsAreStoredOnlyWhenAsked) {
    Fixture f;
    Row row{null_value(), number(1), null_value()};
    f.writer.insert(row);
    RowPlacement keep;
    keep.keep_trailing_nulls = true;
    f.writer.insert(row, keep);
    auto rows = f.rows();
    EXPECT_EQ(rows[0].columns.size(), 2U);
    EXPECT_EQ(rows[1].columns.size(), 3U);
}

TEST(RowWriter, MigratedRowHasAStubAndKnowsIt) {
    Fixture f;
    RowPlacement migrated;
    migrated.migrated = true;
    RowAddress stub = f.writer.insert(Row{number(7), text("moved")}, migrated);
    auto rows = f.rows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_TRUE(rows[0].migrated);
    EXPECT_EQ(rows[0].columns, (Row{number(7), text("moved")}));
    ASSERT_EQ(rows[0].blocks.size(), 2U);
    EXPECT_NE(rows[0].blocks[0] >> 22, rows[0].blocks[1] >> 22) << "the row went to the other file";

    Bytes head = f.block(stub.rdba);
    EXPECT_EQ(hex(head, 2048 - 4 - 9, 3), "20 00 00");
    Bytes moved = f.block(rows[0].blocks[1]);
    Bytes rowid;
    append_be32(rowid, stub.rdba);
    append_be16(rowid, stub.slot);
    EXPECT_EQ(hex(moved, 2048 - 4 - 18, 9), std::string("0C 00 02 ").append(hex(rowid)));
}

TEST(RowWriter, RowCutInsideAColumn) {
    Fixture f;
    RowPlacement cut;
    cut.cuts = {{1, 10}, {1, 20}, {2, 0}};
    Row row{number(1), letters(40), text("end")};
    f.writer.insert(row, cut);
    auto rows = f.rows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].columns, row);
    EXPECT_EQ(rows[0].pieces, 4);
}

TEST(RowWriter, MigratedRowMayGoOnInFurtherPieces) {
    Fixture f;
    RowPlacement placement;
    placement.migrated = true;
    placement.cuts = {{1, 0}};
    Row row{number(1), letters(40)};
    f.writer.insert(row, placement);
    auto rows = f.rows();
    EXPECT_EQ(rows[0].columns, row);
    EXPECT_EQ(rows[0].pieces, 3);
}

TEST(RowWriter, EveryPieceInABlockOfItsOwn) {
    Fixture f;
    RowPlacement placement;
    placement.cuts = {{1, 0}, {2, 0}};
    placement.piece_per_block = true;
    f.writer.insert(Row{number(1), number(2), number(3)}, placement);
    auto blocks = f.rows()[0].blocks;
    ASSERT_EQ(blocks.size(), 3U);
    EXPECT_NE(blocks[1], blocks[2]);
}

TEST(RowWriter, LargeValueIsSpreadOverBlocks) {
    Fixture f;
    Row row{number(1), letters(40000), text("end")};
    f.writer.insert(row);
    f.writer.insert(Row{number(2)});
    auto rows = f.rows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].columns, row);
    EXPECT_GE(rows[0].pieces, 20);
}

TEST(RowWriter, MoreThan255Columns) {
    Fixture f;
    Row row(700, number(5));
    f.writer.insert(row);
    auto rows = f.rows();
    EXPECT_EQ(rows[0].columns, row);
    EXPECT_EQ(rows[0].pieces, 3);
}

TEST(RowWriter, DeletedRowsAndFreeSlotsAreNotRows) {
    Fixture f;
    RowPlacement deleted;
    deleted.deleted = true;
    f.writer.insert(Row{number(1)});
    f.writer.add_free_slot();
    f.writer.insert(Row{number(2)}, deleted);
    RowAddress last = f.writer.insert(Row{number(3)});
    EXPECT_EQ(last.slot, 3);
    auto rows = f.rows();
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[1].columns, (Row{number(3)}));
}

TEST(RowWriter, DependencyBytesPrecedeTheColumnsOfEveryHead) {
    Fixture f;
    RowPlacement plain;
    plain.extra = true;
    RowPlacement migrated = plain;
    migrated.migrated = true;
    f.writer.insert(Row{number(1)}, plain);
    f.writer.insert(Row{number(2)}, migrated);
    auto rows = f.rows(0, 6);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].columns, (Row{number(1)}));
    EXPECT_EQ(rows[1].columns, (Row{number(2)}));
}

TEST(RowWriter, FlagsAndReadyMadePiecesAreWrittenAsGiven) {
    Fixture f;
    RowPlacement odd;
    odd.flags = 0x2E;
    f.writer.insert(Row{number(1)}, odd);
    f.writer.flush();
    RowAddress raw_piece = f.writer.insert_piece(Bytes{0xDE, 0xAD, 0xBE, 0xEF});
    Bytes second = f.block(raw_piece.rdba);
    EXPECT_EQ(hex(second, 2048 - 8, 4), "DE AD BE EF");
    Bytes first = f.block(raw_piece.rdba - 1);
    EXPECT_EQ(hex(first, 2048 - 4 - 6, 3), "2E 00 01");
}

TEST(RowWriter, MembersFindTheirKeyInEveryBlock) {
    Fixture f(3);
    for (int key = 0; key < 5; key++) {
        f.writer.begin_key(Row{number(key), text("k")});
        f.writer.insert_member(1, Row{number(100 + key)});
        for (int i = 0; i < 60; i++)
            f.writer.insert_member(2, Row{number(i), letters(20)});
    }
    auto first = f.rows(1);
    ASSERT_EQ(first.size(), 5U);
    for (int key = 0; key < 5; key++)
        EXPECT_EQ(first[static_cast<size_t>(key)].columns, (Row{number(key), text("k"), number(100 + key)}));
    auto second = f.rows(2);
    ASSERT_EQ(second.size(), 300U);
    for (size_t i = 0; i < 300; i++)
        EXPECT_EQ(to_integer(second[i].columns[0]), static_cast<int64_t>(i / 60));
    EXPECT_NE(second.front().blocks, second[59].blocks) << "a key is repeated in a further block";
}

TEST(RowWriter, MemberRowsAreMarkedAndCounted) {
    Fixture f(2);
    f.writer.begin_key(Row{number(1)});
    f.writer.insert_member(1, Row{number(10)});
    RowAddress row = f.writer.insert_member(1, Row{number(11)});
    Bytes block = f.block(row.rdba);
    size_t key = 2048 - 4 - 22;
    EXPECT_EQ(hex(block, key, 7), "AC 00 01 02 00 02 00");
    EXPECT_EQ(hex(block, key - 7, 7), "6C 00 01 00 02 C1 0B");
}

// A reader takes the key of a migrated member from the stub's block or from the row's own block.
TEST(RowWriter, MigratedMemberHasItsKeyUnderTheSameIndexInBothBlocks) {
    Fixture f(2);
    for (int key = 0; key < 40; key++) {
        f.writer.begin_key(Row{number(key)});
        RowPlacement placement;
        placement.migrated = key % 3 == 2;
        f.writer.insert_member(1, Row{number(1000 + key), letters(60)}, placement);
    }
    auto rows = f.rows(1);
    ASSERT_EQ(rows.size(), 40U);
    int migrated = 0;
    for (const FoundRow &row : rows) {
        EXPECT_EQ(to_integer(row.columns[1]) - to_integer(row.columns[0]), 1000);
        if (!row.migrated)
            continue;
        migrated++;
        Bytes moved = f.block(row.blocks[1]);
        Bytes head = f.block(row.blocks[0]);
        auto key_rows = [](const Bytes &b) { return fetch_le16(&b[100 + 16]); };
        EXPECT_LE(key_rows(moved), key_rows(head));
    }
    EXPECT_EQ(migrated, 13);
}

TEST(RowWriter, BlockNeverHoldsMoreKeysThanTheIndexByteCanName) {
    SegmentOptions options;
    options.free_percent = 0;
    TempDir dir;
    DatafileInfo info;
    info.path = dir.path() / "big";
    info.rfn = info.fno = 4;
    info.tsn = 5;
    info.block_size = 32768;
    Tablespace space({info});
    RowWriter writer(std::make_unique<Segment>(space, options), 2);
    for (int key = 0; key < 600; key++) {
        writer.begin_key(Row{number(key)});
        writer.insert_member(1, Row{number(key)});
    }
    writer.close();
    space.close(0);
    auto rows = Reader({info.path}).rows(5, writer.segment().header(), 1);
    ASSERT_EQ(rows.size(), 600U);
    for (const FoundRow &row : rows)
        EXPECT_EQ(row.columns[0], row.columns[1]);
}

TEST(RowWriter, RefusesMembersWithoutKeyOrTable) {
    Fixture f(2);
    EXPECT_THROW(f.writer.insert_member(1, Row{number(1)}), std::invalid_argument);
    f.writer.begin_key(Row{number(1)});
    EXPECT_THROW(f.writer.insert_member(0, Row{number(1)}), std::invalid_argument);
    EXPECT_THROW(f.writer.insert_member(2, Row{number(1)}), std::invalid_argument);
}

TEST(RowWriter, DependencyMayTakeEightBytes) {
    Fixture f;
    RowPlacement placement;
    placement.extra = true;
    placement.extra_bytes = 8;
    f.writer.insert(Row{number(1), letters(5)}, placement);
    placement.migrated = true;
    f.writer.insert(Row{number(2)}, placement);
    auto rows = f.rows(0, 8);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[0].columns, (Row{number(1), letters(5)}));
    EXPECT_EQ(rows[1].columns, (Row{number(2)}));
}

TEST(RowWriter, WideRowIsCutFromTheEndAskedFor) {
    Row row;
    for (int i = 0; i < 300; i++)
        row.push_back(number(i));
    for (CutOrder order : {CutOrder::from_end, CutOrder::from_start}) {
        Fixture f;
        RowPlacement placement;
        placement.cut_order = order;
        RowAddress head = f.writer.insert(row, placement);
        auto rows = f.rows();
        ASSERT_EQ(rows.size(), 1U);
        EXPECT_EQ(rows[0].columns, row);
        EXPECT_EQ(rows[0].pieces, 2);
        Bytes block = f.block(head.rdba);
        size_t data = 44 + 24 * 2 + 8;
        size_t piece = data + fetch_le16(&block[data + 18]);
        EXPECT_EQ(block[piece + 2], order == CutOrder::from_start ? 255 : 45);
    }
}

TEST(RowWriter, LongValueIsCutFromTheStartAsWell) {
    Fixture f;
    RowPlacement placement;
    placement.cut_order = CutOrder::from_start;
    Row row{number(1), letters(9000), number(2), null_value(), letters(100)};
    f.writer.insert(row, placement);
    auto rows = f.rows();
    ASSERT_EQ(rows.size(), 1U);
    EXPECT_EQ(rows[0].columns, row);
    EXPECT_EQ(rows[0].pieces, 5);
}

TEST(RowWriter, KeyMayLieElsewhereOrGoOnThere) {
    for (KeyForm form : {KeyForm::migrated, KeyForm::chained}) {
        Fixture f(2);
        f.writer.begin_key(Row{number(7), letters(4)}, form);
        RowAddress member = f.writer.insert_member(1, Row{number(1)});
        Bytes block = f.block(member.rdba);
        size_t data = 44 + 24 * 2 + 8;
        size_t key = data + fetch_le16(&block[data + 14 + 4 * 2]);
        bool chained = form == KeyForm::chained;
        EXPECT_EQ(block[key], ROW_K | ROW_H | (chained ? ROW_F : 0));
        EXPECT_EQ(block[key + 2], chained ? 1 : 0);
        uint32_t rest_at = uint32_t{block[key + 19]} << 24 | uint32_t{block[key + 20]} << 16 |
                           uint32_t{block[key + 21]} << 8 | block[key + 22];
        Bytes rest = f.block(rest_at);
        size_t piece = data + fetch_le16(&rest[data + 14 + 4]); // the block has no member rows
        EXPECT_EQ(rest[piece], ROW_K | ROW_L | (chained ? 0 : ROW_F));
        EXPECT_EQ(rest[piece + 2], chained ? 1 : 2);
        piece += 19;
        if (!chained) {
            EXPECT_EQ(hex(rest, piece, 6), hex(Bytes{1, 0, 0, 12, 0, 0})) << "where the stub is";
            piece += 6;
        }
        Bytes first(rest.begin() + static_cast<ptrdiff_t>(piece),
                    rest.begin() + static_cast<ptrdiff_t>(piece) + 3);
        EXPECT_EQ(first, chained ? (Bytes{4, 'a', 'b'}) : (Bytes{2, 0xC1, 8}));
    }
    Fixture f(2);
    EXPECT_THROW(f.writer.begin_key(Row{number(7)}, KeyForm::chained), std::invalid_argument);
}

} // namespace
