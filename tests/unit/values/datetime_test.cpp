#include <gtest/gtest.h>

#include "dump_writer.h"
#include "values/datetime.h"
#include "values/text_scan.h"

namespace {

using vexlo::MomentStyle;

const uint8_t *data_of(const Bytes &bytes) {
    return reinterpret_cast<const uint8_t *>(bytes.data());
}

std::string text_of(const Bytes &bytes, MomentStyle style = MomentStyle::iso) {
    vexlo::Moment moment;
    if (!vexlo::decode_moment(data_of(bytes), bytes.size(), moment))
        return "invalid";
    char out[vexlo::MOMENT_TEXT_MAX];
    return {out, vexlo::format_moment(moment, style, out)};
}

std::string zoned_text(const Bytes &bytes, MomentStyle style = MomentStyle::iso) {
    vexlo::Moment moment;
    vexlo::Zone zone;
    if (!vexlo::decode_zoned_moment(data_of(bytes), bytes.size(), moment, zone))
        return "invalid";
    char out[vexlo::MOMENT_TEXT_MAX];
    return {out, vexlo::format_zoned_moment(moment, zone, style, out)};
}

TEST(Datetime, KnownPattern) {
    EXPECT_EQ(text_of("\x78\x7C\x02\x1D\x0D\x23\x39"), "2024-02-29T12:34:56");
}

TEST(Datetime, EndsOfTheRange) {
    EXPECT_EQ(text_of(ora_date(9999, 12, 31, 23, 59, 59)), "9999-12-31T23:59:59");
    EXPECT_EQ(text_of("\x35\x58\x01\x01\x01\x01\x01"), "-4712-01-01T00:00:00");
    EXPECT_EQ(text_of(ora_date(-1, 12, 31)), "-0001-12-31T00:00:00");
    EXPECT_EQ(text_of(ora_date(1, 1, 1)), "0001-01-01T00:00:00");
}

TEST(Datetime, YearsBeforeTheCommonEraByTarget) {
    EXPECT_EQ(text_of(ora_date(-44, 3, 15), MomentStyle::oracle_date), "-0044-03-15 00:00:00");
    EXPECT_EQ(text_of(ora_date(-44, 3, 15), MomentStyle::postgresql), "0045-03-15 00:00:00 BC");
}

TEST(Datetime, TheSignedYearIsTheAstronomicalOne) {
    EXPECT_EQ(text_of(ora_date(0, 2, 29)), "0000-02-29T00:00:00");
    EXPECT_EQ(text_of(ora_date(0, 2, 29), MomentStyle::postgresql), "0001-02-29 00:00:00 BC");
    EXPECT_EQ(text_of(ora_date(-4712, 1, 1), MomentStyle::postgresql), "4713-01-01 00:00:00 BC");
    EXPECT_EQ(text_of(ora_date(-4, 2, 29)), "-0004-02-29T00:00:00");
    EXPECT_EQ(text_of(ora_date(-3, 2, 29)), "invalid");
    EXPECT_EQ(text_of(ora_date(-4713, 12, 31)), "invalid");
    EXPECT_EQ(text_of(ora_date(10000, 1, 1)), "invalid");
}

TEST(Datetime, LeapDays) {
    EXPECT_EQ(text_of(ora_date(2000, 2, 29)), "2000-02-29T00:00:00");
    EXPECT_EQ(text_of(ora_date(1900, 2, 29)), "invalid");
    EXPECT_EQ(text_of(ora_date(2023, 2, 29)), "invalid");
    EXPECT_EQ(text_of(ora_date(1500, 2, 29)), "1500-02-29T00:00:00"); // the Julian calendar has it
    EXPECT_EQ(text_of(ora_date(2024, 2, 30)), "invalid");
}

TEST(Datetime, FractionAsStored) {
    const Bytes date = ora_date(2024, 1, 2, 3, 4, 5);
    EXPECT_EQ(text_of(ora_timestamp(date, 123456789)), "2024-01-02T03:04:05.123456789");
    EXPECT_EQ(text_of(ora_timestamp(date, 1)), "2024-01-02T03:04:05.000000001");
    EXPECT_EQ(text_of(ora_timestamp(date, 500000000)), "2024-01-02T03:04:05.5");
    EXPECT_EQ(text_of(ora_timestamp(date, 0)), "2024-01-02T03:04:05");
    EXPECT_EQ(text_of(ora_timestamp(date, 999999999)), "2024-01-02T03:04:05.999999999");
    EXPECT_EQ(text_of(ora_timestamp(date, 1000000000)), "invalid");
    EXPECT_EQ(text_of(ora_timestamp(date, 0), MomentStyle::oracle), "2024-01-02 03:04:05.0");
}

TEST(Datetime, BytesThatAreNoDateAreRefused) {
    EXPECT_EQ(text_of(ora_date(2024, 0, 1)), "invalid");
    EXPECT_EQ(text_of(ora_date(2024, 13, 1)), "invalid");
    EXPECT_EQ(text_of(ora_date(2024, 1, 0)), "invalid");
    EXPECT_EQ(text_of(ora_date(2024, 4, 31)), "invalid");
    EXPECT_EQ(text_of(ora_date(2024, 1, 1, 24)), "invalid");
    EXPECT_EQ(text_of(ora_date(2024, 1, 1, -1)), "invalid");
    EXPECT_EQ(text_of(ora_date(2024, 1, 1, 0, 60)), "invalid");
    EXPECT_EQ(text_of(ora_date(2024, 1, 1, 0, 0, 60)), "invalid");
    EXPECT_EQ(text_of("\x78\x7C\x02\x1D\x0D\x23"), "invalid");
    EXPECT_EQ(text_of(Bytes(7, '\xFF')), "invalid");
}

// What stands behind the value is no part of it. "other" when the value is not of the plain kind.
std::string plain_text(const Bytes &bytes) {
    const Bytes padded = bytes + Bytes(vexlo::READ_SLACK, '\xFF');
    char out[vexlo::MOMENT_TEXT_MAX];
    char *const end = vexlo::put_plain_date(data_of(padded), bytes.size(), out);
    return end == nullptr ? "other" : std::string(&out[0], end);
}

TEST(Datetime, PlainDatesAreThoseOfTheCommonEraButForLeapDays) {
    for (const int year : {0, 1, 99, 100, 1582, 1999, 2000, 2024, 9999})
        for (int month = 1; month <= 12; ++month)
            for (int day = 1; day <= 31; ++day) {
                const Bytes bytes = ora_date(year, month, day, day % 24, 59 - day, month * 4);
                const bool leap_day = month == 2 && day == 29;
                const std::string text = text_of(bytes);
                ASSERT_EQ(plain_text(bytes), leap_day || text == "invalid" ? "other" : text);
            }
    EXPECT_EQ(plain_text(ora_date(-1, 12, 31)), "other");
    EXPECT_EQ(plain_text(ora_timestamp(ora_date(2024, 1, 1), 5)), "other");
    EXPECT_EQ(plain_text(ora_date(2024, 1, 1).substr(0, 6)), "other");
    EXPECT_EQ(plain_text(""), "other");
}

TEST(Datetime, EveryByteAtEveryPlaceOfAPlainDate) {
    for (const Bytes &sound : {ora_date(2024, 1, 28, 12, 34, 56), ora_date(1, 12, 1)})
        for (size_t at = 0; at < sound.size(); ++at)
            for (unsigned byte = 0; byte < 256; ++byte) {
                Bytes bytes = sound;
                bytes[at] = static_cast<char>(byte);
                const std::string text = text_of(bytes);
                const auto is_plain = [&](size_t i) {
                    return data_of(bytes)[i] >= 100 && data_of(bytes)[i] < 200;
                };
                const bool other = text == "invalid" || !is_plain(0) || !is_plain(1);
                ASSERT_EQ(plain_text(bytes), other || text.substr(4, 6) == "-02-29" ? "other" : text);
            }
}

TEST(Datetime, OffsetsGiveLocalTime) {
    const Bytes noon = ora_date(2024, 6, 1, 12);
    EXPECT_EQ(zoned_text(ora_zoned(noon, 0, 120)), "2024-06-01T14:00:00+02:00");
    EXPECT_EQ(zoned_text(ora_zoned(noon, 250000000, -330)), "2024-06-01T06:30:00.25-05:30");
    EXPECT_EQ(zoned_text(ora_zoned(noon, 0, 0)), "2024-06-01T12:00:00+00:00");
    EXPECT_EQ(zoned_text(ora_zoned(noon, 0, 120), MomentStyle::oracle), "2024-06-01 14:00:00.0 +02:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(-44, 3, 15), 0, 60), MomentStyle::postgresql),
              "0045-03-15 01:00:00 +01:00 BC");
}

TEST(Datetime, OffsetsCrossDaysMonthsAndYears) {
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(2023, 12, 31, 23), 0, 120)), "2024-01-01T01:00:00+02:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(2024, 1, 1, 1), 0, -120)), "2023-12-31T23:00:00-02:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(2024, 3, 1, 0), 0, -60)), "2024-02-29T23:00:00-01:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(2023, 2, 28, 23, 30), 0, 60)), "2023-03-01T00:30:00+01:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(10000, 1, 1, 4, 59), 0, -300)), "9999-12-31T23:59:00-05:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(1, 1, 1), 0, -60)), "0000-12-31T23:00:00-01:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(0, 12, 31, 23), 0, 60)), "0001-01-01T00:00:00+01:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(1582, 10, 4, 23), 0, 60)), "1582-10-15T00:00:00+01:00");
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(1582, 10, 15, 0), 0, -60)), "1582-10-04T23:00:00-01:00");
}

