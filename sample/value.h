// Column values in the form in which rows store them. A NULL is an empty optional; a Bytes of length 0 is the
// (never written by a real database) empty value.
#pragma once

#include <optional>
#include <string_view>

#include "bytes.h"

namespace sample {

using Value = std::optional<Bytes>;
using Row = std::vector<Value>;

// Column type codes
constexpr uint32_t TYPE_VARCHAR2 = 1;
constexpr uint32_t TYPE_NUMBER = 2;
constexpr uint32_t TYPE_DATE = 12;
constexpr uint32_t TYPE_RAW = 23;
constexpr uint32_t TYPE_CHAR = 96;
constexpr uint32_t TYPE_BINARY_FLOAT = 100;
constexpr uint32_t TYPE_BINARY_DOUBLE = 101;
constexpr uint32_t TYPE_TIMESTAMP = 180;
constexpr uint32_t TYPE_TIMESTAMP_TZ = 181;
constexpr uint32_t TYPE_INTERVAL_YM = 182;
constexpr uint32_t TYPE_INTERVAL_DS = 183;
constexpr uint32_t TYPE_TIMESTAMP_LTZ = 231;
constexpr uint32_t TYPE_BFILE = 114;
constexpr uint32_t TYPE_JSON = 119;
// TYPE_LONG, TYPE_LONG_RAW, TYPE_CLOB and TYPE_BLOB are in vexlo.h, as they matter to both sides.

struct DateTime {
    int year; // negative before the common era
    int month;
    int day;
    int hour = 0;
    int minute = 0;
    int second = 0;
};

// NULL.
Value null_value();

// NUMBER: an integer.
Value number(int64_t n);

// NUMBER: a decimal text such as "-12.50" or "0.007" of at most 40 significant digits, without exponent.
// Throws std::invalid_argument on any other text.
Value decimal(std::string_view text);

// VARCHAR2, LONG: the bytes of the text as they are. An empty text is NULL, as in the database.
Value text(std::string_view s);

// CHAR(width): the text padded with blanks to width bytes.
Value padded(std::string_view s, size_t width);

// RAW, LONG RAW: the bytes as they are.
Value raw(ByteView bytes);

// DATE: 7 bytes, century and year plus 100, month, day, and the time of day plus 1.
Value date(const DateTime &t);

// TIMESTAMP and TIMESTAMP WITH LOCAL TIME ZONE: 7 bytes when there is no fraction, otherwise 11 with the
// nanoseconds big-endian at the end.
Value timestamp(const DateTime &t, uint32_t nanoseconds = 0);

// TIMESTAMP WITH TIME ZONE: 13 bytes; t is in UTC, the zone is an offset in minutes east of it.
Value timestamp_tz(const DateTime &t, uint32_t nanoseconds, int offset_minutes);

// INTERVAL YEAR TO MONTH: 5 bytes, both parts with the sign of the interval.
Value interval_ym(int years, int months);

// INTERVAL DAY TO SECOND: 11 bytes, every part with the sign of the interval.
Value interval_ds(int days, int hours, int minutes, int seconds, int nanoseconds);

// BINARY_FLOAT and BINARY_DOUBLE: IEEE bits big-endian, changed so that byte order is numeric order.
Value binary_float(float f);
Value binary_double(double d);

// LOB locator of an out-of-line value with the given LOB id; `character` tells a CLOB from a BLOB.
Value lob_locator(uint64_t lob_id, bool character);

} // namespace sample
