// DATE and the TIMESTAMP types.
//
// Seven bytes: century + 100, year of the century + 100, month, day, hour + 1, minute + 1, second + 1; a
// TIMESTAMP with a fraction adds four bytes of billionths. The signed year is the astronomical one, in which
// 0000 is the year before 0001 and every fourth one is a leap year: -4712 is the first, 0000 is 1 BC for
// those who name years. Dates before 15 October 1582 are of the Julian calendar.
#pragma once

#include <cstddef>
#include <cstdint>

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

// Whether the Gregorian calendar, continued into the past, lacks the day: 29 February of a year that is a
// leap year in the Julian calendar alone.
bool is_julian_only(const Moment &moment);

// Reads an offset such as "+02:00", "-3:30" or "00:00" from a NUL-terminated text. False when it is none.
bool parse_offset(const char *text, int &minutes);

// Write `moment` to `out`, the second with its offset or region; return the end.
char *format_moment(const Moment &moment, MomentStyle style, char *out);
char *format_zoned_moment(const Moment &moment, const Zone &zone, MomentStyle style, char *out);

} // namespace vexlo
