#include <stdexcept>

#include <gtest/gtest.h>

#include "hex.h"
#include "sample/row.h"

using namespace sample;

namespace {

Value filled(size_t length, uint8_t byte = 'x') {
    return Bytes(length, byte);
}

std::string column_head(const Value &v, LengthForm form = LengthForm::automatic) {
    Bytes out;
    append_column(out, v, form);
    EXPECT_EQ(out.size(), column_size(v, form));
    return hex(out, 0, std::min<size_t>(out.size(), 3));
}

TEST(Column, ThreeLengthForms) {
    EXPECT_EQ(column_head(null_value()), "FF");
    EXPECT_EQ(column_head(filled(0)), "00");
    EXPECT_EQ(column_head(filled(2)), "02 78 78");
    EXPECT_EQ(column_head(filled(250)), "FA 78 78");
    EXPECT_EQ(column_head(filled(251)), "FE FB 00");
    EXPECT_EQ(column_head(filled(0x1234)), "FE 34 12");
}

TEST(Column, FormCanBeForced) {
    EXPECT_EQ(column_head(filled(253), LengthForm::one_byte), "FD 78 78");
    EXPECT_EQ(column_head(filled(3), LengthForm::three_bytes), "FE 03 00");
    Bytes out;
    EXPECT_THROW(append_column(out, filled(254), LengthForm::one_byte), std::length_error);
    EXPECT_THROW(append_column(out, filled(65536)), std::length_error);
}

TEST(Piece, WholeRow) {
    PieceHead head;
    EXPECT_EQ(hex(encode_piece(head, Row{number(1), text("a")})), "2C 00 02 02 C1 02 01 61");
}

TEST(Piece, FieldsBeforeTheColumnsInTheirOrder) {
    PieceHead head;
    head.flags = ROW_C | ROW_F;
    head.lock = 2;
    head.key_index = 7;
    head.head_rowid = RowAddress{0x01400010, 3};
    head.extra = {1, 2, 3, 4, 5, 6};
    head.next = RowAddress{0x01400011, 0x0104};
    EXPECT_EQ(hex(encode_piece(head, Row{null_value()})),
              "48 02 01 07 01 40 00 10 00 03 01 02 03 04 05 06 01 40 00 11 01 04 FF");
}

TEST(Piece, ColumnCountCanLie) {
    PieceHead head;
    head.column_count = 200;
    EXPECT_EQ(hex(encode_piece(head, Row{null_value()})), "2C 00 C8 FF");
    EXPECT_THROW(encode_piece({}, Row(256)), std::length_error);
}

TEST(KeyPiece, ColumnsBeginNineteenBytesIn) {
    KeyHead head;
    head.rows_here = 5;
    head.rows_total = 6;
    head.previous = {0x00400032, 0};
    head.next = {0x00400033, 1};
    Bytes piece = encode_key_piece(head, Row{number(20), text("k")});
    EXPECT_EQ(hex(piece), "AC 00 02 05 00 06 00 00 40 00 32 00 00 00 40 00 33 00 01 02 C1 15 01 6B");
    EXPECT_EQ(piece[KEY_DATA_OFFSET], 2);
}

TEST(Trim, OnlyTrailingNulls) {
    Row row{number(1), null_value(), number(2), null_value(), null_value()};
    EXPECT_EQ(trim_trailing_nulls(row).size(), 3U);
    EXPECT_TRUE(trim_trailing_nulls(Row(4)).empty());
}

TEST(CutRow, WithoutCutsIsFirstAndLast) {
    auto parts = cut_row(Row{number(1)}, {});
    ASSERT_EQ(parts.size(), 1U);
    EXPECT_EQ(parts[0].flags, ROW_F | ROW_L);
}

TEST(CutRow, BetweenAndInsideColumns) {
    Row row{text("abc"), text("defgh"), null_value(), text("ij")};
    std::vector<Cut> cuts{{1, 2}, {1, 4}, {3, 0}};
    auto parts = cut_row(row, cuts);
    ASSERT_EQ(parts.size(), 4U);
    EXPECT_EQ(parts[0].flags, ROW_F | ROW_N);
    EXPECT_EQ(parts[0].columns, (Row{text("abc"), text("de")}));
    EXPECT_EQ(parts[1].flags, ROW_P | ROW_N);
    EXPECT_EQ(parts[1].columns, (Row{text("fg")}));
    EXPECT_EQ(parts[2].flags, ROW_P);
    EXPECT_EQ(parts[2].columns, (Row{text("h"), null_value()}));
    EXPECT_EQ(parts[3].flags, ROW_L);
    EXPECT_EQ(parts[3].columns, (Row{text("ij")}));
}

TEST(CutRow, RejectsCutsOutOfOrderOrOutsideTheRow) {
    Row row{text("abc"), null_value()};
    for (std::vector<Cut> cuts :
         {std::vector<Cut>{{0, 0}}, {{0, 3}}, {{1, 1}}, {{2, 0}}, {{1, 0}, {0, 1}}, {{0, 1}, {0, 1}}})
        EXPECT_THROW(cut_row(row, cuts), std::invalid_argument);
}

TEST(PlanCuts, NoneWhenOnePieceIsEnough) {
    EXPECT_TRUE(plan_cuts(Row{filled(10), filled(10)}, 22).empty());
    EXPECT_TRUE(plan_cuts(Row(255), 8000).empty());
    EXPECT_TRUE(plan_cuts(Row{}, 100).empty());
}

TEST(PlanCuts, LastPieceTakes255Columns) {
    auto cuts = plan_cuts(Row(300, number(1)), 8000);
    ASSERT_EQ(cuts.size(), 1U);
    EXPECT_EQ(cuts[0].column, 45U);
    EXPECT_EQ(cuts[0].offset, 0U);
}

TEST(PlanCuts, ColumnsThatFitAPieceAreNotSplit) {
    auto cuts = plan_cuts(Row{filled(60), filled(60), filled(60)}, 130);
    ASSERT_EQ(cuts.size(), 1U);
    EXPECT_EQ(cuts[0].column, 1U);
    EXPECT_EQ(cuts[0].offset, 0U);
}

TEST(PlanCuts, EveryPartFitsAndNothingIsLost) {
    Row row{number(1), filled(1000), null_value(), filled(90), filled(5000), number(2)};
    for (size_t room : {8U, 99U, 260U, 1004U, 4000U}) {
        auto parts = cut_row(row, plan_cuts(row, room));
        EXPECT_GT(parts.size(), 1U);
        size_t bytes = 0;
        for (const RowPart &part : parts) {
            size_t size = 0;
            for (const Value &v : part.columns) {
                size += column_size(v);
                bytes += v ? v->size() : 0;
            }
            EXPECT_LE(size, room);
            EXPECT_GE(part.columns.size(), 1U);
        }
        EXPECT_EQ(bytes, 2 + 1000 + 90 + 5000 + 2U);
    }
}

} // namespace
