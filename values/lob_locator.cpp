#include "values/lob_locator.h"

#include <algorithm>

#include "format/byte_order.h"
#include "values/hex.h"

namespace vexlo {

namespace {

constexpr uint16_t LOCATOR_SIZE_11 = 84; // the size word up to 12.1, and behind it
constexpr uint16_t LOCATOR_SIZE_12 = 112;
constexpr uint16_t LOCATOR_VERSION = 1;
constexpr size_t HEADER_SIZE = 20;
constexpr size_t ID_AT = 10;
constexpr size_t REST_AT = 20; // the length of the rest stands here and counts from here
constexpr size_t INODE_AT = 22;

// Byte 5
constexpr uint8_t INITIALISED = 0x08;
constexpr uint8_t HAS_INODE = 0x04;
// Byte 6
constexpr uint8_t VARIABLE_WIDTH = 0x80;
// Byte 7
constexpr uint8_t SECURE_FILE = 0x80;
constexpr uint8_t LITTLE_ENDIAN_TEXT = 0x40;

// Byte 22
constexpr uint8_t VALID = 0x01;
constexpr uint8_t INODE_IN_ROW = 0x04;
constexpr uint8_t DATA_IN_ROW = 0x08;
constexpr uint8_t SECURE_INODE = 0x40;

// Byte 23 of a SecureFile, and the byte behind it
constexpr uint8_t SECURE_VALID = 0x90;
constexpr uint8_t COMPRESS_OPTION = 0x02;
constexpr uint8_t MORE_FLAGS = 0x40;
constexpr uint8_t COMPRESSED_IN_ROW = 0x80;

// Byte 0 of a compression header
constexpr uint8_t NOT_COMPRESSED = 0x01;
constexpr uint8_t COMPRESSED = 0x20;
constexpr uint8_t COMPRESSION_LEVEL = 0x10; // HIGH, or a large LOB

// Byte 0 of a SecureFile inode
constexpr uint8_t FORM = 0xE0;
constexpr uint8_t FORM_IN_ROW = 0x00;
constexpr uint8_t FORM_EXTENTS = 0x20;
constexpr uint8_t FORM_LIST = 0x40;
constexpr uint8_t EXPLICIT_LENGTHS = 0x10;
constexpr uint8_t LENGTH_SIZE = 0x03; // less 1
// Byte 1: size of the version less 1, and what stands with lists
constexpr uint8_t VERSION_SIZE = 0x03;
constexpr uint8_t LIST_VERSION = 0xC0;
// Byte 0 of an extent
constexpr uint8_t LONG_BLOCK_COUNT = 0x20;
constexpr uint8_t DATA_LENGTH_SIZE = 0x03; // less 1, where lengths are explicit

// A cursor over the bytes of a locator that steps forward or says that it cannot.
class Cursor {
public:
    explicit Cursor(std::span<const uint8_t> bytes) : rest_(bytes) {}

    size_t left() const { return rest_.size(); }

    bool skip(size_t count) {
        if (count > rest_.size())
            return false;
        rest_ = rest_.subspan(count);
        return true;
    }

    // A big-endian number of up to eight bytes.
    template <class Number>
    bool number(size_t size, Number &value) {
        if (size > rest_.size())
            return false;
        uint64_t read = 0;
        for (size_t i = 0; i < size; ++i)
            read = read << 8 | rest_[i];
        value = static_cast<Number>(read);
        return skip(size);
    }

    bool bytes(size_t size, std::span<const uint8_t> &value) {
        if (size > rest_.size())
            return false;
        value = rest_.first(size);
        return skip(size);
    }

