#include "values/text_decoder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "values/errors.h"
#include "values/unicode.h"

namespace vexlo {

namespace {

constexpr size_t REPLACEMENT_SIZE = REPLACEMENT.size();
constexpr uint8_t UCS4_UNIT = 4; // bytes of a character in the sets of 32 bits
constexpr char16_t NO_CHARACTER = 0xFFFD;

bool is_continuation(uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

struct Sequence {
    size_t size; // bytes of the character, or of the part that can belong to none
    bool valid;
};

// One UTF-8 character that does not start with an ASCII byte. Bounds of the second byte exclude overlong
// forms, surrogates and what lies beyond U+10FFFF.
Sequence utf8_sequence(const uint8_t *p, const uint8_t *end) {
    const uint8_t lead = p[0];
    size_t length;
    uint8_t low = 0x80, high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return {1, false};
    }
    const size_t have = static_cast<size_t>(end - p);
    if (have < 2 || p[1] < low || p[1] > high)
        return {1, false};
    for (size_t i = 2; i < length; ++i)
        if (i >= have || !is_continuation(p[i]))
            return {i, false};
    return {length, true};
}

// A supplementary character written as two surrogates of three bytes each: ED A0..AF xx ED B0..BF xx.
bool is_surrogate_pair(const uint8_t *p, const uint8_t *end) {
    return end - p >= 6 && p[0] == 0xED && p[1] >= 0xA0 && p[1] <= 0xAF && is_continuation(p[2]) &&
           p[3] == 0xED && p[4] >= 0xB0 && p[4] <= 0xBF && is_continuation(p[5]);
}

// A supplementary character, given the low ten bits of its two surrogates.
char *put_supplementary(uint32_t high, uint32_t low, char *out) {
    const uint32_t code = 0x10000 + (high << 10) + low;
    *out++ = static_cast<char>(0xF0 | (code >> 18));
    *out++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    *out++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (code & 0x3F));
    return out;
}

char *put_surrogate_pair(const uint8_t *p, char *out) {
    return put_supplementary(((p[1] & 0x0FU) << 6) | (p[2] & 0x3FU), ((p[4] & 0x0FU) << 6) | (p[5] & 0x3FU),
                             out);
}

char *put_utf8(char16_t code, char *out) {
    if (code < 0x80) {
        *out++ = static_cast<char>(code);
        return out;
    }
    if (code < 0x800) {
        *out++ = static_cast<char>(0xC0 | (code >> 6));
    } else {
        *out++ = static_cast<char>(0xE0 | (code >> 12));
        *out++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    }
    *out++ = static_cast<char>(0x80 | (code & 0x3F));
    return out;
}

char *put_replacement(char *out) {
    std::memcpy(out, REPLACEMENT.data(), REPLACEMENT_SIZE);
    return out + REPLACEMENT_SIZE;
}

// Puts the wave dash U+301C in place of the fullwidth tilde U+FF5E; both take three bytes.
void give_wave_dash(char *text, size_t size) {
    constexpr std::string_view TILDE = "\xEF\xBD\x9E", WAVE_DASH = "\xE3\x80\x9C";
    for (size_t at = 0; (at = std::string_view(text, size).find(TILDE, at)) != std::string_view::npos;)
        WAVE_DASH.copy(text + at, WAVE_DASH.size());
}

// Bytes at the end of a UTF-8 text that begin a character and do not end it.
size_t open_utf8(const uint8_t *data, size_t size) {
    for (size_t back = 1; back <= std::min<size_t>(size, 3); ++back) {
        const uint8_t byte = data[size - back];
        if (is_continuation(byte))
            continue;
        const size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
        return back < length ? back : 0;
    }
    return 0;
}

// The end of the leading part that is sound UTF-8 as it is.
const uint8_t *sound_utf8(const uint8_t *p, const uint8_t *end) {
    while (p < end) {
        if (*p < 0x80) {
            ++p;
            continue;
        }
        const Sequence s = utf8_sequence(p, end);
        if (!s.valid)
            break;
        p += s.size;
    }
    return p;
}

// Some converters write what is beyond Unicode in the manner of UTF-8. Puts U+FFFD in its place, which takes
// fewer bytes; returns how many the text has then.
size_t replace_beyond_unicode(char *text, size_t size, uint64_t &replaced) {
    const auto *p = reinterpret_cast<const uint8_t *>(text), *const end = p + size;
    char *out = text;
    for (;;) {
        const uint8_t *const sound = sound_utf8(p, end);
        std::memmove(out, p, static_cast<size_t>(sound - p));
        out += sound - p;
        if (sound == end)
            return static_cast<size_t>(out - text);
        p = std::find_if_not(sound + 1, end, is_continuation);
        out = put_replacement(out);
        ++replaced;
    }
}

} // namespace

