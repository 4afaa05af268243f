// Which column of a dictionary row goes where, for each of the twelve tables.
#include "decoder_fixture.h"

using namespace vexlo_test;

namespace {

using sample::null_value;
using sample::number;
using sample::Row;
using sample::Value;

constexpr char ALL_BITS[] = "2147483647";

class ColumnRule : public DecoderTest {
protected:
    decoded decode_row(const decoder_case &of, const Row &row) {
        sample::TableBlock block = make_block(of);
        block.add(make_piece(of, row), static_cast<int>(of.tabn));
        return decode(of, block.finish());
    }

    // The record's 32-bit field at the given index.
    uint32_t field(const decoder_case &of, const Row &row, size_t index) {
        const decoded d = decode_row(of, row);
        EXPECT_EQ(d.nrow, 1) << d.err;
        uint32_t value = 0;
        for (size_t byte = 4; byte-- > 0;)
            value = value << 8 | static_cast<uint32_t>(std::stoul(
                                     d.records.at(0).substr(8 * index + 2 * byte, 2), nullptr, 16));
        return value;
    }
};

class ColumnMap : public ColumnRule, public ::testing::WithParamInterface<std::string> {
protected:
    const decoder_case &c() const { return decoder_of(GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(Tables, ColumnMap, ::testing::ValuesIn(decoder_names()),
                         [](const auto &p) { return p.param; });

TEST_P(ColumnMap, EveryFieldComesFromItsPosition) {
    const decoded d = decode_row(c(), c().row);
    EXPECT_EQ(d.result, 0);
    EXPECT_EQ(d.records, hex_records(c().record, c().record_size));
    EXPECT_EQ(d.err, "");
}

TEST_P(ColumnMap, UnreadColumnsBehindTheLastOneDoNotMatter) {
    Row row = c().row;
    row.insert(row.end(), {number(4711), null_value(), sample::text("behind")});
    EXPECT_EQ(decode_row(c(), row).records, hex_records(c().record, c().record_size));
}

TEST_P(ColumnMap, SkippedColumnsMayBeNullEmptyOrLong) {
    for (const Value &value : {null_value(), Value(sample::Bytes()), Value(sample::Bytes(300, 0xFE)),
                               Value(sample::Bytes(253, 0x41))}) {
        for (int position : c().skipped) {
            Row row = c().row;
            row.at(static_cast<size_t>(position) - 1) = value;
            EXPECT_EQ(decode_row(c(), row).records, hex_records(c().record, c().record_size)) << position;
        }
    }
}

TEST_P(ColumnMap, FieldsWithoutAColumnAreZeroInAUsedSlot) {
    // The array is full of 0xEE: nothing of what a slot held before may stay in a record.
    sample::TableBlock block = make_block(c());
    for (int i = 0; i < 3; i++)
        block.add(make_piece(c(), c().row), static_cast<int>(c().tabn));
    const std::string expected = hex_records(c().record, c().record_size).at(0);
    EXPECT_EQ(decode(c(), block.finish()).records, (std::vector<std::string>(3, expected)));
}

TEST_P(ColumnMap, ColumnsBeyondTheColumnCountAreReadFromWhatFollows) {
    // The count byte is not looked at: what stands behind the piece's last column is read as columns.
    sample::TableBlock block = make_block(c());
    sample::Bytes piece = make_piece(c(), c().row);
    piece[2] = 1;
    block.add(piece, static_cast<int>(c().tabn));
    EXPECT_EQ(decode(c(), block.finish()).records, hex_records(c().record, c().record_size));
}

// ---- USER$, IND$: rows that are not kept

TEST_F(ColumnRule, UserOfAnotherTypeThanOneIsDropped) {
    const decoder_case &user = decoder_of("USER");
    for (const Value &type : {number(0), number(2), number(101), null_value(), Value(sample::Bytes())}) {
        Row row = user.row;
        row[1] = type;
        const decoded d = decode_row(user, row);
        EXPECT_EQ(d.nrow, 0);
        EXPECT_EQ(d.err, "");
    }
}

TEST_F(ColumnRule, RoleMayEndBehindItsType) {
    // Nothing more is read of such a row, so columns that are not there are no damage.
    const decoder_case &user = decoder_of("USER");
    sample::TableBlock block = make_block(user);
    block.add(make_piece(user, {sample::text("A_ROLE"), number(0)}), 1);
    const decoded d = decode(user, block.finish());
    EXPECT_EQ(d.nrow, 0);
    EXPECT_EQ(d.err, "");
}

TEST_F(ColumnRule, IndexOfAnotherTypeThanEightIsDropped) {
    const decoder_case &ind = decoder_of("IND");
    for (const Value &type : {number(0), number(1), number(3), number(9), number(108), null_value()}) {
        Row row = ind.row;
        row[11] = type;
        EXPECT_EQ(decode_row(ind, row).nrow, 0);
    }
}

// ---- TAB$

TEST_F(ColumnRule, TabPropertyChainAppliesItsFirstMatchAlone) {
    struct {
        uint32_t property;
        uint32_t flag;
    } chain[] = {{0x1, 0x1000000},      {0x2, 0x1000004},       {0x4, 0x1000000},     {0x10, 0x1000000},
                 {0x20, 0x20},          {0x40, 0x1000080},      {0x400, 0x40},        {0x800, 0x1},
                 {0x2000, 0x1000000},   {0x20000, 0x1000000},   {0x40000, 0x1000000}, {0x100000, 0x1000000},
                 {0x400000, 0x1000010}, {0x80000000, 0x1000000}};
    const decoder_case &tab = decoder_of("TAB");
    uint32_t later = 0;
    for (const auto &rule : chain)
        later |= rule.property;
    Row row = tab.row;
    row[12] = number(0);
    for (const auto &rule : chain) {
        row[28] = number(rule.property);
        EXPECT_EQ(field(tab, row, 0), rule.flag) << std::hex << rule.property;
        row[28] = number(later); // this bit and all that are tested behind it
        EXPECT_EQ(field(tab, row, 0), rule.flag) << std::hex << later;
        later &= ~rule.property;
    }
}

TEST_F(ColumnRule, TabPropertyBitsOutsideTheChainSetNothing) {
    const decoder_case &tab = decoder_of("TAB");
    Row row = tab.row;
    row[12] = number(0);
    row[28] = number(0xFFFFFFFF & ~(0x1U | 0x2 | 0x4 | 0x10 | 0x20 | 0x40 | 0x400 | 0x800 | 0x2000 | 0x20000 |
                                    0x40000 | 0x100000 | 0x400000 | 0x80000000));
    EXPECT_EQ(field(tab, row, 0), 0U);
}

TEST_F(ColumnRule, TabFlagsColumnSetsTheExtraBytesBitByBit23Alone) {
    const decoder_case &tab = decoder_of("TAB");
    Row row = tab.row;
    row[28] = number(0);
    row[12] = number(0x800000);
    EXPECT_EQ(field(tab, row, 0), 0x10000U);
    row[12] = number(0x7FFFFFFF & ~0x800000);
    EXPECT_EQ(field(tab, row, 0), 0U);
}

TEST_F(ColumnRule, NullsOfTabAreZero) {
    const decoder_case &tab = decoder_of("TAB");
    for (size_t position : std::vector<size_t>{1, 5, 6}) {
        const size_t index_of_field = position == 1 ? 2 : position == 5 ? 3 : 4;
        Row row = tab.row;
        row[position - 1] = null_value();
        EXPECT_EQ(field(tab, row, index_of_field), 0U) << position;
        EXPECT_EQ(field(tab, row, 5), 1007U) << "NULL takes one byte";
    }
}

// ---- CLU$, COL$, LOB$

TEST_F(ColumnRule, CluFlagsColumnSetsTheExtraBytesBitByBit23Alone) {
    const decoder_case &clu = decoder_of("CLU");
    Row row = clu.row;
    row[14] = number(0x7FFFFFFF & ~0x800000);
    EXPECT_EQ(field(clu, row, 0), 0U);
    row[14] = number(0x7FFFFFFF);
    EXPECT_EQ(field(clu, row, 0), 0x10000U);
}

TEST_F(ColumnRule, ColPropertyChainAppliesItsFirstMatchAlone) {
    struct {
        uint32_t property;
        uint32_t flag;
    } chain[] = {{0x20, 0x1}, {0x4000, 0x2}, {0x8000, 0x4}, {1U << 26, 0x100}, {1U << 29, 0x100}};
    const decoder_case &col = decoder_of("COL");
    uint32_t later = 0;
    for (const auto &rule : chain)
        later |= rule.property;
    Row row = col.row;
    row[16] = number(1);
    for (const auto &rule : chain) {
        row[14] = number(rule.property);
        EXPECT_EQ(field(col, row, 0), rule.flag) << std::hex << rule.property;
        row[14] = number(later);
        EXPECT_EQ(field(col, row, 0), rule.flag) << std::hex << later;
        later &= ~rule.property;
    }
    row[14] = number(0xFFFFFFFF & ~(0x20U | 0x4000 | 0x8000 | 1U << 26 | 1U << 29));
    EXPECT_EQ(field(col, row, 0), 0U);
}

TEST_F(ColumnRule, ColCharacterSetFormTwoAloneIsNational) {
    const decoder_case &col = decoder_of("COL");
    Row row = col.row;
    row[14] = number(0);
    for (int form : {0, 1, 2, 3, 4, 6}) {
        row[16] = number(form);
        EXPECT_EQ(field(col, row, 0), form == 2 ? 0x1000U : 0U) << form;
    }
    row[16] = null_value();
    EXPECT_EQ(field(col, row, 0), 0U);
}

TEST_F(ColumnRule, ColSegmentColumnZeroBecomes65535) {
    const decoder_case &col = decoder_of("COL");
    Row row = col.row;
    row[1] = number(0);
    EXPECT_EQ(field(col, row, 3), 65535U);
    row[1] = number(1);
    EXPECT_EQ(field(col, row, 3), 1U);
}

TEST_F(ColumnRule, LobFlagsColumnMapsToOneOfTwoBits) {
    struct {
        uint32_t column;
        uint32_t flag;
    } cases[] = {{0x1000, 1}, {0x2000, 2}, {0x4000, 2}, {0x8000, 2}, {0xF000, 1}, {0x7FFF0FFF, 0}, {0, 0}};
    const decoder_case &lob = decoder_of("LOB");
    Row row = lob.row;
    for (const auto &rule : cases) {
        row[10] = number(rule.column);
        EXPECT_EQ(field(lob, row, 0), rule.flag) << std::hex << rule.column;
    }
}

// ---- OBJ$

TEST_F(ColumnRule, ObjFlagIsStoredAsRead) {
    const decoder_case &obj = decoder_of("OBJ");
    Row row = obj.row;
    row[13] = sample::decimal(ALL_BITS);
    EXPECT_EQ(field(obj, row, 0), 0x7FFFFFFFU);
    row[13] = null_value();
    EXPECT_EQ(field(obj, row, 0), 0U);
}

// ---- PROPS$

class PropertyValue : public ColumnRule {
protected:
    // The record of a property whose value is stored in the given form.
    std::string property(const Value &value, sample::LengthForm form) {
        const decoder_case &props = decoder_of("PROPS");
        sample::TableBlock block = make_block(props);
        sample::Bytes piece = sample::encode_piece({}, Row{sample::text("P")});
        sample::append_column(piece, value, form);
        block.add(piece);
        const decoded d = decode(props, block.finish());
        return d.nrow == 1 ? d.records.at(0) : d.err;
    }

    static std::string expected(const std::string &value) {
        return to_hex(make_record({}, {{"P", 32}, {value, 128}}));
    }
};

TEST_F(PropertyValue, NullIsEmpty) {
    EXPECT_EQ(property(null_value(), sample::LengthForm::automatic), expected(""));
}

TEST_F(PropertyValue, LongFormIsReadAndCutTo127Bytes) {
    for (size_t len : {0U, 5U, 126U, 127U, 128U, 300U, 1000U}) {
        const std::string value(len, 'v');
        EXPECT_EQ(property(sample::Bytes(len, 'v'), sample::LengthForm::three_bytes),
                  expected(value.substr(0, 127)))
            << len;
    }
}

TEST_F(PropertyValue, ShortFormIsCutTo127BytesToo) {
    for (size_t len : {127U, 128U, 253U})
        EXPECT_EQ(property(sample::Bytes(len, 'v'), sample::LengthForm::one_byte),
                  expected(std::string(127, 'v')))
            << len;
}

} // namespace
