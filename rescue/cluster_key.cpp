#include "rescue/cluster_key.h"

#include <optional>
#include <vector>

#include "format/row_piece.h"
#include "format/stored_value.h"

namespace vexlo {

namespace {

constexpr uint8_t ROW_KEY = 0x80; // K: cluster key row
constexpr int PREVIOUS_KEY = 7; // address of the key's row in the previous block, from the start of the piece
constexpr int NEXT_KEY = 13;    // and in the next one

struct Address {
    uint32_t rdba;
    uint16_t slot;

    bool operator==(const Address &) const = default;
};

// A piece of a key row, its header of KEY_DATA bytes inside the block.
struct KeyPiece {
    const uint8_t *data;
    const uint8_t *end; // of the block
    Address self;

    uint8_t flags() const { return data[0]; }
    Address address(int at) const { return {load_be32(data + at), load_be16(data + at + 4)}; }
};

class KeyReader {
public:
    KeyReader(const KeyPlace &place, BlockReader &reader, RowBuilder &row)
        : place_(place), reader_(reader), row_(row) {}

    bool read(uint8_t index) {
        const std::optional<KeyPiece> key = piece_in(place_.area, {place_.area.blk.rdba, index});
        if (!key)
            return false;
        return (is_whole_key_row(key->data) && add_values(*key, place_.holds)) || follow(*key) ||
               read_neighbour(*key, PREVIOUS_KEY) || read_neighbour(*key, NEXT_KEY);
    }

private:
    static std::optional<KeyPiece> piece_in(const ROW_AREA &area, Address address) {
        TABLE_ROWS keys{};
        if (!find_table(area, 0, &keys))
            return std::nullopt;
        const uint8_t *piece = find_piece(area, keys.first + address.slot);
        const uint8_t *end = block_end(area.blk);
        if (piece == nullptr || end - piece < KEY_DATA)
            return std::nullopt;
        return KeyPiece{piece, end, address};
    }

    std::optional<KeyPiece> fetch(Address address) {
        const FetchedBlock block = reader_.fetch(place_.tablespace, address.rdba);
        ROW_AREA area;
        if (!block.is_sound() || block.blk.data[0] != BLOCK_TABLE_DATA || !locate_rows(block.blk, &area))
            return std::nullopt;
        const std::optional<KeyPiece> piece = piece_in(area, address);
        return piece && (piece->flags() & ROW_KEY) != 0 ? piece : std::nullopt;
    }

    // Adds all values of a piece, or none of them.
    bool add_values(const KeyPiece &piece, bool holds) {
        const uint8_t *p = piece.data + KEY_DATA;
        const uint8_t flags = piece.flags();
        p += (flags & (ROW_FIRST | ROW_HEAD)) == ROW_FIRST ? ROWID_SIZE : 0;
        p += (flags & ROW_LAST) == 0 ? ROWID_SIZE : 0;
        std::vector<VALUE> values(piece.data[2]);
        for (VALUE &value : values)
            if (p > piece.end || !next_value(p, piece.end, &value))
                return false;
        for (const VALUE &value : values)
            row_.add_key(value, holds);
        return true;
    }

    // A key row that migrated: its head has no values and leads to the piece that has them all.
    bool follow(const KeyPiece &head) {
        if ((head.flags() & (ROW_HEAD | ROW_FIRST | ROW_LAST)) != ROW_HEAD ||
            head.end - head.data < KEY_DATA + ROWID_SIZE)
            return false;
        const std::optional<KeyPiece> moved = fetch(head.address(KEY_DATA));
        constexpr uint8_t WHOLE = ROW_FIRST | ROW_LAST;
        return moved && (moved->flags() & (WHOLE | ROW_HEAD)) == WHOLE &&
               moved->end - moved->data >= KEY_DATA + ROWID_SIZE && moved->address(KEY_DATA) == head.self &&
               add_values(*moved, false);
    }

    // The row of the same key in the previous or next block, when it names this one as its neighbour.
    bool read_neighbour(const KeyPiece &key, int at) {
        const Address address = key.address(at);
        if (address == key.self)
            return false;
        const std::optional<KeyPiece> neighbour = fetch(address);
        return neighbour && is_whole_key_row(neighbour->data) &&
               (neighbour->address(PREVIOUS_KEY) == key.self || neighbour->address(NEXT_KEY) == key.self) &&
               add_values(*neighbour, false);
    }

    const KeyPlace &place_;
    BlockReader &reader_;
    RowBuilder &row_;
};

} // namespace

bool read_cluster_key(const KeyPlace &place, uint8_t index, BlockReader &reader, RowBuilder &row) {
    return KeyReader(place, reader, row).read(index);
}

} // namespace vexlo
