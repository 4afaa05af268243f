// Decimal digits written straight to a buffer.
#pragma once

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
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

// Four numbers in the 16-bit lanes of a word, the first in the lowest: values that are stored a byte to two
// decimal digits are decoded four at a time, without a branch by how many there are.
using Lanes = uint64_t;

// The same number in all lanes.
constexpr Lanes in_all_lanes(uint16_t value) {
    return value * Lanes{0x0001000100010001};
}

// A number to a byte, the first in the lowest.
constexpr Lanes lanes_of(uint32_t bytes) {
    const uint64_t halves = (bytes | uint64_t{bytes} << 16) & 0x0000FFFF0000FFFF;
    return (halves | halves << 8) & 0x00FF00FF00FF00FF;
}

// Whether every number is from 0 to the one in its lane of `most`, which is below 256. Numbers that were
// subtracted from each other may be below 0: the lowest lane of such a one shows it, whatever it has borrowed
// from those above.
constexpr bool are_up_to(Lanes most, Lanes numbers) {
    constexpr Lanes TOP = in_all_lanes(0x8000);
    return (((numbers + (TOP - in_all_lanes(1) - most)) | numbers) & TOP) == 0;
}

// The two digits of every number, all of them below 100, as characters in their order in memory.
constexpr uint64_t digits_of(Lanes numbers) {
    const Lanes tens = (numbers * 103 >> 10) & in_all_lanes(0x000F);
    const Lanes units = numbers - 10 * tens;
    return tens | units << 8 | in_all_lanes('0' | '0' << 8);
}

// Writes the characters of a word from the lowest byte on.
inline void put_characters(char *out, uint64_t word) {
    std::memcpy(out, &word, sizeof word);
}

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
