// Decimal digits written straight to a buffer.
#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <cstring>

namespace vexlo {

// "00" to "99", two characters each.
inline constexpr std::array<char, 200> DIGIT_PAIRS = [] {
    std::array<char, 200> pairs{};
    for (size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

// Writes `value` (0 to 99) as two digits; returns the end.
inline char *put_pair(char *out, unsigned value) {
    std::memcpy(out, &DIGIT_PAIRS[2 * value], 2);
    return out + 2;
}

// Writes a whole number of any size in as many digits as it has; returns the end. `out` has room for 20.
template <class Integer>
char *put_integer(char *out, Integer value) {
    return std::to_chars(out, out + 20, value).ptr;
}

// Writes the characters of `text`; returns the end.
template <size_t N>
char *put_text(char *out, const char (&text)[N]) {
    std::memcpy(out, text, N - 1);
    return out + N - 1;
}

// Writes a fraction of `nanos` billionths as "." and its digits without trailing zeros, nothing when it is 0;
// returns the end.
inline char *put_fraction(char *out, unsigned nanos) {
    if (nanos == 0)
        return out;
    *out++ = '.';
    char digits[9];
    for (size_t i = 9; i-- > 0; nanos /= 10)
        digits[i] = static_cast<char>('0' + nanos % 10);
    size_t count = 9;
    while (digits[count - 1] == '0')
        --count;
    std::memcpy(out, digits, count);
    return out + count;
}

} // namespace vexlo
