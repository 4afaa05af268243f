// Odd and damaged column values of dictionary rows.
#include "decoder_fixture.h"

using namespace vexlo_test;

namespace {

using sample::Row;
using sample::Value;

class DictionaryRow : public EveryDecoder {
protected:
    // The row's piece with the encoded column at `position` (from 1) replaced by the given bytes.
    sample::Bytes piece_with(size_t position, const sample::Bytes &column) const {
        sample::PieceHead head;
        head.column_count = static_cast<uint8_t>(c().row.size());
        if (c().clustered)
            head.key_index = 0;
        sample::Bytes piece = sample::encode_piece(head, {});
        for (size_t i = 1; i <= c().row.size(); i++)
            if (i == position)
                sample::append(piece, column);
            else
                sample::append_column(piece, c().row[i - 1]);
        return piece;
    }

    decoded decode_piece(const sample::Bytes &piece) {
        sample::TableBlock block = make_block(c());
        block.add(piece, static_cast<int>(c().tabn));
        return decode(c(), block.finish());
    }

    bool is_skipped(size_t position) const {
        for (int skipped : c().skipped)
            if (static_cast<size_t>(skipped) == position)
                return true;
        return false;
    }

    // Positions whose value decides whether the row is kept.
    bool decides(size_t position) const {
        return (c().name == "USER" && position == 2) || (c().name == "IND" && position == 12);
    }

    static constexpr char DAMAGED[] = "block rdba=0x00400020 row 0 damaged, skip this row data.\n";
};

INSTANTIATE_TEST_SUITE_P(Tables, DictionaryRow, ::testing::ValuesIn(decoder_names()),
                         [](const auto &p) { return p.param; });

TEST_P(DictionaryRow, NullTakesOneByteAndLeavesTheOtherColumnsAlone) {
    const std::string whole = to_hex(c().record);
    for (size_t position = 1; position <= c().row.size(); position++) {
        if (is_skipped(position) || decides(position))
            continue;
        const decoded with_null = decode_piece(piece_with(position, {0xFF}));
        const decoded with_zero = decode_piece(piece_with(position, {0x01, 0x80}));
        ASSERT_EQ(with_null.nrow, 1) << position;
        if (c().row[position - 1]->front() < 0x80) // a text: NULL empties it, nothing else changes
            EXPECT_NE(with_null.records, std::vector<std::string>{whole});
        else
            EXPECT_EQ(with_null.records, with_zero.records) << position;
    }
}

TEST_P(DictionaryRow, LongFormMarkOfADirectColumnIsAPlainLength) {
    for (size_t position = 1; position <= c().row.size(); position++) {
        if (is_skipped(position) || decides(position) || (c().name == "PROPS" && position == 2))
            continue;
        // 254 bytes of the number 4711, followed by the other columns: were the mark read as a long form, the
        // columns behind would be lost.
        sample::Bytes column{0xFE, 0xC2, 0x30, 0x0C};
        column.resize(1 + 254, 0x01);
        const decoded d = decode_piece(piece_with(position, column));
        EXPECT_EQ(d.nrow, 1) << position << d.err;
        EXPECT_EQ(d.err, "") << position;
        EXPECT_EQ(d.records.at(0).size(), 2 * c().record_size);
    }
}

TEST_P(DictionaryRow, RowThatEndsWithTheBlockIsRead) {
    // The lowest piece of a block stands before the others; a lone one ends at the block's tail.
    const decoded d = decode_piece(piece_with(0, {}));
    EXPECT_EQ(d.records, std::vector<std::string>{to_hex(c().record)});
}

TEST_P(DictionaryRow, RowWhoseColumnsLeaveTheBlockIsLeftOutWithALine) {
    // Behind the piece stands only the block's tail of four bytes.
    for (size_t position = 1; position <= c().row.size(); position++) {
        sample::TableBlock block = make_block(c());
        const auto table = static_cast<int>(c().tabn);
        sample::Bytes piece = piece_with(position, {0xFC, 0x01});
        block.add(piece, table);
        const decoded d = decode(c(), block.finish());
        EXPECT_EQ(d.result, 0);
        EXPECT_EQ(d.nrow, 0) << position;
        EXPECT_EQ(d.err, DAMAGED) << position;
    }
}

TEST_P(DictionaryRow, ColumnsPastTheCountAreNullWhereTheBlockEnds) {
    // A row may be shorter than its map: what the map then reads ends with the block, and that is no damage.
    sample::Bytes piece = piece_with(1, {0xFC, 0x01});
    piece[2] = 0;
    EXPECT_EQ(decode_piece(piece).err, "");
}

TEST_P(DictionaryRow, RestOfTheBlockIsDecodedBehindADamagedRow) {
    sample::TableBlock block = make_block(c());
    const auto table = static_cast<int>(c().tabn);
    block.add(piece_with(1, {0xFD}), table);
    block.add_raw_offset(-1, table);
    block.add_raw_offset(32767, table);
    block.add(piece_with(0, {}), table);
    const decoded d = decode(c(), block.finish());
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.records.back(), to_hex(c().record));
    EXPECT_NE(d.err.find("block rdba=0x00400020 row 1 damaged, skip this row data.\n"
                         "block rdba=0x00400020 row 2 damaged, skip this row data.\n"),
              std::string::npos)
        << d.err;
}

