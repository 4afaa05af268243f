#include <gtest/gtest.h>

#include "dump_writer.h"
#include "values/interval.h"

namespace {

using vexlo::IntervalStyle;
using IntervalFormatter = char *(*)(const uint8_t *, size_t, IntervalStyle, char *);

std::string text_of(IntervalFormatter format, const Bytes &bytes, IntervalStyle style) {
    char out[vexlo::INTERVAL_TEXT_MAX];
    char *end = format(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), style, out);
    return end == nullptr ? "invalid" : std::string(&out[0], end);
}

std::string ym(int years, int months, IntervalStyle style = IntervalStyle::iso) {
    return text_of(vexlo::format_interval_ym, ora_interval_ym(years, months), style);
}

std::string ds(int d, int h, int m, int s, int nanos, IntervalStyle style = IntervalStyle::iso) {
    return text_of(vexlo::format_interval_ds, ora_interval_ds(d, h, m, s, nanos), style);
}

TEST(Interval, KnownPatterns) {
    EXPECT_EQ(text_of(vexlo::format_interval_ym, Bytes("\x80\x00\x00\x01\x3E", 5), IntervalStyle::iso),
              "P1Y2M");
    EXPECT_EQ(text_of(vexlo::format_interval_ds, Bytes("\x80\x00\x00\x01\x3E\x3F\x40\x80\x00\x00\x00", 11),
                      IntervalStyle::iso),
              "P1DT2H3M4S");
}

TEST(Interval, YearToMonth) {
    EXPECT_EQ(ym(0, 0), "P0Y0M");
    EXPECT_EQ(ym(-1, -2), "P-1Y-2M");
    EXPECT_EQ(ym(0, -11), "P0Y-11M");
    EXPECT_EQ(ym(999999999, 11), "P999999999Y11M");
    EXPECT_EQ(ym(1, 2, IntervalStyle::oracle), "1-02");
    EXPECT_EQ(ym(-10, -11, IntervalStyle::oracle), "-10-11");
    EXPECT_EQ(ym(0, -1, IntervalStyle::oracle), "-0-01");
}

TEST(Interval, DayToSecond) {
    EXPECT_EQ(ds(0, 0, 0, 0, 0), "P0DT0H0M0S");
    EXPECT_EQ(ds(1, 2, 3, 4, 500000000), "P1DT2H3M4.5S");
    EXPECT_EQ(ds(-1, -2, -3, -4, -500000000), "P-1DT-2H-3M-4.5S");
    EXPECT_EQ(ds(0, 0, 0, 0, -1), "P0DT0H0M-0.000000001S");
    EXPECT_EQ(ds(999999999, 23, 59, 59, 999999999), "P999999999DT23H59M59.999999999S");
    EXPECT_EQ(ds(-1, -2, -3, -4, -500000000, IntervalStyle::oracle), "-1 02:03:04.5");
}

TEST(Interval, RoundedToMicroseconds) {
    const auto rounded = [](int d, int h, int m, int s, int nanos) {
        return ds(d, h, m, s, nanos, IntervalStyle::micros);
    };
    EXPECT_EQ(rounded(0, 0, 0, 1, 2500), "P0DT0H0M1.000002S");
    EXPECT_EQ(rounded(0, 0, 0, 1, 3500), "P0DT0H0M1.000004S");
    EXPECT_EQ(rounded(0, 0, 0, 1, 2501), "P0DT0H0M1.000003S");
    EXPECT_EQ(rounded(0, 0, 0, -1, -2500), "P0DT0H0M-1.000002S");
    EXPECT_EQ(rounded(0, 0, 0, 0, -500), "P0DT0H0M0S");
    EXPECT_EQ(rounded(0, 0, 0, 9, 999999500), "P0DT0H0M10S");
    EXPECT_EQ(rounded(-1, -23, -59, -59, -999999500), "P-2DT0H0M0S");
    EXPECT_EQ(rounded(999999999, 23, 59, 59, 999999999), "P1000000000DT0H0M0S");
    EXPECT_EQ(text_of(vexlo::format_interval_ym, ora_interval_ym(-1, -2), IntervalStyle::micros), "P-1Y-2M");
}

TEST(Interval, OutOfRangeIsRefused) {
    EXPECT_EQ(ym(1, 12), "invalid");
    EXPECT_EQ(ym(1000000000, 0), "invalid");
    EXPECT_EQ(ym(1, -1), "invalid");
    EXPECT_EQ(ds(0, 24, 0, 0, 0), "invalid");
    EXPECT_EQ(ds(0, 0, 60, 0, 0), "invalid");
    EXPECT_EQ(ds(0, 0, 0, 60, 0), "invalid");
    EXPECT_EQ(ds(0, 0, 0, 0, 1000000000), "invalid");
    EXPECT_EQ(text_of(vexlo::format_interval_ym, "\x80", IntervalStyle::iso), "invalid");
    EXPECT_EQ(text_of(vexlo::format_interval_ds, "\x80", IntervalStyle::iso), "invalid");
}

} // namespace
