// LOB locators: what stands in the row for a CLOB, NCLOB, BLOB or BFILE. All integers of a locator are
// big-endian.
//
//   0   2  84 or 112: size that a locator in memory can have, not that of this one
//   2   2  version, 1
//   4   1  type
//   5   1  0x08 initialised, 0x04 an inode follows at 20
//   6   1  0x80 characters are stored as UTF-16 because the database character set has variable width
//   7   1  0x80 SecureFile, 0x01 temporary, 0x40 characters are little-endian
//   8   2  bytes of a character unit
//   10  10 LOB id
//   20  2  length of the rest, counted from here
//   22     inode
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vexlo {

using LobId = std::array<uint8_t, 10>;

enum class LobType : uint8_t { blob = 1, clob = 2, nclob = 4 };

// Where the data of a LOB lies.
enum class LobPlace : uint8_t {
    empty,     // there is none: EMPTY_CLOB(), EMPTY_BLOB()
    in_row,    // `data`
    chunks,    // BasicFile: at `addresses` and, for what lies behind them, in the LOB index
    index,     // BasicFile: the LOB index alone leads to it, if there is any
    extents,   // SecureFile: at `extents`
    list_block // SecureFile: behind a list of extents in a block of its own, at `list_rdba`
};

// A run of blocks of a SecureFile.
struct LobExtent {
    uint32_t rdba;
    uint32_t blocks;
};

// `data` is a view of the bytes that were decoded.
struct LobLocator {
    LobType type = LobType::blob;
    LobPlace place = LobPlace::empty;
    bool secure_file = false;
    bool utf16 = false;         // characters are UTF-16
    bool little_endian = false; // of UTF-16
    bool compressed = false;    // what is stored are zlib streams
    LobId id{};
    std::span<const uint8_t> data;
    uint64_t length = 0;        // bytes of the LOB; of a BasicFile 0 unless in row
    uint64_t stored_length = 0; // bytes as compressed

    // BasicFile: whole blocks in use, bytes in the one behind them, and the first chunks' addresses.
    uint32_t blocks = 0;
    uint32_t bytes = 0;
    uint16_t version_wrap = 0;
    uint32_t version_base = 0;
    std::vector<uint32_t> addresses;

    std::vector<LobExtent> extents;
    uint32_t list_rdba = 0;
};

// Decodes the bytes of a locator. What is not understood is told in `fault` and gives nothing: no part of a
// locator is guessed.
std::optional<LobLocator> decode_lob_locator(std::span<const uint8_t> bytes, std::string &fault);

// The most addresses of chunks that a BasicFile inode holds.
constexpr size_t LOB_INODE_ADDRESSES = 12;

// A BFILE's directory object and file name, as stored: in the database character set.
struct BfileName {
    std::string_view directory;
    std::string_view file;
};

// Decodes a BFILE; nothing when its two names do not end exactly where the value does. The names are
// padded where `bytes` is.
std::optional<BfileName> decode_bfile(std::span<const uint8_t> bytes);

// "00000001000000106528", for messages.
std::string lob_id_text(const LobId &id);

} // namespace vexlo