TEST_P(DictionaryRow, HeadersThatLeaveTheBlockGiveNoRowAndALine) {
    sample::TableBlock block = make_block(c());
    block.add(piece_with(0, {}), static_cast<int>(c().tabn));
    sample::Bytes bytes = block.finish();
    bytes[36] = 0xFF;
    const decoded d = decode(c(), bytes);
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.nrow, 0);
    EXPECT_EQ(d.err, "block rdba=0x00400020 damaged, skip this block.\n");
}

class ClusterKey : public DictionaryRow {};

INSTANTIATE_TEST_SUITE_P(Tables, ClusterKey,
                         ::testing::Values("USER", "TS", "TAB", "CLU", "COL", "IND", "LOB"),
                         [](const auto &p) { return p.param; });

TEST_P(ClusterKey, IndexOfNoKeyRowIsDamage) {
    sample::Bytes piece = piece_with(0, {});
    piece[3] = 200;
    const decoded d = decode_piece(piece);
    EXPECT_EQ(d.nrow, 0);
    EXPECT_EQ(d.err, DAMAGED);
}

TEST_P(ClusterKey, FlagsOfTheKeyRowAreNotLookedAt) {
    sample::TableBlockOptions options;
    options.block_size = BLOCK_SIZE;
    options.tables = static_cast<int>(c().tabn) + 1;
    sample::TableBlock block(options);
    sample::KeyHead head;
    head.flags = sample::ROW_D;
    block.add(sample::encode_key_piece(head, Row{sample::number(KEY)}));
    block.add(piece_with(0, {}), static_cast<int>(c().tabn));
    EXPECT_EQ(decode(c(), block.finish()).records, std::vector<std::string>{to_hex(c().record)});
}

// ---- Names

class DictionaryName : public DecoderTest, public ::testing::WithParamInterface<std::string> {};

INSTANTIATE_TEST_SUITE_P(Tables, DictionaryName, ::testing::Values("USER", "TS", "OBJ", "COL", "PROPS"),
                         [](const auto &p) { return p.param; });

TEST_P(DictionaryName, IsCutTo31CharactersAndEndedByANul) {
    const decoder_case &c = decoder_of(GetParam());
    const size_t position = c.name == "OBJ" ? 4 : c.name == "COL" ? 5 : 1;
    const size_t field = c.name == "PROPS" ? 0 : c.record_size - 32;
    for (size_t len : std::vector<size_t>{1, 30, 31, 32, 100, 250}) {
        Row row = c.row;
        row[position - 1] = sample::Bytes(len, 'N');
        sample::TableBlock block = make_block(c);
        block.add(make_piece(c, row), static_cast<int>(c.tabn));
        bytes expected = c.record;
        std::fill_n(expected.begin() + static_cast<ptrdiff_t>(field), 32, uint8_t{0});
        std::fill_n(expected.begin() + static_cast<ptrdiff_t>(field), std::min<size_t>(len, 31),
                    uint8_t{'N'});
        EXPECT_EQ(decode(c, block.finish()).records, std::vector<std::string>{to_hex(expected)}) << len;
    }
}

} // namespace
