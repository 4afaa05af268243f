#include "values/text_decoder.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "values/errors.h"

namespace vexlo {

namespace {

constexpr char REPLACEMENT[] = "\xEF\xBF\xBD"; // U+FFFD
constexpr size_t REPLACEMENT_SIZE = 3;
const iconv_t NO_ICONV = reinterpret_cast<iconv_t>(-1);

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

char *put_surrogate_pair(const uint8_t *p, char *out) {
    const uint32_t high = ((p[1] & 0x0FU) << 6) | (p[2] & 0x3FU);
    const uint32_t low = ((p[4] & 0x0FU) << 6) | (p[5] & 0x3FU);
    const uint32_t code = 0x10000 + (high << 10) + low;
    *out++ = static_cast<char>(0xF0 | (code >> 18));
    *out++ = static_cast<char>(0x80 | ((code >> 12) & 0x3F));
    *out++ = static_cast<char>(0x80 | ((code >> 6) & 0x3F));
    *out++ = static_cast<char>(0x80 | (code & 0x3F));
    return out;
}

char *put_replacement(char *out) {
    std::memcpy(out, REPLACEMENT, REPLACEMENT_SIZE);
    return out + REPLACEMENT_SIZE;
}

// Puts the wave dash U+301C in place of the fullwidth tilde U+FF5E; both take three bytes.
void give_wave_dash(char *text, size_t size) {
    constexpr std::string_view TILDE = "\xEF\xBD\x9E", WAVE_DASH = "\xE3\x80\x9C";
    for (size_t at = 0; (at = std::string_view(text, size).find(TILDE, at)) != std::string_view::npos;)
        WAVE_DASH.copy(text + at, WAVE_DASH.size());
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

} // namespace

TextDecoder::TextDecoder(const Charset &charset) : charset_(charset), iconv_(NO_ICONV) {
    if (charset.codec != Codec::iconv)
        return;
    iconv_ = iconv_open("UTF-8", charset.iconv);
    if (iconv_ == NO_ICONV)
        throw UsageError("this system cannot convert character set \"" + std::string(charset.oracle) +
                         "\" (" + charset.iconv + ")");
}

TextDecoder::~TextDecoder() {
    if (iconv_ != NO_ICONV)
        iconv_close(iconv_);
}

std::string_view TextDecoder::convert(const uint8_t *data, size_t size, uint64_t &replaced) {
    switch (charset_.codec) {
    case Codec::raw:
        return {reinterpret_cast<const char *>(data), size};
    case Codec::iconv:
        return decode_iconv(data, size, replaced);
    case Codec::utf8:
    case Codec::cesu8:
        break;
    }
    return decode_utf8(data, size, replaced);
}

std::string_view TextDecoder::decode_utf8(const uint8_t *data, size_t size, uint64_t &replaced) {
    const uint8_t *p = data, *const end = data + size;
    const uint8_t *sound = sound_utf8(p, end);
    if (sound == end)
        return {reinterpret_cast<const char *>(data), size};
    buffer_.resize(std::max(buffer_.size(), REPLACEMENT_SIZE * size + READ_SLACK));
    char *out = buffer_.data();
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
    return {buffer_.data(), static_cast<size_t>(out - buffer_.data())};
}

std::string_view TextDecoder::decode_iconv(const uint8_t *data, size_t size, uint64_t &replaced) {
    iconv(iconv_, nullptr, nullptr, nullptr, nullptr);
    buffer_.resize(std::max(buffer_.size(), 4 * size + 16 + READ_SLACK));
    // iconv() does not write to its input.
    char *from = const_cast<char *>(reinterpret_cast<const char *>(data));
    size_t from_left = size, used = 0;
    bool flushing = false; // some sets hold a character back until they see what follows
    while (from_left > 0 || !flushing) {
        flushing = from_left == 0;
        char *to = buffer_.data() + used;
        size_t to_left = buffer_.size() - READ_SLACK - used;
        const size_t rc = iconv(iconv_, flushing ? nullptr : &from, &from_left, &to, &to_left);
        used = buffer_.size() - READ_SLACK - to_left;
        if (rc != static_cast<size_t>(-1))
            continue;
        if (errno == E2BIG || to_left < REPLACEMENT_SIZE) {
            buffer_.resize(2 * buffer_.size());
            flushing = false;
            continue;
        }
        put_replacement(buffer_.data() + used);
        used += REPLACEMENT_SIZE;
        ++replaced;
        const size_t skip = errno == EINVAL ? from_left : std::min<size_t>(charset_.unit, from_left);
        from += skip;
        from_left -= skip;
    }
    if (charset_.wave_dash)
        give_wave_dash(buffer_.data(), used);
    return {buffer_.data(), used};
}

} // namespace vexlo
