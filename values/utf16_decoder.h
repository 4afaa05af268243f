// UTF-16 into UTF-8, in pieces that may be cut anywhere, also inside a character.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

namespace vexlo {

class Utf16Decoder {
public:
    explicit Utf16Decoder(bool little_endian) : little_endian_(little_endian) {}

    // Appends the characters that `bytes` completes to `text`. Half a surrogate pair becomes U+FFFD.
    void append(std::span<const uint8_t> bytes, std::string &text);
    // The value has ended: what is left of a character becomes U+FFFD.
    void finish(std::string &text);

    // Characters that had to be replaced.
    uint64_t replaced() const { return replaced_; }

private:
    char *put_unit(uint16_t unit, char *out);
    char *replace(char *out);

    bool little_endian_;
    bool has_byte_ = false;
    uint8_t byte_ = 0;  // the first one of a unit
    uint16_t high_ = 0; // first half of a surrogate pair; 0 when none waits
    uint64_t replaced_ = 0;
};

} // namespace vexlo