TextDecoder::TextDecoder(const Charset &charset) : charset_(charset), iconv_(NO_ICONV) {
    if (charset.codec != Codec::iconv)
        return;
    if (const auto set = single_byte_set(charset.iconv)) {
        single_byte_ = std::make_unique<SingleByteDecoder>(SingleByteDecoder{*set, {}});
        for (size_t byte = 0; byte < single_byte_->utf8.size(); ++byte) {
            Utf8Character &utf8 = single_byte_->utf8[byte];
            char *const bytes = utf8.bytes.data();
            utf8.size = static_cast<uint8_t>(put_utf8(set->characters[byte], bytes) - bytes);
        }
        return;
    }
    iconv_ = open_iconv(charset.iconv);
    if (iconv_ == NO_ICONV)
        throw UsageError(std::string(HAVE_ICONV ? "this system" : "this program without shared libraries") +
                         " cannot convert character set \"" + std::string(charset.oracle) + "\" (" +
                         charset.iconv + ")");
}

TextDecoder::~TextDecoder() {
    if (iconv_ != NO_ICONV)
        iconv_close(iconv_);
}

std::string_view TextDecoder::convert(const uint8_t *data, size_t size, uint64_t &replaced) {
    switch (charset_.codec) {
    case Codec::raw:
        return {reinterpret_cast<const char *>(data), size};
    case Codec::utf16be:
    case Codec::utf16le:
        return decode_utf16(data, size, replaced);
    case Codec::iconv:
        if (single_byte_ == nullptr)
            return decode_iconv(data, size, replaced);
        return single_byte_->set.compositions.empty() ? decode_single_byte(data, size, replaced)
                                                      : decode_combining(data, size, replaced);
    case Codec::utf8:
    case Codec::cesu8:
        break;
    }
    return decode_utf8(data, size, replaced);
}

std::string_view TextDecoder::decode_part(const uint8_t *data, size_t size, uint64_t &replaced,
                                          size_t &used) {
    if (iconv_ != NO_ICONV)
        return decode_iconv(data, size, replaced, &used);
    used = whole_characters(data, size);
    return decode(data, used, replaced);
}

// How many bytes at the begin of a text that goes on are whole characters; of sets that are built in.
size_t TextDecoder::whole_characters(const uint8_t *data, size_t size) const {
    switch (charset_.codec) {
    case Codec::utf8:
        return size - open_utf8(data, size);
    case Codec::cesu8:
        size -= open_utf8(data, size);
        return size >= 3 && data[size - 3] == 0xED && (data[size - 2] & 0xF0) == 0xA0 ? size - 3 : size;
    case Codec::utf16be:
    case Codec::utf16le:
        size -= size % 2;
        return size > 0 && (data[size - (charset_.codec == Codec::utf16be ? 2 : 1)] & 0xFC) == 0xD8 ? size - 2
                                                                                                    : size;
    case Codec::iconv:
        return without_open_letter(data, size);
    case Codec::raw:
        break;
    }
    return size;
}

// The last letter can take the marks that the next part begins with.
size_t TextDecoder::without_open_letter(const uint8_t *data, size_t size) const {
    constexpr size_t MARKS_MAX = 8; // behind one letter
    const std::span<const Composition> compositions = single_byte_->set.compositions;
    for (size_t back = 1; !compositions.empty() && back <= std::min(size, MARKS_MAX); ++back) {
        const char16_t last = single_byte_->set.characters[data[size - back]];
        if (std::ranges::none_of(compositions, [last](const Composition &c) { return c.mark == last; }))
            return size - back;
    }
    return size;
}

std::string_view TextDecoder::decode_utf8(const uint8_t *data, size_t size, uint64_t &replaced) {
    const uint8_t *p = data, *const end = data + size;
    const uint8_t *sound = sound_utf8(p, end);
    if (sound == end)
        return {reinterpret_cast<const char *>(data), size};
    char *const start = room_for(REPLACEMENT_SIZE * size), *out = start;
    for (;;) {
        std::memcpy(out, p, static_cast<size_t>(sound - p));
        out += sound - p;
        p = sound;
        if (p == end)
            break;
        if (charset_.codec == Codec::cesu8 && is_surrogate_pair(p, end)) {
            out = put_surrogate_pair(p, out);
            p += 6;
        } else {
            out = put_replacement(out);
            p += utf8_sequence(p, end).size;
            ++replaced;
        }
        sound = sound_utf8(p, end);
    }
    return {start, static_cast<size_t>(out - start)};
}

// The buffer with room for that many bytes.
char *TextDecoder::room_for(size_t bytes) {
    buffer_.resize(std::max(buffer_.size(), bytes));
    return reinterpret_cast<char *>(buffer_.data());
}

