// LOB values as rows hold them: locators with what follows them in the row. All integers are big-endian.
#pragma once

#include "value.h"

namespace sample {

enum class LobType : uint8_t { blob = 1, clob = 2, nclob = 4 };

// What a locator says of the whole LOB.
struct LobHead {
    LobType type = LobType::blob;
    uint64_t id = 0;           // its last six bytes are used
    uint16_t units = 1;        // bytes of a character: 2 for characters stored as UTF-16
    bool wide_charset = false; // a CLOB of a multi-byte database
    bool short_form = false;   // from before 12c
    uint32_t version = 1;      // of the data
};

// The longest data of a BasicFile that stands in the row.
constexpr size_t BASIC_IN_ROW_MAX = 3964;

// The ten bytes that name a LOB in its locator, its blocks and its index.
Bytes lob_id_bytes(uint64_t id);

// BasicFile: the data in the row, at most BASIC_IN_ROW_MAX bytes; none for EMPTY.
Value basic_in_row(const LobHead &head, ByteView data);

// BasicFile: whole pages and the bytes of the last, not full one, with the addresses of the first twelve
// chunks at most.
Value basic_inode(const LobHead &head, uint32_t pages, uint16_t last_bytes, std::span<const uint32_t> chunks);

// BasicFile without storage in the row: the locator alone.
Value basic_bare(const LobHead &head);

// A run of blocks of a SecureFile.
struct LobExtent {
    uint32_t rdba;
    uint16_t blocks;
    std::optional<uint32_t> bytes = {}; // of its data, where the inode says so
};

struct SecureInode {
    uint64_t length = 0; // of the LOB in bytes, not compressed
    uint16_t version = 1;
    std::optional<uint64_t> compressed = {}; // stored length; the column has the option COMPRESS
    bool compress_option = false;            // the column has it, though this value is not compressed
};

// SecureFile: the data in the row; when compressed, `data` is what is stored.
Value secure_in_row(const LobHead &head, const SecureInode &inode, ByteView data);

// SecureFile: the data in runs of blocks.
Value secure_extents(const LobHead &head, const SecureInode &inode, std::span<const LobExtent> extents);

// SecureFile: the address of a list block.
Value secure_list(const LobHead &head, const SecureInode &inode, uint32_t list_block);

// A LOB of the dictionary, in the row.
Value lob_in_row(LobType type, uint64_t id, ByteView data);

} // namespace sample
