// Byte strings and the two byte orders in which datafiles hold integers: little-endian in every header,
// big-endian inside row pieces.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace sample {

using Bytes = std::vector<uint8_t>;
using ByteView = std::span<const uint8_t>;

// Stores v at p; p must have room for it.
void store_le16(uint8_t *p, uint16_t v);
void store_le32(uint8_t *p, uint32_t v);

// Reads back what store_le16 and store_le32 wrote.
uint16_t fetch_le16(const uint8_t *p);
uint32_t fetch_le32(const uint8_t *p);

// Appends v to out.
void append_le16(Bytes &out, uint16_t v);
void append_be16(Bytes &out, uint16_t v);
void append_be32(Bytes &out, uint32_t v);
void append(Bytes &out, ByteView bytes);

// Append a character.
void append_utf8(std::string &out, uint32_t point);
void append_utf16(Bytes &out, uint32_t point);

} // namespace sample