    std::span<const uint8_t> rest() const { return rest_; }

private:
    std::span<const uint8_t> rest_;
};

// The parts of a decoder return why they gave up, or null.
using Fault = const char *;

constexpr Fault CUT_OFF = "the locator is cut off";
constexpr Fault UNKNOWN_FLAGS = "the locator has flags that are not known";
constexpr Fault LEFT_OVER = "the locator has bytes left over";
constexpr Fault WRONG_LENGTH = "the locator's length is not that of its data";

bool is_lob_type(uint8_t type) {
    return type == static_cast<uint8_t>(LobType::blob) || type == static_cast<uint8_t>(LobType::clob) ||
           type == static_cast<uint8_t>(LobType::nclob);
}

Fault decode_header(std::span<const uint8_t> bytes, LobLocator &lob) {
    if (bytes.size() < HEADER_SIZE)
        return CUT_OFF;
    const uint16_t size = load_be16(bytes.data());
    if ((size != LOCATOR_SIZE_11 && size != LOCATOR_SIZE_12) || load_be16(&bytes[2]) != LOCATOR_VERSION)
        return "the value is no locator of a known version";
    if (!is_lob_type(bytes[4]))
        return "the locator is of a type that is not known";
    const bool known = (bytes[5] & ~(INITIALISED | HAS_INODE)) == 0 && (bytes[6] & ~VARIABLE_WIDTH) == 0 &&
                       (bytes[7] & ~(SECURE_FILE | LITTLE_ENDIAN_TEXT)) == 0;
    if (!known || (bytes[5] & INITIALISED) == 0)
        return UNKNOWN_FLAGS;
    lob.type = static_cast<LobType>(bytes[4]);
    lob.secure_file = (bytes[7] & SECURE_FILE) != 0;
    lob.utf16 = (bytes[6] & VARIABLE_WIDTH) != 0 || (lob.type == LobType::nclob && load_be16(&bytes[8]) == 2);
    lob.little_endian = (bytes[7] & LITTLE_ENDIAN_TEXT) != 0;
    std::copy_n(&bytes[ID_AT], lob.id.size(), lob.id.begin());
    return nullptr;
}

// BasicFile: blocks, bytes, version, then the data or addresses of chunks.
Fault decode_basic_inode(Cursor at, LobLocator &lob) {
    uint8_t flag, reserved;
    if (!at.number(1, flag) || !at.number(1, reserved) || !at.number(4, lob.blocks) ||
        !at.number(2, lob.bytes) || !at.number(2, lob.version_wrap) || !at.number(4, lob.version_base))
        return CUT_OFF;
    if (flag == (VALID | DATA_IN_ROW)) {
        if (lob.blocks != 0 || lob.bytes != at.left())
            return WRONG_LENGTH;
        lob.data = at.rest();
        lob.length = lob.bytes;
        lob.place = lob.length == 0 ? LobPlace::empty : LobPlace::in_row;
        return nullptr;
    }
    if (flag != (VALID | INODE_IN_ROW))
        return UNKNOWN_FLAGS;
    if (at.left() % 4 != 0 || at.left() / 4 > LOB_INODE_ADDRESSES)
        return LEFT_OVER;
    for (uint32_t rdba; at.number(4, rdba);)
        lob.addresses.push_back(rdba);
    lob.place = LobPlace::chunks;
    return nullptr;
}

bool overlap(std::vector<LobExtent> extents) {
    std::sort(extents.begin(), extents.end(),
              [](const LobExtent &a, const LobExtent &b) { return a.rdba < b.rdba; });
    return std::adjacent_find(extents.begin(), extents.end(), [](const LobExtent &a, const LobExtent &b) {
               return uint64_t{a.rdba} + a.blocks > b.rdba;
           }) != extents.end();
}

Fault decode_extents(Cursor &at, bool explicit_lengths, LobLocator &lob) {
    uint32_t last;
    if (!at.number(1, last))
        return CUT_OFF;
    for (uint32_t i = 0; i <= last; ++i) {
        uint8_t flag;
        LobExtent extent{};
        if (!at.number(1, flag) || !at.number(4, extent.rdba) ||
            !at.number((flag & LONG_BLOCK_COUNT) != 0 ? 2 : 1, extent.blocks))
            return CUT_OFF;
        if ((flag & ~(LONG_BLOCK_COUNT | DATA_LENGTH_SIZE)) != 0)
            return UNKNOWN_FLAGS;
        if (explicit_lengths && !at.skip((flag & DATA_LENGTH_SIZE) + 1u))
            return CUT_OFF;
        lob.extents.push_back(extent);
    }
    if (overlap(lob.extents))
        return "the locator has extents that overlap";
    lob.place = LobPlace::extents;
    return nullptr;
}

Fault decode_secure_data(Cursor &at, bool explicit_lengths, LobLocator &lob) {
    uint64_t size = lob.length;
    if (explicit_lengths && !at.number(2, size))
        return CUT_OFF;
    if (!at.bytes(static_cast<size_t>(std::min<uint64_t>(size, SIZE_MAX)), lob.data))
        return CUT_OFF;
    if (!lob.compressed && size != lob.length)
        return WRONG_LENGTH;
    lob.stored_length = size;
    lob.place = LobPlace::in_row;
    return nullptr;
}

Fault decode_list_block(Cursor &at, LobLocator &lob) {
    lob.place = LobPlace::list_block;
    return at.number(4, lob.list_rdba) ? nullptr : CUT_OFF;
}

Fault decode_secure_inode(Cursor at, LobLocator &lob) {
    uint8_t form, version;
    if (!at.number(1, form) || !at.number(1, version))
        return CUT_OFF;
    if ((form & ~(FORM | EXPLICIT_LENGTHS | LENGTH_SIZE)) != 0 ||
        (version & ~(LIST_VERSION | VERSION_SIZE)) != 0)
        return UNKNOWN_FLAGS;
    if (!at.number((form & LENGTH_SIZE) + 1u, lob.length) || !at.skip((version & VERSION_SIZE) + 1u))
        return CUT_OFF;
    const bool explicit_lengths = (form & EXPLICIT_LENGTHS) != 0;
    Fault fault = nullptr;
    if (lob.length == 0 && at.left() == 0)
        lob.place = LobPlace::empty;
    else if ((form & FORM) == FORM_IN_ROW)
        fault = decode_secure_data(at, explicit_lengths, lob);
    else if ((form & FORM) == FORM_EXTENTS)
        fault = decode_extents(at, explicit_lengths, lob);
    else if ((form & FORM) == FORM_LIST)
        fault = decode_list_block(at, lob);
    else
        return UNKNOWN_FLAGS;
    return fault != nullptr || at.left() == 0 ? fault : LEFT_OVER;
}

Fault decode_compression(std::span<const uint8_t> header, LobLocator &lob) {
    Cursor at(header);
    uint8_t method, sizes, header_size;
    if (!at.number(1, method))
        return CUT_OFF;
    if ((method & ~COMPRESSION_LEVEL) == NOT_COMPRESSED)
        return at.left() == 0 ? nullptr : LEFT_OVER;
    if ((method & ~COMPRESSION_LEVEL) != (COMPRESSED | NOT_COMPRESSED))
        return UNKNOWN_FLAGS;
    if (!at.number(1, sizes) || !at.number(1, header_size) ||
        !at.number((sizes & 3u) + 1u, lob.stored_length))
        return CUT_OFF;
    lob.compressed = true;
    return at.left() == 0 && header_size == header.size() ? nullptr : LEFT_OVER;
}

Fault decode_secure_file(Cursor at, LobLocator &lob) {
    uint8_t old_flag, flags, more = 0;
    uint16_t header_size = 0, inode_size;
    if (!at.number(1, old_flag) || !at.number(1, flags))
        return CUT_OFF;
    if ((old_flag & ~DATA_IN_ROW) != SECURE_INODE ||
        (flags & ~(COMPRESS_OPTION | MORE_FLAGS)) != SECURE_VALID)
        return UNKNOWN_FLAGS;
    if (((flags & MORE_FLAGS) != 0 && !at.number(1, more)) ||
        ((flags & COMPRESS_OPTION) != 0 && !at.number(2, header_size)) || !at.number(2, inode_size))
        return CUT_OFF;
    if ((more & ~COMPRESSED_IN_ROW) != 0)
        return UNKNOWN_FLAGS;
    std::span<const uint8_t> header, inode;
    if (!at.bytes(header_size, header) || !at.bytes(inode_size, inode))
        return CUT_OFF;
    if (at.left() != 0)
        return LEFT_OVER;
    const Fault fault = header_size != 0 ? decode_compression(header, lob) : nullptr;
    return fault != nullptr ? fault : decode_secure_inode(Cursor(inode), lob);
}

// The part behind the header.
Fault decode_rest(std::span<const uint8_t> bytes, LobLocator &lob) {
    if ((bytes[5] & HAS_INODE) == 0) {
        lob.place = LobPlace::index;
        return bytes.size() == HEADER_SIZE ? nullptr : LEFT_OVER;
    }
    if (bytes.size() < INODE_AT || load_be16(&bytes[REST_AT]) != bytes.size() - REST_AT)
        return "the locator's length is not that of the value";
    const Cursor at(bytes.subspan(INODE_AT));
    return lob.secure_file ? decode_secure_file(at, lob) : decode_basic_inode(at, lob);
}

} // namespace

std::optional<LobLocator> decode_lob_locator(std::span<const uint8_t> bytes, std::string &fault) {
    LobLocator lob;
    Fault found = decode_header(bytes, lob);
    if (found == nullptr)
        found = decode_rest(bytes, lob);
    if (found == nullptr)
        return lob;
    fault = found;
    return std::nullopt;
}

std::optional<BfileName> decode_bfile(std::span<const uint8_t> bytes) {
    constexpr uint8_t BFILE = 0x08;
    constexpr size_t NAMES_AT = 16;
    if (bytes.size() < NAMES_AT || (bytes[4] & BFILE) == 0)
        return std::nullopt;
    Cursor at(bytes.subspan(NAMES_AT));
    std::span<const uint8_t> directory, file;
    uint16_t size;
    if (!at.number(2, size) || !at.bytes(size, directory) || !at.number(2, size) || !at.bytes(size, file) ||
        at.left() != 0 || directory.empty() || file.empty())
        return std::nullopt;
    const auto text = [](std::span<const uint8_t> name) {
        return std::string_view(reinterpret_cast<const char *>(name.data()), name.size());
    };
    return BfileName{text(directory), text(file)};
}

std::string lob_id_text(const LobId &id) {
    char digits[2 * sizeof(LobId)];
    return {digits, put_hex(id.data(), id.size(), digits)};
}

} // namespace vexlo
