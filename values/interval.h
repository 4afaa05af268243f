// INTERVAL YEAR TO MONTH and INTERVAL DAY TO SECOND.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

enum class IntervalStyle : uint8_t {
    iso,    // P1Y2M, P1DT2H3M4.5S; every field of a negative interval carries the sign
    oracle, // 1-02, 1 02:03:04.5; one sign in front
    micros, // as iso, rounded to microseconds, halves to even
};

constexpr size_t INTERVAL_TEXT_MAX = 64; // room a function below needs at most

// Write the interval of `size` bytes at `data` to `out` and return its end, or null when the bytes are no
// such interval.
char *format_interval_ym(const uint8_t *data, size_t size, IntervalStyle style, char *out);
char *format_interval_ds(const uint8_t *data, size_t size, IntervalStyle style, char *out);

// Whether a sound INTERVAL DAY TO SECOND is no whole number of microseconds.
bool is_finer_than_micros(const uint8_t *data);

// Whether a sound INTERVAL YEAR TO MONTH has more months than 31 bits count.
bool has_wide_months(const uint8_t *data);

} // namespace vexlo
