// DATE and the TIMESTAMP types.
//
// Seven bytes: century + 100, year of the century + 100, month, day, hour + 1, minute + 1, second + 1; a
// TIMESTAMP with a fraction adds four bytes of billionths. The signed year is the astronomical one, in which
// 0000 is the year before 0001 and every fourth one is a leap year: -4712 is the first, 0000 is 1 BC for
// those who name years. Dates before 15 October 1582 are of the Julian calendar.
#pragma once

#include <cstddef>
#include <cstdint>

#include "format/byte_order.h"
#include "values/digits.h"

namespace vexlo {

enum class MomentStyle : uint8_t {
    iso,         // 2024-02-29T12:30:00.5+02:00, years before the common era with "-"
    oracle,      // 2024-02-29 12:30:00.5 +02:00, the fraction always there so that one mask fits all values
    oracle_date, // 2024-02-29 12:30:00
    postgresql,  // 2024-02-29 12:30:00.5 +02:00, 0000 and earlier years with " BC" at the end
};

constexpr size_t MOMENT_TEXT_MAX = 64; // room a format function below needs at most

struct Moment {
    int year;
    unsigned month, day, hour, minute, second;
    uint32_t nanos;
};

struct Zone {
    bool is_region;
    unsigned region; // region number, when is_region
    int minutes;     // offset from UTC, when not
};

// Decodes a DATE (7 bytes) or a TIMESTAMP (7 or 11 bytes). False when it is no moment of the calendar.
bool decode_moment(const uint8_t *data, size_t size, Moment &moment);

// Decodes a TIMESTAMP WITH TIME ZONE (13 bytes, the moment in UTC). With an offset `moment` becomes the local
// time of that offset; with a region it stays UTC, since the region's rules are not known. False when it is
// no such value.
bool decode_zoned_moment(const uint8_t *data, size_t size, Moment &moment, Zone &zone);

// DATEs of the years 0 to 9999 but for leap days, and for years that are not stored in the usual way: writes
// one in MomentStyle::iso and returns the end; null for another value. READ_SLACK bytes behind it must be
// readable.
inline char *put_plain_date(const uint8_t *data, size_t size, char *out) {
    constexpr size_t SIZE = 7;
    static constexpr uint8_t DAYS[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    constexpr auto lanes = [](uint64_t a, uint64_t b, uint64_t c, uint64_t d) {
        return a | b << 16 | c << 32 | d << 48;
    };
    if (size != SIZE)
        return nullptr;
    const Lanes date = lanes_of(load_le32(data)) - lanes(100, 100, 1, 1);
    const Lanes clock = (lanes_of(load_le32(data + 3)) >> 16) - lanes(1, 1, 1, 0);
    if (!are_up_to(lanes(99, 99, 11, 30), date) || !are_up_to(lanes(23, 59, 59, 0), clock) ||
        data[3] > DAYS[data[2] - 1])
        return nullptr;
    const uint64_t day = digits_of(date + lanes(0, 0, 1, 1)), time = digits_of(clock);
    const auto pair = [](uint64_t digits, unsigned i) { return digits >> (16 * i) & 0xFFFF; };
    const auto mark = [](char c, unsigned at) { return static_cast<uint64_t>(c) << (8 * at); };
    put_characters(out, (day & 0xFFFFFFFF) | mark('-', 4) | pair(day, 2) << 40 | mark('-', 7));
    put_characters(out + 8,
                   pair(day, 3) | mark('T', 2) | pair(time, 0) << 24 | mark(':', 5) | pair(time, 1) << 48);
    put_characters(out + 16, mark(':', 0) | pair(time, 2) << 8);
    return out + 19;
}

// Whether the Gregorian calendar, continued into the past, lacks the day: 29 February of a year that is a
// leap year in the Julian calendar alone.
bool is_julian_only(const Moment &moment);

// Reads an offset such as "+02:00", "-3:30" or "00:00" from a NUL-terminated text. False when it is none.
bool parse_offset(const char *text, int &minutes);

// Write `moment` to `out`, the second with its offset or region; return the end.
char *format_moment(const Moment &moment, MomentStyle style, char *out);
char *format_zoned_moment(const Moment &moment, const Zone &zone, MomentStyle style, char *out);

} // namespace vexlo
