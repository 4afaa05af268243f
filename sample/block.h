// Blocks: the cache header and tail that every block has, and the table data block.
#pragma once

#include "row.h"

namespace sample {

// Block types
constexpr uint8_t BLOCK_TABLE = 0x06;
constexpr uint8_t BLOCK_FILE_HEADER = 0x0B;
constexpr uint8_t BLOCK_SEGMENT_HEADER = 0x10;
constexpr uint8_t BLOCK_EXTENT_MAP = 0x12;
constexpr uint8_t BLOCK_SPACE_HEADER = 0x1D;
constexpr uint8_t BLOCK_SPACE_BITMAP = 0x1E;
constexpr uint8_t BLOCK_ASSM_LEVEL1 = 0x20;
constexpr uint8_t BLOCK_ASSM_LEVEL2 = 0x21;
constexpr uint8_t BLOCK_ASSM_SEGMENT_HEADER = 0x23;
constexpr uint8_t BLOCK_ASSM_EXTENT_MAP = 0x24;

constexpr size_t CACHE_HEADER_SIZE = 20;
constexpr size_t TAIL_SIZE = 4;
constexpr size_t TRANSACTION_HEADER = 20; // its offset in the block
constexpr size_t ITL_OFFSET = 44;         // of the first transaction entry
constexpr size_t ITL_SIZE = 24;
constexpr size_t SLOT_SIZE = 2; // of an entry in a row directory
constexpr size_t CHECK_VALUE_OFFSET = 16;
constexpr uint8_t CACHE_FLAG_CHECKED = 0x04; // the check value was computed
constexpr uint8_t CACHE_FLAG_ENCRYPTED = 0x10;
constexpr uint8_t DATA_FLAG_COMPRESSED = 0x40;

// rdba of a block in a smallfile: relative file number in the top 10 bits, block number in the others.
constexpr uint32_t BLOCK_MASK = 0x3FFFFF;
constexpr uint32_t make_rdba(uint32_t rfn, uint32_t block) {
    return rfn << 22 | block;
}

// The format byte that the current versions write for a block size (0xA2 for 8 KiB).
uint8_t format_byte(size_t block_size);

struct CacheHeader {
    uint8_t type = BLOCK_TABLE;
    std::optional<uint8_t> format; // format_byte of the block size when not given
    uint32_t rdba = 0;
    uint32_t scn_base = 0;
    uint16_t scn_wrap = 0;
    uint8_t sequence = 1;
    uint8_t flags = CACHE_FLAG_CHECKED;
};

// An otherwise empty block with header and tail, check value still 0. Content goes between CACHE_HEADER_SIZE
// and the tail; seal_block finishes it.
Bytes empty_block(size_t block_size, const CacheHeader &header);

// Writes the tail that belongs to the cache header of the block: low half of the SCN base, type, sequence.
void write_tail(std::span<uint8_t> block);

// Writes the check value: the one that makes the XOR of all 16-bit words of the block 0.
void seal_block(std::span<uint8_t> block);

// XOR of all 16-bit little-endian words; 0 for a sound block.
uint16_t fold_words(ByteView block);

// Overwrites bytes of a finished block, then seals it again if `reseal`.
void patch_block(std::span<uint8_t> block, size_t offset, ByteView bytes, bool reseal = true);

// ITL entry, 24 bytes.
struct ItlEntry {
    uint16_t undo_segment = 0;
    uint16_t undo_slot = 0;
    uint32_t undo_sequence = 0;
    uint32_t undo_rdba = 0;
    uint16_t undo_block_sequence = 0;
    uint8_t undo_record = 0;
    uint16_t flags = 0;
    uint16_t scn_wrap = 0;
    uint32_t scn_base = 0;
};

// Area of automatic space management between the ITL and the data header. The low 16 bits of exflg are the
// bytes of `body`; upper_flags are the others.
struct ExtraArea {
    uint32_t inc = 0;
    uint16_t upper_flags = 0;
    Bytes body;
};

struct TableBlockOptions {
    size_t block_size = 8192;
    CacheHeader cache;
    uint32_t objd = 0;     // data object number
    uint32_t scn_base = 0; // of the last cleanout
    uint16_t scn_wrap = 0;
    std::optional<uint8_t> flags; // transaction header flags, when not those that go with `extra`
    uint8_t free_list_slot = 0;
    uint32_t free_list_next = 0; // in a bitmap-managed segment the rdba of its bitmap block
    std::vector<ItlEntry> itl = std::vector<ItlEntry>(2);
    uint8_t itl_count_high = 0;                   // high byte of the ITL count word; readers ignore it
    std::optional<ExtraArea> extra = ExtraArea{}; // present in bitmap-managed segments
    uint8_t data_flags = 0;                       // of the data header
    int tables = 1;                               // tables in the directory; more than one in a cluster
    size_t reserve = 0;                           // bytes of free space that `fits` leaves alone
};

// Header flag byte (ktbbhflg) of a block with an extra area, as bitmap-managed segments have it, and without.
constexpr uint8_t TRANSACTION_FLAGS_EXTRA = 0x32;
constexpr uint8_t TRANSACTION_FLAGS_PLAIN = 0x02;

// A table data block under construction. Slots are numbered within each table from 0 in the order of
// addition, so the address of a piece is known when it is added; the row directory is laid out by finish.
class TableBlock {
public:
    explicit TableBlock(TableBlockOptions options);

    // Whether `pieces` pieces of `bytes` bytes together can be added, the reserve included if `use_reserve`.
    bool fits(size_t bytes, size_t pieces, bool use_reserve) const;

    // Largest piece that a block with these options can hold.
    static size_t max_piece(const TableBlockOptions &options);

    // Adds a piece to a table (0 for a heap table) and returns its slot. Throws std::length_error when the
    // block has no room or the table number is not below options.tables.
    uint16_t add(Bytes piece, int table = 0);

    // Adds a free row directory entry, which finish chains in slot order through kdbhfrre.
    uint16_t add_free(int table = 0);

    // Adds a row directory entry with the given content, to point anywhere.
    uint16_t add_raw_offset(int16_t offset, int table = 0);

    // Replaces a piece that was added; the new bytes must not be more than the old.
    void replace(uint16_t slot, Bytes piece, int table = 0);

    const Bytes &piece(uint16_t slot, int table = 0) const;
    uint16_t slots(int table = 0) const;
    bool empty() const;
    uint32_t rdba() const { return options_.cache.rdba; }

    // The finished block, sealed. Tables above the last one that has slots are left out of the directory.
    Bytes finish() const;

private:
    struct Slot {
        enum class Kind { piece, free, raw } kind;
        Bytes piece;
        int16_t offset;
    };
    uint16_t add_slot(Slot slot, int table);
    int stored_tables() const;
    void write_headers(Bytes &block, size_t data_header) const;
    size_t write_rows(Bytes &block, size_t data_header) const;

    TableBlockOptions options_;
    std::vector<std::vector<Slot>> tables_;
    size_t used_ = 0;  // bytes of pieces
    size_t slots_ = 0; // row directory entries
};

// Block offset at which the data header of such a block begins.
size_t data_header_offset(const TableBlockOptions &options);

} // namespace sample
