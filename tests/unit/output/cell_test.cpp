#include <gtest/gtest.h>

#include "dump_writer.h"
#include "output/cell.h"

namespace {

using vexlo::ColumnKind;

// Decodes one stored value of one column.
class CellTest : public testing::Test {
protected:
    CellTest()
        : charsets_{*vexlo::find_charset("WE8MSWIN1252"), *vexlo::find_charset("AL16UTF16")},
          report_(console_), table_report_(report_, "a.dat", "T") {}

    std::string decode(uint32_t ctyp, const Bytes &bytes, bool national = false,
                       std::optional<int> zone = {}) {
        return decode({"C", vexlo::column_kind(ctyp, national), national, ctyp, 100}, bytes, zone);
    }

    std::string decode(const vexlo::Column &column, const Bytes &bytes, std::optional<int> zone = {}) {
        const vexlo::Table table{"", "T", {column}, zone};
        vexlo::CellDecoder decoder(table, charsets_);
        const Bytes padded = bytes + Bytes(vexlo::READ_SLACK, '\0');
        const vexlo::Field field{vexlo::FieldKind::value, static_cast<uint32_t>(bytes.size()),
                                 reinterpret_cast<const uint8_t *>(padded.data())};
        const vexlo::Row row{1, 0, &field};
        char scratch[vexlo::CellDecoder::SCRATCH_SIZE];
        const vexlo::Cell cell = decoder.decode(row, 0, scratch, losses_);
        kind_ = cell.kind;
        const std::string text(cell.view());
        losses_.tell(table_report_);
        decoder.finish(table_report_);
        return text;
    }

    vexlo::TextCharsets charsets_;
    vexlo::Console console_{"vexlo-convert"};
    vexlo::Report report_;
    vexlo::TableReport table_report_;
    vexlo::RowLosses losses_;
    vexlo::CellKind kind_{};
};

TEST_F(CellTest, EveryTypeByItsDecoder) {
    EXPECT_EQ(decode(1, "caf\xE9"), "caf\xC3\xA9");
    EXPECT_EQ(decode(96, "x  "), "x  ");
    EXPECT_EQ(decode(8, "\x80"), "\xE2\x82\xAC");
    EXPECT_EQ(decode(1, Bytes("\x00\xE9", 2), true), "\xC3\xA9");
    EXPECT_EQ(decode(2, ora_number("-1.5")), "-1.5");
    EXPECT_EQ(decode(12, ora_date(2024, 2, 29)), "2024-02-29T00:00:00");
    EXPECT_EQ(decode(180, ora_timestamp(ora_date(2024, 2, 29), 5)), "2024-02-29T00:00:00.000000005");
    EXPECT_EQ(decode(181, ora_zoned(ora_date(2024, 2, 29), 0, 60)), "2024-02-29T01:00:00+01:00");
    EXPECT_EQ(decode(182, ora_interval_ym(1, 2)), "P1Y2M");
    EXPECT_EQ(decode(183, ora_interval_ds(1, 2, 3, 4, 0)), "P1DT2H3M4S");
    EXPECT_EQ(decode(100, ora_binary_float(1.5F)), "1.5");
    EXPECT_EQ(decode(101, ora_binary_double(-2.25)), "-2.25");
    EXPECT_EQ(report_.exit_status(), 0);
}

TEST_F(CellTest, KindsTellTheWriterHowToQuote) {
    decode(2, ora_number("7"));
    EXPECT_EQ(kind_, vexlo::CellKind::number);
    decode(2, ora_number("Infinity"));
    EXPECT_EQ(kind_, vexlo::CellKind::special);
    decode(12, ora_date(2024, 1, 1));
    EXPECT_EQ(kind_, vexlo::CellKind::moment);
    decode(1, "x");
    EXPECT_EQ(kind_, vexlo::CellKind::text);
    EXPECT_EQ(decode(23, "\x01\x02"), "\x01\x02");
    EXPECT_EQ(kind_, vexlo::CellKind::binary);
}

TEST_F(CellTest, UnknownTypeIsHexadecimal) {
    EXPECT_EQ(decode(58, "\x01\xAB"), "01AB");
    EXPECT_EQ(kind_, vexlo::CellKind::hex);
}

TEST_F(CellTest, RowAddressesAreDecodedAndOtherUniversalOnesAreHexadecimal) {
    EXPECT_EQ(decode(69, Bytes("\x00\x01\x1D\xEC\x01\x00\x00\x97\x00\x04", 10)), "AAAR3sAAEAAAACXAAE");
    EXPECT_EQ(decode(208, Bytes("\x01\x00\x01\x1D\xEC\x00\x04\x00\x00\x00\x97\x00\x04", 13)),
              "AAAR3sAAEAAAACXAAE");
    EXPECT_EQ(decode(208, "\x02\x04"), "0204");
    EXPECT_EQ(report_.exit_status(), 0);
}

TEST_F(CellTest, ReadyColumnsAreTakenAsTheyAre) {
    EXPECT_EQ(decode({"_REASON", vexlo::ColumnKind::ready_text, false, 1, 40}, "caf\xC3\xA9"), "caf\xC3\xA9");
    EXPECT_EQ(kind_, vexlo::CellKind::text);
    EXPECT_EQ(decode({"_BLOCK", vexlo::ColumnKind::ready_integer, false, 2, 22}, "4294967295"), "4294967295");
    EXPECT_EQ(kind_, vexlo::CellKind::number);
    EXPECT_EQ(report_.exit_status(), 0);
}

TEST_F(CellTest, LocalTimeZoneOfTheDatabase) {
    const Bytes stored = ora_timestamp(ora_date(2024, 2, 29), 0);
    EXPECT_EQ(decode(231, stored, false, 120), "2024-02-29T00:00:00+02:00");
    EXPECT_EQ(decode(231, stored), "2024-02-29T00:00:00");
}

TEST_F(CellTest, WhatCannotBeDecodedIsNullAndALoss) {
    EXPECT_EQ(decode(12, "\x78\x7C\x0D\x1D\x0D\x23\x39"), "");
    EXPECT_EQ(kind_, vexlo::CellKind::null);
    EXPECT_EQ(report_.exit_status(), vexlo::EXIT_LOSSES);
}

TEST_F(CellTest, ReplacedCharactersAreALoss) {
    EXPECT_EQ(decode(1, "\x81"), "\xEF\xBF\xBD");
    EXPECT_EQ(report_.exit_status(), vexlo::EXIT_LOSSES);
}

} // namespace
