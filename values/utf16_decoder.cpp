#include "values/utf16_decoder.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>
#include <utility>

#include "format/byte_order.h"
#include "values/unicode.h"

namespace vexlo {

namespace {

bool is_surrogate(uint16_t unit) {
    return (unit & 0xF800) == 0xD800;
}

// Writes a unit that is a character, and up to three bytes that do not count; returns the end.
char *put_character(uint32_t unit, char *out) {
    const uint32_t two = 0x80C0 | unit >> 6 | (unit & 0x3F) << 8;
    const uint32_t three = 0x8080E0 | unit >> 12 | (unit >> 6 & 0x3F) << 8 | (unit & 0x3F) << 16;
    const uint32_t bytes = unit < 0x80 ? unit : unit < 0x800 ? two : three;
    std::memcpy(out, &bytes, sizeof bytes);
    return out + 1 + (unit >= 0x80) + (unit >= 0x800);
}

// Writes the character of a surrogate pair.
char *put_pair(uint32_t high, uint32_t low, char *out) {
    const uint32_t character = 0x10000u + ((high & 0x3FF) << 10) + (low & 0x3FF);
    const uint32_t bytes = 0x808080F0 | character >> 18 | (character >> 12 & 0x3F) << 8 |
                           (character >> 6 & 0x3F) << 16 | (character & 0x3F) << 24;
    std::memcpy(out, &bytes, sizeof bytes);
    return out + sizeof bytes;
}

constexpr size_t UNITS_AT_ONCE = 4;

// Whether units, the first one highest, are ASCII; of little-endian text each has its bytes swapped.
bool are_ascii(uint64_t units, bool little_endian) {
    return (units & (little_endian ? 0x80FF80FF80FF80FF : 0xFF80FF80FF80FF80)) == 0;
}

// Writes them.
void put_ascii(uint64_t units, bool little_endian, char *out) {
    uint64_t bytes = (little_endian ? units >> 8 : units) & 0x00FF00FF00FF00FF;
    bytes = (bytes | bytes >> 8) & 0x0000FFFF0000FFFF;
    const uint32_t characters = to_be32(static_cast<uint32_t>(bytes | bytes >> 16));
    std::memcpy(out, &characters, sizeof characters);
}

uint16_t unit_at(const uint8_t *p, bool little_endian) {
    return little_endian ? load_le16(p) : load_be16(p);
}

// Four units side by side: what is written of them is found out without branches, since the kinds of
// characters change unforeseeably in many texts.
using Units = uint16_t __attribute__((vector_size(UNITS_AT_ONCE * sizeof(uint16_t))));
using Lanes = uint32_t __attribute__((vector_size(UNITS_AT_ONCE * sizeof(uint32_t))));

template <bool SWAPPED>
Lanes load_units(const uint8_t *p) {
    Units units;
    std::memcpy(&units, p, sizeof units);
    if constexpr ((std::endian::native == std::endian::little) != SWAPPED)
        units = units << 8 | units >> 8;
    return __builtin_convertvector(units, Lanes);
}

// All bits of the lanes in which a unit is of a kind.
Lanes are_first_halves(Lanes units) {
    return __builtin_convertvector((units & 0xFC00) == 0xD800, Lanes);
}
Lanes are_second_halves(Lanes units) {
    return __builtin_convertvector((units & 0xFC00) == 0xDC00, Lanes);
}
Lanes are_from(Lanes units, uint32_t least) {
    return __builtin_convertvector(units >= least, Lanes);
}

// What four units complete: each up to four bytes, the first one lowest. A pair is written with its second
// half; the first one has no bytes.
struct Written {
    Lanes bytes, sizes;
    uint32_t open; // the last unit when it is the first half of a pair, else 0
    bool sound;    // no half of a pair stands alone
};

[[gnu::always_inline]] inline Written written(Lanes units, uint32_t before) {
    const Lanes behind = {before, units[0], units[1], units[2]};
    const Lanes pairs = are_second_halves(units), above_1 = are_from(units, 0x80),
                above_2 = are_from(units, 0x800);
    const Lanes last = units & 0x3F, middle = units >> 6 & 0x3F;
    const Lanes two = 0x80C0 | units >> 6 | last << 8;
    const Lanes three = 0x8080E0 | units >> 12 | middle << 8 | last << 16;
    const Lanes character = 0x10000u + ((behind & 0x3FF) << 10) + (units & 0x3FF);
    const Lanes four = 0x808080F0 | character >> 18 | (character >> 12 & 0x3F) << 8 |
                       (character >> 6 & 0x3F) << 16 | last << 24;
    const Lanes halves = are_first_halves(units), alone = pairs ^ are_first_halves(behind);
    uint64_t any[2];
    std::memcpy(any, &alone, sizeof any);
    return {(units & ~above_1) | (two & above_1 & ~above_2) | (three & above_2 & ~pairs) | (four & pairs),
            1 - above_1 - above_2 - pairs + 3 * halves, units[3] & halves[3], (any[0] | any[1]) == 0};
}

char *put_written(const Written &what, char *out) {
    for (size_t i = 0; i < UNITS_AT_ONCE; ++i) {
        const uint32_t bytes = what.bytes[i];
        std::memcpy(out, &bytes, sizeof bytes);
        out += what.sizes[i];
    }
    return out;
}

} // namespace

char *Utf16Decoder::put(std::span<const uint8_t> bytes, char *out) {
    if (has_byte_ && !bytes.empty()) {
        has_byte_ = false;
        const uint8_t unit[] = {byte_, bytes[0]};
        out = put_unit(unit_at(unit, little_endian_), out);
        bytes = bytes.subspan(1);
    }
    out = little_endian_ ? put_all<true>(bytes.data(), bytes.size() / 2, out)
                         : put_all<false>(bytes.data(), bytes.size() / 2, out);
    if (bytes.size() % 2 != 0) {
        has_byte_ = true;
        byte_ = bytes.back();
    }
    return out;
}

template <bool SWAPPED>
char *Utf16Decoder::put_all(const uint8_t *p, size_t units, char *out) {
    constexpr size_t STEP = UNITS_AT_ONCE * sizeof(uint16_t);
    uint32_t before = high_;
    for (; units >= UNITS_AT_ONCE; units -= UNITS_AT_ONCE, p += STEP) {
        if (const uint64_t word = load_be64(p); before == 0 && are_ascii(word, SWAPPED)) {
            put_ascii(word, SWAPPED, out);
            out += UNITS_AT_ONCE;
            continue;
        }
        const Written what = written(load_units<SWAPPED>(p), before);
        if (what.sound) {
            before = what.open;
            out = put_written(what, out);
            continue;
        }
        high_ = static_cast<uint16_t>(before);
        for (size_t i = 0; i < UNITS_AT_ONCE; ++i)
            out = put_unit(unit_at(p + 2 * i, SWAPPED), out);
        before = high_;
    }
    high_ = static_cast<uint16_t>(before);
    for (; units > 0; --units, p += 2)
        out = put_unit(unit_at(p, SWAPPED), out);
    return out;
}

char *Utf16Decoder::finish(char *out) {
    if (high_ != 0)
        out = replace(out);
    if (has_byte_)
        out = replace(out);
    high_ = 0;
    has_byte_ = false;
    return out;
}

char *Utf16Decoder::put_unit(uint16_t unit, char *out) {
    const uint16_t high = std::exchange(high_, uint16_t{0});
    const bool is_low = is_low_surrogate(unit);
    if (high != 0 && is_low)
        return put_pair(high, unit, out);
    if (high != 0)
        out = replace(out);
    if (is_low)
        return replace(out);
    if (!is_surrogate(unit))
        return put_character(unit, out);
    high_ = unit;
    return out;
}

char *Utf16Decoder::replace(char *out) {
    ++replaced_;
    return std::copy(REPLACEMENT.begin(), REPLACEMENT.end(), out);
}

} // namespace vexlo
