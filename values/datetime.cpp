#include "values/datetime.h"

#include <cstdlib>

#include "format/byte_order.h"
#include "values/digits.h"
#include "values/micros.h"

namespace vexlo {

namespace {

constexpr size_t DATE_SIZE = 7;
constexpr size_t TIMESTAMP_SIZE = 11;
constexpr size_t ZONED_SIZE = 13;
constexpr uint32_t NANOS_PER_SECOND = 1000000000;
constexpr int YEAR_MIN = -4712;
constexpr int YEAR_MAX = 9999;
constexpr int YEAR_MARGIN = 1; // by which the UTC form of a zoned value may lie outside
constexpr int GREGORIAN_YEAR = 1582;
constexpr int MINUTES_PER_DAY = 24 * 60;
constexpr int OFFSET_MAX = 15 * 60 + 59;

bool is_gregorian_leap(int year) {
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

bool is_leap(int year) {
    return year <= GREGORIAN_YEAR ? year % 4 == 0 : is_gregorian_leap(year);
}

unsigned days_in_month(int year, unsigned month) {
    constexpr unsigned char DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    return month == 2 && is_leap(year) ? 29 : DAYS[month - 1];
}

bool is_valid(const Moment &m, int margin) {
    return m.year >= YEAR_MIN - margin && m.year <= YEAR_MAX + margin && m.month - 1 < 12 && m.day >= 1 &&
           m.hour < 24 && m.minute < 60 && m.second < 60 && m.nanos < NANOS_PER_SECOND &&
           (m.day <= 28 || m.day <= days_in_month(m.year, m.month));
}

bool before_gregorian_gap(const Moment &m, unsigned day) {
    return m.year == GREGORIAN_YEAR && m.month == 10 && m.day == day;
}

void next_day(Moment &m) {
    if (before_gregorian_gap(m, 4)) {
        m.day = 15;
    } else if (m.day < days_in_month(m.year, m.month)) {
        ++m.day;
    } else {
        m.day = 1;
        if (m.month == 12)
            ++m.year;
        m.month = m.month % 12 + 1;
    }
}

void previous_day(Moment &m) {
    if (before_gregorian_gap(m, 15)) {
        m.day = 4;
    } else if (m.day > 1) {
        --m.day;
    } else {
        if (m.month == 1)
            --m.year;
        m.month = (m.month + 10) % 12 + 1;
        m.day = days_in_month(m.year, m.month);
    }
}

void shift_minutes(Moment &m, int minutes) {
    int total = static_cast<int>(m.hour * 60 + m.minute) + minutes;
    if (total < 0) {
        previous_day(m);
        total += MINUTES_PER_DAY;
    } else if (total >= MINUTES_PER_DAY) {
        next_day(m);
        total -= MINUTES_PER_DAY;
    }
    m.hour = static_cast<unsigned>(total) / 60;
    m.minute = static_cast<unsigned>(total) % 60;
}

char *put_year(char *out, unsigned year) {
    if (year >= 10000)
        return put_integer(out, year);
    return put_pair(put_pair(out, year / 100), year % 100);
}

char *put_clock(char *out, unsigned hour, unsigned minute) {
    out = put_pair(out, hour);
    *out++ = ':';
    return put_pair(out, minute);
}

char *put_offset(char *out, int minutes) {
    *out++ = minutes < 0 ? '-' : '+';
    const unsigned size = static_cast<unsigned>(std::abs(minutes));
    return put_clock(out, size / 60, size % 60);
}

// Whether the year is written as one before the common era, counted backwards from 1.
bool has_era(const Moment &m, MomentStyle style) {
    return m.year <= 0 && style == MomentStyle::postgresql;
}

// In whole microseconds, which the server keeps as they are: its own rounding, that of its arithmetic, takes
// one half in a hundred up instead of down. What makes the next second is left to it.
uint32_t nanos_for_server(uint32_t nanos) {
    const uint32_t micros = rounded_micros(nanos);
    return micros == MICROS_PER_SECOND ? nanos : micros * NANOS_PER_MICRO;
}

char *put_moment(const Moment &m, MomentStyle style, char *out) {
    if (m.year < 0 && style != MomentStyle::postgresql)
        *out++ = '-';
    out = put_year(out, static_cast<unsigned>(has_era(m, style) ? 1 - m.year : std::abs(m.year)));
    *out++ = '-';
    out = put_pair(out, m.month);
    *out++ = '-';
    out = put_pair(out, m.day);
    *out++ = style == MomentStyle::iso ? 'T' : ' ';
    out = put_clock(out, m.hour, m.minute);
    *out++ = ':';
    out = put_pair(out, m.second);
    if (style == MomentStyle::oracle && m.nanos == 0)
        return put_text(out, ".0");
    return put_fraction(out, style == MomentStyle::postgresql ? nanos_for_server(m.nanos) : m.nanos);
}

char *put_era(const Moment &m, MomentStyle style, char *out) {
    return has_era(m, style) ? put_text(out, " BC") : out;
}

char *put_zone(const Zone &zone, MomentStyle style, char *out) {
    if (style != MomentStyle::iso) {
        *out++ = ' ';
        return put_offset(out, zone.is_region ? 0 : zone.minutes);
    }
    if (!zone.is_region)
        return put_offset(out, zone.minutes);
    out = put_integer(put_text(out, "Z[region "), zone.region);
    *out++ = ']';
    return out;
}

bool decode_within(const uint8_t *p, size_t size, int margin, Moment &m) {
    if (size != DATE_SIZE && size != TIMESTAMP_SIZE)
        return false;
    m.year = (p[0] - 100) * 100 + (p[1] - 100);
    m.month = p[2];
    m.day = p[3];
    m.hour = p[4] - 1U;
    m.minute = p[5] - 1U;
    m.second = p[6] - 1U;
    m.nanos = size == TIMESTAMP_SIZE ? load_be32(p + DATE_SIZE) : 0;
    return is_valid(m, margin);
}

} // namespace

bool decode_moment(const uint8_t *p, size_t size, Moment &m) {
    return decode_within(p, size, 0, m);
}

bool is_julian_only(const Moment &m) {
    return m.month == 2 && m.day == 29 && !is_gregorian_leap(m.year);
}

// Byte 11 is the offset's hours + 20 and byte 12 its minutes + 60. With the top bit of byte 11 set they hold
// a region number instead: seven bits of byte 11, then the upper six of byte 12.
bool decode_zoned_moment(const uint8_t *p, size_t size, Moment &m, Zone &zone) {
    if (size != ZONED_SIZE || !decode_within(p, TIMESTAMP_SIZE, YEAR_MARGIN, m))
        return false;
    zone.is_region = (p[11] & 0x80) != 0;
    zone.region = 0;
    zone.minutes = 0;
    if (zone.is_region) {
        zone.region = ((p[11] & 0x7FU) << 6) | (p[12] >> 2);
        return true;
    }
    zone.minutes = (p[11] - 20) * 60 + (p[12] - 60);
    if (std::abs(zone.minutes) > OFFSET_MAX)
        return false;
    shift_minutes(m, zone.minutes);
    return is_valid(m, 0);
}

bool parse_offset(const char *text, int &minutes) {
    const bool negative = *text == '-';
    if (*text == '-' || *text == '+')
        ++text;
    char *end;
    if (*text < '0' || *text > '9')
        return false;
    const long hours = std::strtol(text, &end, 10);
    if (*end != ':' || end[1] < '0' || end[1] > '9')
        return false;
    const long rest = std::strtol(end + 1, &end, 10);
    if (*end != '\0' || hours > 15 || rest > 59)
        return false;
    minutes = static_cast<int>(hours * 60 + rest);
    if (negative)
        minutes = -minutes;
    return true;
}

char *format_moment(const Moment &m, MomentStyle style, char *out) {
    return put_era(m, style, put_moment(m, style, out));
}

char *format_zoned_moment(const Moment &m, const Zone &zone, MomentStyle style, char *out) {
    return put_era(m, style, put_zone(zone, style, put_moment(m, style, out)));
}

} // namespace vexlo
