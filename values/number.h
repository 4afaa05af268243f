// Oracle NUMBER: a sign-and-exponent byte and up to 20 base-100 digits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

constexpr size_t NUMBER_TEXT_MAX = 160; // room format_number() needs at most, more than the text it writes

// Writes the exact decimal text of the `size` bytes at `data` to `out` and returns its end, or null when the
// bytes are no NUMBER: a negative one of less than 20 digits has a mark behind them, without which most texts
// would read as one. The infinities are written as "Infinity" and "-Infinity". Values that would need more
// than 40 padding zeros are written with an exponent ("1E+125"), all others in plain notation.
char *format_number(const uint8_t *data, size_t size, char *out);

// Whether the bytes are a finite NUMBER in the one form in which databases write it: no zero digits at either
// end, and a mark behind the digits of a negative one that has not all of them. Hardly any text has that
// form.
bool is_canonical_number(const uint8_t *data, size_t size);

} // namespace vexlo
