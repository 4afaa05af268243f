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

    // Where the values of a piece begin: behind the address of the head where the key migrated, and that of
    // the next piece where there is one. Null when they leave the block.
    static const uint8_t *values_of(const KeyPiece &piece) {
        const uint8_t flags = piece.flags();
        const int addresses =
            ((flags & (ROW_FIRST | ROW_HEAD)) == ROW_FIRST ? 1 : 0) + ((flags & ROW_LAST) == 0 ? 1 : 0);
        const int head = KEY_DATA + addresses * ROWID_SIZE;
        return piece.end - piece.data < head ? nullptr : piece.data + head;
    }

    // Appends the values of a piece. False when one leaves the block or is cut.
    static bool take_values(const KeyPiece &piece, std::vector<VALUE> &values) {
        const uint8_t *p = values_of(piece);
        if (p == nullptr || (piece.flags() & (ROW_PREVIOUS | ROW_NEXT)) != 0)
            return false;
        VALUE value;
        for (int left = column_count(piece.data); left > 0; --left) {
            if (!next_value(p, piece.end, &value))
                return false;
            values.push_back(value);
        }
        return true;
    }

    // Adds all values of a piece that has the whole key, or none of them.
    bool add_values(const KeyPiece &piece, bool holds) {
        std::vector<VALUE> values;
        if (!take_values(piece, values))
            return false;
        add(values, holds);
        return true;
    }

    void add(const std::vector<VALUE> &values, bool holds) {
        for (const VALUE &value : values)
            row_.add_key(value, holds);
    }

    // A key row that goes on elsewhere. Its head has no values when it migrated, else the first ones.
    bool follow(const KeyPiece &head) {
        const uint8_t flags = head.flags();
        if ((flags & ROW_HEAD) == 0 || (flags & ROW_LAST) != 0)
            return false;
        std::vector<VALUE> values;
        if ((flags & ROW_FIRST) != 0 && !take_values(head, values))
            return false;
        if (!follow_chain(head, values))
            return false;
        add(values, false);
        return true;
    }

    // Takes the values of the pieces behind the head. A key has few columns, and so few pieces: all of their
    // blocks stay in the reader.
    bool follow_chain(const KeyPiece &head, std::vector<VALUE> &values) {
        constexpr int MOST_PIECES = 16;
        static_assert(MOST_PIECES < BlockReader::CACHED_BLOCKS);
        const bool migrated = (head.flags() & ROW_FIRST) == 0;
        std::optional<KeyPiece> piece = head;
        for (int i = 0; i < MOST_PIECES; ++i) {
            const uint8_t *end = values_of(*piece);
            if (end == nullptr)
                return false;
            piece = fetch(piece->address(static_cast<int>(end - piece->data) - ROWID_SIZE));
            const bool first = migrated && i == 0;
            if (!piece || (piece->flags() & ROW_HEAD) != 0 || ((piece->flags() & ROW_FIRST) != 0) != first ||
                !take_values(*piece, values))
                return false;
            if (first && piece->address(KEY_DATA) != head.self)
                return false;
            if ((piece->flags() & ROW_LAST) != 0)
                return true;
        }
        return false;
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
