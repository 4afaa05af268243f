#include "bytes.h"

namespace sample {

namespace {

// The byte of v that starts at the given bit.
uint8_t byte_at(uint32_t v, int shift) {
    return static_cast<uint8_t>(v >> shift & 0xFF);
}

} // namespace

void store_le16(uint8_t *p, uint16_t v) {
    p[0] = byte_at(v, 0);
    p[1] = byte_at(v, 8);
}

void store_le32(uint8_t *p, uint32_t v) {
    for (int i = 0; i < 4; i++)
        p[i] = byte_at(v, 8 * i);
}

uint16_t fetch_le16(const uint8_t *p) {
    return static_cast<uint16_t>(p[0] | p[1] << 8);
}

uint32_t fetch_le32(const uint8_t *p) {
    return fetch_le16(p) | static_cast<uint32_t>(fetch_le16(p + 2)) << 16;
}

void append_le16(Bytes &out, uint16_t v) {
    out.push_back(byte_at(v, 0));
    out.push_back(byte_at(v, 8));
}

void append_be16(Bytes &out, uint16_t v) {
    out.push_back(byte_at(v, 8));
    out.push_back(byte_at(v, 0));
}

void append_be32(Bytes &out, uint32_t v) {
    for (int shift = 24; shift >= 0; shift -= 8)
        out.push_back(byte_at(v, shift));
}

void append(Bytes &out, ByteView bytes) {
    out.insert(out.end(), bytes.begin(), bytes.end());
}

void append_utf8(std::string &out, uint32_t point) {
    auto tail = [&](int shift) { out += static_cast<char>(0x80 | (point >> shift & 0x3F)); };
    if (point < 0x80) {
        out += static_cast<char>(point);
    } else if (point < 0x800) {
        out += static_cast<char>(0xC0 | point >> 6);
        tail(0);
    } else if (point < 0x10000) {
        out += static_cast<char>(0xE0 | point >> 12);
        tail(6);
        tail(0);
    } else {
        out += static_cast<char>(0xF0 | point >> 18);
        tail(12);
        tail(6);
        tail(0);
    }
}

void append_utf16(Bytes &out, uint32_t point) {
    if (point >= 0x10000) {
        append_be16(out, static_cast<uint16_t>(0xD7C0 + (point >> 10)));
        point = 0xDC00 | (point & 0x3FF);
    }
    append_be16(out, static_cast<uint16_t>(point));
}

} // namespace sample