TEST(Datetime, RegionIsShownByNumber) {
    const Bytes bytes = ora_zoned_region(ora_date(2024, 6, 1, 12), 0, 1234);
    EXPECT_EQ(zoned_text(bytes), "2024-06-01T12:00:00Z[region 1234]");
    EXPECT_EQ(zoned_text(bytes, MomentStyle::oracle), "2024-06-01 12:00:00.0 +00:00");
}

TEST(Datetime, OffsetBeyondAnyZoneIsRefused) {
    EXPECT_EQ(zoned_text(ora_zoned(ora_date(2024, 6, 1), 0, 16 * 60)), "invalid");
    EXPECT_EQ(zoned_text(ora_date(2024, 6, 1)), "invalid");
}

TEST(Datetime, OffsetText) {
    int minutes = 0;
    EXPECT_TRUE(vexlo::parse_offset("+02:00", minutes));
    EXPECT_EQ(minutes, 120);
    EXPECT_TRUE(vexlo::parse_offset("-3:30", minutes));
    EXPECT_EQ(minutes, -210);
    EXPECT_TRUE(vexlo::parse_offset("00:00", minutes));
    EXPECT_EQ(minutes, 0);
    for (const char *text :
         {"", "AMERICAN", "+2", "+02:", "+02:xx", "+02:60", "+16:00", "+02:00 ", "10.2.0.4.0"})
        EXPECT_FALSE(vexlo::parse_offset(text, minutes)) << text;
}

} // namespace