// An odd byte or a first surrogate at the end stands for one character that is lost.
std::string_view TextDecoder::decode_utf16(const uint8_t *data, size_t size, uint64_t &replaced) {
    const size_t high_byte = charset_.codec == Codec::utf16be ? 0 : 1;
    const auto unit_at = [&](size_t at) -> uint32_t {
        return static_cast<uint32_t>(data[at + high_byte] << 8) | data[at + 1 - high_byte];
    };
    char *const start = room_for(REPLACEMENT_SIZE * (size / 2 + 1)), *out = start;
    size_t at = 0;
    while (at < size) {
        const size_t left = size - at;
        const uint32_t unit = left >= 2 ? unit_at(at) : 0;
        const bool high = left >= 2 && is_high_surrogate(unit);
        if (left < (high ? 4 : 2)) {
            out = put_replacement(out);
            ++replaced;
            break;
        }
        if (high && is_low_surrogate(unit_at(at + 2))) {
            out = put_supplementary(unit & 0x3FF, unit_at(at + 2) & 0x3FF, out);
            at += 4;
            continue;
        }
        const bool lone = high || is_low_surrogate(unit);
        out = lone ? put_replacement(out) : put_utf8(static_cast<char16_t>(unit), out);
        replaced += lone;
        at += 2;
    }
    return {start, static_cast<size_t>(out - start)};
}

std::string_view TextDecoder::decode_single_byte(const uint8_t *data, size_t size, uint64_t &replaced) {
    char *const start = room_for(REPLACEMENT_SIZE * size), *out = start;
    for (const uint8_t *p = data, *const end = data + size; p != end; ++p) {
        const Utf8Character &utf8 = single_byte_->utf8[*p];
        std::memcpy(out, utf8.bytes.data(), utf8.bytes.size());
        out += utf8.size;
        replaced += single_byte_->set.characters[*p] == NO_CHARACTER;
    }
    return {start, static_cast<size_t>(out - start)};
}

// Holds each character back until what follows turns out to be no mark that combines with it.
std::string_view TextDecoder::decode_combining(const uint8_t *data, size_t size, uint64_t &replaced) {
    char *const start = room_for(REPLACEMENT_SIZE * size), *out = start;
    char16_t held = 0;
    bool holding = false;
    for (const uint8_t *p = data, *const end = data + size; p != end; ++p) {
        const char16_t next = single_byte_->set.characters[*p];
        const char16_t both = holding ? composed(single_byte_->set.compositions, held, next) : u'\0';
        if (both != 0) {
            held = both;
            continue;
        }
        if (holding)
            out = put_utf8(held, out);
        held = next;
        holding = true;
        replaced += next == NO_CHARACTER;
    }
    if (holding)
        out = put_utf8(held, out);
    return {start, static_cast<size_t>(out - start)};
}

// A character that the end cuts is left to the next part where there can be one, for which `used_bytes` is
// given.
std::string_view TextDecoder::decode_iconv(const uint8_t *data, size_t size, uint64_t &replaced,
                                           size_t *used_bytes) {
    size_t open = 0;
    iconv(iconv_, nullptr, nullptr, nullptr, nullptr);
    char *start = room_for(4 * size + 16);
    // iconv() does not write to its input.
    char *from = const_cast<char *>(reinterpret_cast<const char *>(data));
    size_t from_left = size, used = 0;
    bool flushing = false; // some sets hold a character back until they see what follows
    while (from_left > 0 || !flushing) {
        flushing = from_left == 0;
        char *to = start + used;
        size_t to_left = buffer_.size() - used;
        const size_t rc = iconv(iconv_, flushing ? nullptr : &from, &from_left, &to, &to_left);
        used = buffer_.size() - to_left;
        if (rc != static_cast<size_t>(-1))
            continue;
        if (errno == E2BIG || to_left < REPLACEMENT_SIZE) {
            start = room_for(2 * buffer_.size());
            flushing = false;
            continue;
        }
        if (errno == EINVAL && used_bytes != nullptr) {
            open = std::exchange(from_left, 0);
            continue;
        }
        put_replacement(start + used);
        used += REPLACEMENT_SIZE;
        ++replaced;
        const size_t skip = errno == EINVAL ? from_left : std::min<size_t>(charset_.unit, from_left);
        from += skip;
        from_left -= skip;
    }
    if (used_bytes != nullptr)
        *used_bytes = size - open;
    if (charset_.unit == UCS4_UNIT)
        used = replace_beyond_unicode(start, used, replaced);
    if (charset_.wave_dash)
        give_wave_dash(start, used);
    return {start, used};
}

} // namespace vexlo
