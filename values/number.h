// Oracle NUMBER: a sign-and-exponent byte and up to 20 base-100 digits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "format/byte_order.h"
#include "values/digits.h"

namespace vexlo {

constexpr size_t NUMBER_TEXT_MAX = 160; // room format_number() needs at most, more than the text it writes

constexpr uint8_t NEGATIVE_MARK = 102; // behind the digits of a negative one

// A value of up to four base-100 digits, neither the first nor the last of them zero, with the decimal point
// inside or close behind them: most are of this kind.
struct ShortNumber {
    bool negative;
    size_t count;    // of digits
    size_t exponent; // of 100, for the first digit
    Lanes digits;    // zeros behind the last one
};

// Reads one. False when the bytes are another value or none. READ_SLACK bytes behind them must be readable.
inline bool read_short_number(const uint8_t *data, size_t size, ShortNumber &number) {
    constexpr size_t DIGITS_MAX = 4;
    if (size < 2)
        return false;
    number.negative = data[0] < 0x80;
    number.count = size - 1 - number.negative;
    number.exponent = number.negative ? size_t{0x3E} - data[0] : data[0] - size_t{0xC1};
    if (number.count - 1 >= DIGITS_MAX || number.exponent >= DIGITS_MAX ||
        (number.negative && data[size - 1] != NEGATIVE_MARK))
        return false;
    const Lanes stored = lanes_of(load_le32(data + 1)),
                own = UINT64_MAX >> (16 * (DIGITS_MAX - number.count));
    number.digits = (number.negative ? in_all_lanes(101) - stored : stored - in_all_lanes(1)) & own;
    return are_up_to(in_all_lanes(99), number.digits) && (number.digits & 0xFF) != 0 &&
           number.digits >> (16 * (number.count - 1)) != 0;
}

// Writes one; returns the end. `out` has room for NUMBER_TEXT_MAX.
inline char *put_short_number(const ShortNumber &number, char *out) {
    uint64_t text = digits_of(number.digits);
    const size_t end = 2 * number.count;
    const bool lead = (text & 0x0F) == 0, trail = (text >> (8 * end - 8) & 0x0F) == 0; // zeros not to show
    const size_t characters = end - lead - trail, point = 2 * (number.exponent + 1) - lead;
    text = text >> (8 * lead) | uint64_t{'0'} << 56;
    *out = '-';
    out += number.negative;
    put_characters(out, text);
    if (characters <= point)
        return out + point;
    out[point] = '.';
    put_characters(out + point + 1, text >> (8 * point));
    return out + characters + 1;
}

// format_number() of a value that read_short_number() does not take. Out of line by force: few values come
// here, and the way of the others is shorter without it.
[[gnu::noinline]] char *put_long_number(const uint8_t *data, size_t size, char *out);

// Writes the exact decimal text of the `size` bytes at `data`, which have READ_SLACK, to `out` and returns
// its end, or null when the bytes are no NUMBER: a negative one of less than 20 digits has a mark behind
// them, without which most texts would read as one. The infinities are written as "Infinity" and "-Infinity".
// Values that would need more than 40 padding zeros are written with an exponent ("1E+125"), all others in
// plain notation.
inline char *format_number(const uint8_t *data, size_t size, char *out) {
    ShortNumber number;
    return read_short_number(data, size, number) ? put_short_number(number, out)
                                                 : put_long_number(data, size, out);
}

// Whether the bytes are a finite NUMBER in the one form in which databases write it: no zero digits at either
// end, and a mark behind the digits of a negative one that has not all of them. Hardly any text has that
// form.
bool is_canonical_number(const uint8_t *data, size_t size);

} // namespace vexlo
