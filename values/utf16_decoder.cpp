#include "values/utf16_decoder.h"

namespace vexlo {

namespace {

constexpr char REPLACEMENT[] = "\xEF\xBF\xBD";

bool is_high_surrogate(uint16_t unit) {
    return (unit & 0xFC00) == 0xD800;
}

bool is_low_surrogate(uint16_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

void put_character(uint32_t character, std::string &text) {
    const auto put = [&](uint32_t byte) { text += static_cast<char>(byte); };
    if (character < 0x80) {
        put(character);
    } else if (character < 0x800) {
        put(0xC0 | character >> 6);
        put(0x80 | (character & 0x3F));
    } else if (character < 0x10000) {
        put(0xE0 | character >> 12);
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    } else {
        put(0xF0 | character >> 18);
        put(0x80 | (character >> 12 & 0x3F));
        put(0x80 | (character >> 6 & 0x3F));
        put(0x80 | (character & 0x3F));
    }
}

} // namespace

uint16_t Utf16Decoder::unit_of(uint8_t first, uint8_t second) const {
    return static_cast<uint16_t>(little_endian_ ? second << 8 | first : first << 8 | second);
}

void Utf16Decoder::append(std::span<const uint8_t> bytes, std::string &text) {
    size_t at = 0;
    if (has_byte_ && !bytes.empty()) {
        has_byte_ = false;
        put_unit(unit_of(byte_, bytes[at++]), text);
    }
    for (; at + 2 <= bytes.size(); at += 2)
        put_unit(unit_of(bytes[at], bytes[at + 1]), text);
    if (at < bytes.size()) {
        has_byte_ = true;
        byte_ = bytes[at];
    }
}

void Utf16Decoder::finish(std::string &text) {
    if (high_ != 0)
        replace(text);
    if (has_byte_)
        replace(text);
    high_ = 0;
    has_byte_ = false;
}

void Utf16Decoder::put_unit(uint16_t unit, std::string &text) {
    if (high_ != 0) {
        const uint16_t high = high_;
        high_ = 0;
        if (is_low_surrogate(unit))
            return put_character(0x10000u + ((high & 0x3FFu) << 10) + (unit & 0x3FFu), text);
        replace(text);
    }
    if (is_high_surrogate(unit))
        high_ = unit;
    else if (is_low_surrogate(unit))
        replace(text);
    else
        put_character(unit, text);
}

void Utf16Decoder::replace(std::string &text) {
    text += REPLACEMENT;
    ++replaced_;
}

} // namespace vexlo
