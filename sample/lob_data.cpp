#include "lob_data.h"

namespace sample {

namespace {

// A number in which every bit of the input shows.
uint64_t mix(uint64_t v) {
    v = (v ^ v >> 30) * 0xBF58476D1CE4E5B9;
    v = (v ^ v >> 27) * 0x94D049BB133111EB;
    return v ^ v >> 31;
}

uint64_t seed_of(const LobKey &key) {
    return mix(mix(key.row + 1) + (uint64_t{key.table} << 32 | key.column));
}

} // namespace

Bytes lob_bytes(const LobKey &key, size_t length) {
    Bytes bytes(length);
    uint64_t seed = seed_of(key), word = 0;
    for (size_t i = 0; i < length; i++) {
        if (i % 8 == 0)
            word = mix(seed + i);
        bytes[i] = static_cast<uint8_t>(word >> 8 * (i % 8));
    }
    return bytes;
}

std::u16string lob_characters(const LobKey &key, size_t units, bool wide) {
    constexpr char16_t beyond[] = {0x20AC, 0x416, 0x6F22, 0xFFFD};
    std::u16string text;
    text.reserve(units);
    uint64_t seed = seed_of(key);
    while (text.size() < units) {
        uint64_t choice = mix(seed + text.size());
        bool two = wide && text.size() % 2 == 1 && units - text.size() >= 2;
        if (two && choice % 4 == 0) {
            text += static_cast<char16_t>(0xD83C + choice / 4 % 4);
            text += static_cast<char16_t>(0xDC00 + choice / 16 % 0x400);
        } else if (choice % 8 == 1) {
            text += wide ? beyond[choice / 8 % 4] : static_cast<char16_t>(0xC0 + choice / 8 % 0x40);
        } else {
            text += static_cast<char16_t>('a' + choice / 8 % 26);
        }
    }
    return text;
}

Bytes utf16_bytes(std::u16string_view characters) {
    Bytes bytes;
    bytes.reserve(2 * characters.size());
    for (char16_t unit : characters)
        append_be16(bytes, unit);
    return bytes;
}

Bytes latin1_bytes(std::u16string_view characters) {
    Bytes bytes;
    for (char16_t unit : characters)
        bytes.push_back(static_cast<uint8_t>(unit));
    return bytes;
}

std::string utf8_text(std::u16string_view characters) {
    std::string out;
    for (size_t i = 0; i < characters.size(); i++) {
        uint32_t point = characters[i];
        if (point >= 0xD800 && point < 0xDC00 && i + 1 < characters.size())
            point = 0x10000 + ((point - 0xD800) << 10) + (characters[++i] - uint32_t{0xDC00});
        append_utf8(out, point);
    }
    return out;
}

} // namespace sample
