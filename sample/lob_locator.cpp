#include "lob_locator.h"

#include <algorithm>
#include <stdexcept>

namespace sample {

namespace {

constexpr uint16_t LENGTH_WORD = 0x0070;
constexpr uint16_t LENGTH_WORD_SHORT = 0x0054;
constexpr uint8_t INITIALISED = 0x08;
constexpr uint8_t HAS_INODE = 0x04;
constexpr uint8_t WIDE_CHARACTERS = 0x80;
constexpr uint8_t SECURE_FILE = 0x80;

constexpr uint8_t BASIC_DATA_IN_ROW = 0x09;
constexpr uint8_t BASIC_INODE_IN_ROW = 0x05;
constexpr size_t BASIC_ADDRESSES = 12;

constexpr uint8_t SECURE_OLD_FLAG = 0x40;
constexpr uint8_t SECURE_OLD_DATA_IN_ROW = 0x08;
constexpr uint8_t SECURE_VALID = 0x90;
constexpr uint8_t SECURE_COMPRESS = 0x02;
constexpr uint8_t SECURE_MORE_FLAGS = 0x40;
constexpr uint8_t SECURE_COMPRESSED_IN_ROW = 0x80;

constexpr uint8_t FORM_IN_ROW = 0x00;
constexpr uint8_t FORM_EXTENTS = 0x20;
constexpr uint8_t FORM_LIST = 0x40;
constexpr uint8_t FORM_LENGTHS = 0x10;
constexpr uint8_t EXTENT_WIDE_COUNT = 0x20;
constexpr uint8_t HEADER_NOT_COMPRESSED = 0x01;
constexpr uint8_t HEADER_COMPRESSED = 0x21;

void append_be(Bytes &out, uint64_t v, size_t size) {
    while (size-- > 0)
        out.push_back(static_cast<uint8_t>(v >> 8 * size));
}

// Bytes that a number of at most 32 bits needs; at least one.
size_t be_size(uint64_t v) {
    size_t size = 1;
    while (v >> 8 * size != 0)
        size++;
    return size;
}

Bytes locator(const LobHead &head, uint8_t flags, uint8_t storage) {
    Bytes out;
    append_be16(out, head.short_form ? LENGTH_WORD_SHORT : LENGTH_WORD);
    append_be16(out, 1);
    append(out, Bytes{static_cast<uint8_t>(head.type), flags,
                      head.wide_charset ? WIDE_CHARACTERS : uint8_t{0}, storage});
    append_be16(out, head.units);
    append(out, lob_id_bytes(head.id));
    return out;
}

// The length of what follows counts itself.
Bytes with_inode(Bytes out, const Bytes &inode) {
    append_be16(out, static_cast<uint16_t>(inode.size() + 2));
    append(out, inode);
    return out;
}

Bytes basic_fixed_part(uint8_t flag, uint32_t pages, uint16_t last_bytes, uint32_t version) {
    Bytes inode{flag, 0};
    append_be32(inode, pages);
    append_be16(inode, last_bytes);
    append_be(inode, version, 6);
    return inode;
}

Bytes secure_body_start(uint8_t form, const SecureInode &inode) {
    size_t size = be_size(inode.length);
    bool wide_version = inode.version > 0xFF;
    Bytes body{static_cast<uint8_t>(form | (size - 1)), static_cast<uint8_t>(wide_version ? 1 : 0)};
    append_be(body, inode.length, size);
    append_be(body, inode.version, wide_version ? 2 : 1);
    return body;
}

Bytes compression_header(const SecureInode &inode) {
    if (!inode.compressed)
        return {HEADER_NOT_COMPRESSED};
    size_t size = be_size(*inode.compressed);
    Bytes header{HEADER_COMPRESSED, static_cast<uint8_t>(0x80 | (size - 1)), static_cast<uint8_t>(3 + size)};
    append_be(header, *inode.compressed, size);
    return header;
}

Bytes secure(const LobHead &head, const SecureInode &inode, bool in_row, const Bytes &body) {
    bool plain_in_row = in_row && !inode.compressed;
    Bytes out{static_cast<uint8_t>(SECURE_OLD_FLAG | (plain_in_row ? SECURE_OLD_DATA_IN_ROW : 0))};
    bool option = inode.compress_option || inode.compressed;
    bool more = in_row && inode.compressed;
    out.push_back(
        static_cast<uint8_t>(SECURE_VALID | (option ? SECURE_COMPRESS : 0) | (more ? SECURE_MORE_FLAGS : 0)));
    if (more)
        out.push_back(SECURE_COMPRESSED_IN_ROW);
    Bytes header = option ? compression_header(inode) : Bytes{};
    if (option)
        append_be16(out, static_cast<uint16_t>(header.size()));
    append_be16(out, static_cast<uint16_t>(body.size()));
    append(out, header);
    append(out, body);
    return with_inode(locator(head, INITIALISED | HAS_INODE, SECURE_FILE), out);
}

} // namespace

Bytes lob_id_bytes(uint64_t id) {
    Bytes out;
    append_be32(out, 1);
    append_be(out, id, 6);
    return out;
}

Value basic_in_row(const LobHead &head, ByteView data) {
    if (data.size() > BASIC_IN_ROW_MAX)
        throw std::length_error("LOB data too long for its row");
    Bytes inode = basic_fixed_part(BASIC_DATA_IN_ROW, 0, static_cast<uint16_t>(data.size()),
                                   data.empty() ? 0 : head.version);
    append(inode, data);
    return with_inode(locator(head, INITIALISED | HAS_INODE, 0), inode);
}

Value basic_inode(const LobHead &head, uint32_t pages, uint16_t last_bytes,
                  std::span<const uint32_t> chunks) {
    Bytes inode = basic_fixed_part(BASIC_INODE_IN_ROW, pages, last_bytes, head.version);
    for (uint32_t rdba : chunks.first(std::min(chunks.size(), BASIC_ADDRESSES)))
        append_be32(inode, rdba);
    return with_inode(locator(head, INITIALISED | HAS_INODE, 0), inode);
}

Value basic_bare(const LobHead &head) {
    return locator(head, INITIALISED, 0);
}

Value secure_in_row(const LobHead &head, const SecureInode &inode, ByteView data) {
    Bytes body = secure_body_start(inode.compressed ? FORM_IN_ROW | FORM_LENGTHS : FORM_IN_ROW, inode);
    if (inode.compressed)
        append_be16(body, static_cast<uint16_t>(data.size()));
    append(body, data);
    return secure(head, inode, true, body);
}

Value secure_extents(const LobHead &head, const SecureInode &inode, std::span<const LobExtent> extents) {
    bool lengths = inode.compressed.has_value();
    Bytes body = secure_body_start(lengths ? FORM_EXTENTS | FORM_LENGTHS : FORM_EXTENTS, inode);
    if (!extents.empty())
        body.push_back(static_cast<uint8_t>(extents.size() - 1));
    for (const LobExtent &e : extents) {
        uint32_t bytes = e.bytes.value_or(0);
        bool wide = e.blocks > 0xFF;
        body.push_back(static_cast<uint8_t>((be_size(bytes) - 1) | (wide ? EXTENT_WIDE_COUNT : 0)));
        append_be32(body, e.rdba);
        append_be(body, e.blocks, wide ? 2 : 1);
        if (lengths)
            append_be(body, bytes, be_size(bytes));
    }
    return secure(head, inode, false, body);
}

Value secure_list(const LobHead &head, const SecureInode &inode, uint32_t list_block) {
    Bytes body = secure_body_start(inode.compressed ? FORM_LIST | FORM_LENGTHS : FORM_LIST, inode);
    append_be32(body, list_block);
    return secure(head, inode, false, body);
}

Value lob_in_row(LobType type, uint64_t id, ByteView data) {
    LobHead head;
    head.type = type;
    head.id = id;
    return basic_in_row(head, data);
}

} // namespace sample
