#include "values/utf16_decoder.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "format/byte_order.h"

namespace vexlo {

namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

bool is_surrogate(uint16_t unit) {
    return (unit & 0xF800) == 0xD800;
}

bool is_low_surrogate(uint16_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

// Bytes that the text grows by at most: of a unit, and of what waited before it. put_character() writes one
// more that does not count.
constexpr size_t MOST_OF_UNIT = 3, MOST_OF_REST = 7;

// Writes a unit that is a character and returns the end of it. Without branches, since the kinds of
// characters change unforeseeably in many texts.
[[gnu::always_inline]] inline char *put_character(uint32_t unit, char *out) {
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

constexpr size_t UNITS_AT_ONCE = 4, UNITS_ONE_BY_ONE = 16;

// Whether four units, the first one highest, are ASCII; of little-endian text each has its bytes swapped.
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

// Whether two units are the halves of a surrogate pair.
bool is_pair(const uint8_t *p, bool little_endian) {
    return (load_be32(p) & (little_endian ? 0x00FC00FC : 0xFC00FC00)) ==
           (little_endian ? 0x00D800DC : 0xD800DC00);
}

} // namespace

void Utf16Decoder::append(std::span<const uint8_t> bytes, std::string &text) {
    const size_t before = text.size();
    text.resize(before + MOST_OF_REST + MOST_OF_UNIT * (bytes.size() / 2 + 1));
    char *out = text.data() + before;
    size_t at = 0;
    if (has_byte_ && !bytes.empty()) {
        has_byte_ = false;
        const uint8_t unit[] = {byte_, bytes[at++]};
        out = put_unit(unit_at(unit, little_endian_), out);
    }
    const bool little_endian = little_endian_;
    bool waits = high_ != 0; // a surrogate for its other half
    while (at + 2 <= bytes.size()) {
        if (!waits && at + 2 * UNITS_AT_ONCE <= bytes.size()) {
            const uint64_t units = load_be64(&bytes[at]);
            if (are_ascii(units, little_endian)) {
                put_ascii(units, little_endian, out);
                out += UNITS_AT_ONCE;
                at += 2 * UNITS_AT_ONCE;
                continue;
            }
        }
        // Where one character is no ASCII, more of them are likely.
        const size_t end = std::min(bytes.size(), at + 2 * UNITS_ONE_BY_ONE);
        for (; at + 2 <= end; at += 2) {
            const uint16_t unit = unit_at(&bytes[at], little_endian);
            if (!waits && !is_surrogate(unit)) {
                out = put_character(unit, out);
            } else if (!waits && at + 4 <= bytes.size() && is_pair(&bytes[at], little_endian)) {
                at += 2;
                out = put_pair(unit, unit_at(&bytes[at], little_endian), out);
            } else {
                out = put_unit(unit, out);
                waits = high_ != 0;
            }
        }
    }
    if (at < bytes.size()) {
        has_byte_ = true;
        byte_ = bytes[at];
    }
    text.resize(static_cast<size_t>(out - text.data()));
}

void Utf16Decoder::finish(std::string &text) {
    const size_t before = text.size();
    text.resize(before + MOST_OF_REST);
    char *out = text.data() + before;
    if (high_ != 0)
        out = replace(out);
    if (has_byte_)
        out = replace(out);
    text.resize(static_cast<size_t>(out - text.data()));
    high_ = 0;
    has_byte_ = false;
}

char *Utf16Decoder::put_unit(uint16_t unit, char *out) {
    if (high_ != 0) {
        const uint16_t high = high_;
        high_ = 0;
        if (is_low_surrogate(unit))
            return put_pair(high, unit, out);
        out = replace(out);
    }
    if (!is_surrogate(unit))
        return put_character(unit, out);
    if (is_low_surrogate(unit))
        return replace(out);
    high_ = unit;
    return out;
}

char *Utf16Decoder::replace(char *out) {
    ++replaced_;
    return std::copy(REPLACEMENT.begin(), REPLACEMENT.end(), out);
}

} // namespace vexlo
