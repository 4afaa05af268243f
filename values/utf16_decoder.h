// UTF-16 into UTF-8, in pieces that may be cut anywhere, also inside a character.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace vexlo {

class Utf16Decoder {
public:
    explicit Utf16Decoder(bool little_endian) : little_endian_(little_endian) {}

    // Room that the text of so many bytes needs, or with 0 what finish() writes.
    static constexpr size_t room(size_t bytes) { return MOST_OF_REST + MOST_OF_UNIT * (bytes / 2 + 1); }

    // Writes the characters that `bytes` completes to `out`, which has room for them; returns the end. Half a
    // surrogate pair becomes U+FFFD.
    char *put(std::span<const uint8_t> bytes, char *out);
    // The value has ended: what is left of a character becomes U+FFFD.
    char *finish(char *out);

    // Characters that had to be replaced.
    uint64_t replaced() const { return replaced_; }

private:
    // Bytes that are written at most: of a unit, and of what waited before it, with those behind a character
    // that do not count.
    static constexpr size_t MOST_OF_UNIT = 3, MOST_OF_REST = 10;

    template <bool SWAPPED>
    char *put_all(const uint8_t *p, size_t units, char *out);
    char *put_unit(uint16_t unit, char *out);
    char *replace(char *out);

    bool little_endian_;
    bool has_byte_ = false;
    uint8_t byte_ = 0;  // the first one of a unit
    uint16_t high_ = 0; // first half of a surrogate pair; 0 when none waits
    uint64_t replaced_ = 0;
};

} // namespace vexlo
