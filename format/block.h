// Data blocks: their headers, the table and row directory, and the one bounded walk over their rows. From the
// first byte of a block:
//
//   KCBH    20 bytes        cache header
//   KTBBH   24 bytes        transaction header
//   KTBIT   24 bytes each   ITL entries
//   EXDATA  8 + m bytes     only with its flag; m is the low half of its exflg
//   KDBH    14 bytes        data header, the base of all row offsets
//   KDBT    4 bytes each    table directory: first row directory entry, number of entries
//   row directory           signed 16-bit offsets from KDBH, or links of free entries
//   row pieces              see row_piece.h
//
// Whatever a block says is compared with the end of the block here, in the functions that hand out pointers:
// a pointer they return stands inside its block, and a step forward stays inside or says that it cannot.
#pragma once

#include <algorithm>
#include <bitset>
#include <optional>

#include "format/byte_order.h"
#include "format/row_piece.h"

// KCBH.type_kcbh
constexpr uint8_t BLOCK_TABLE_DATA = 0x06;
constexpr uint8_t BLOCK_SEGMENT_HEADER = 0x10;      // freelist-managed
constexpr uint8_t BLOCK_SEGMENT_HEADER_ASSM = 0x23; // bitmap-managed
constexpr uint8_t BLOCK_EXTENT_MAP = 0x12;
constexpr uint8_t BLOCK_EXTENT_MAP_ASSM = 0x24;

// From the first byte of a block
constexpr uint32_t KTBBHICT = 36; // number of ITL entries; its low byte counts
constexpr uint32_t KTBBHFLG = 38;
constexpr uint8_t KTBBHFLG_EXDATA = 0x20; // an EXDATA area follows the ITL entries
constexpr uint32_t KTBIT = 44;
constexpr uint32_t KTBIT_SIZE = 24;

constexpr uint32_t EXDATA_SIZE = 8;
constexpr uint32_t EXFLG = 4; // in EXDATA: how much longer the area is, in its low half

constexpr uint32_t KDBH_SIZE = 14;
constexpr uint32_t KDBHNTAB = 1; // in KDBH: tables in the block, signed
constexpr uint32_t KDBHFRRE = 4; // in KDBH: first free row directory entry, negative when none

constexpr uint32_t KDBT_SIZE = 4;
constexpr uint32_t KDBTOFFS = 0; // in KDBT: first row directory entry of the table, signed
constexpr uint32_t KDBTNROW = 2; // in KDBT: number of its entries, signed

// One block in memory and the address it was read from.
struct BLOCK {
    const uint8_t *data;
    uint32_t bsz;
    uint32_t rdba;
};

// Consecutive blocks in memory, as one read delivered them.
struct BLOCK_RUN {
    const uint8_t *data;
    uint32_t rdba; // of the first one
    uint32_t blocks;
};

// Where the row structures of a block lie; offsets count from the start of the block.
struct ROW_AREA {
    BLOCK blk;
    uint32_t kdbh;
    uint32_t dir; // row directory
    int32_t ntab; // tables in the table directory
    int32_t frre; // first free row directory entry, negative when none
};

// The row directory entries of one table of a block.
struct TABLE_ROWS {
    int32_t first;
    int32_t count;
};

// The position behind the last byte of a block.
inline const uint8_t *block_end(const BLOCK &blk) {
    return blk.data + blk.bsz;
}

// Finds the end of the transaction entries and of the area behind them: the data header stands there. False
// when that lies beyond the block.
inline bool find_transactions_end(const BLOCK &blk, uint32_t *at) {
    if (blk.bsz < KTBIT)
        return false;
    *at = KTBIT + KTBIT_SIZE * blk.data[KTBBHICT];
    if ((blk.data[KTBBHFLG] & KTBBHFLG_EXDATA) != 0) {
        if (*at + EXDATA_SIZE > blk.bsz)
            return false;
        *at += EXDATA_SIZE + load_le16(blk.data + *at + EXFLG);
    }
    return *at <= blk.bsz;
}

// Finds the row structures. False when the headers point beyond the block.
inline bool locate_rows(const BLOCK &blk, ROW_AREA *area) {
    uint32_t at;
    if (!find_transactions_end(blk, &at) || at + KDBH_SIZE > blk.bsz)
        return false;
    const uint8_t *kdbh = blk.data + at;
    const int32_t ntab = static_cast<int8_t>(kdbh[KDBHNTAB]);
    const uint32_t dir = at + KDBH_SIZE + KDBT_SIZE * static_cast<uint32_t>(ntab > 0 ? ntab : 0);
    if (dir > blk.bsz)
        return false;
    *area = {blk, at, dir, ntab, static_cast<int16_t>(load_le16(kdbh + KDBHFRRE))};
    return true;
}

// The row directory entries of table `tabn`; false when the block holds no such table.
inline bool find_table(const ROW_AREA &area, uint32_t tabn, TABLE_ROWS *rows) {
    if (area.ntab <= 0 || tabn >= static_cast<uint32_t>(area.ntab))
        return false;
    const uint8_t *kdbt = area.blk.data + area.kdbh + KDBH_SIZE + KDBT_SIZE * tabn;
    *rows = {static_cast<int16_t>(load_le16(kdbt + KDBTOFFS)),
             static_cast<int16_t>(load_le16(kdbt + KDBTNROW))};
    return true;
}

// True when row directory entry `slot` lies inside the block.
inline bool has_slot(const ROW_AREA &area, int32_t slot) {
    return slot >= 0 && area.dir + 2 * (static_cast<uint32_t>(slot) + 1) <= area.blk.bsz;
}

// Row directory entry `slot`, which has_slot has accepted: an offset from KDBH or, of a free entry, the next
// free entry.
inline int32_t slot_value(const ROW_AREA &area, int32_t slot) {
    return static_cast<int16_t>(load_le16(area.blk.data + area.dir + 2 * static_cast<uint32_t>(slot)));
}

// The row piece of entry `slot`, its three header bytes inside the block; null when the entry or the piece
// is not. A piece lies behind its own directory entry. Inlined by force, as narrow rows cost little more
// than this.
[[gnu::always_inline]] inline const uint8_t *find_piece(const ROW_AREA &area, int32_t slot) {
    if (!has_slot(area, slot))
        return nullptr;
    const int32_t at = static_cast<int32_t>(area.kdbh) + slot_value(area, slot);
    const int32_t lowest = static_cast<int32_t>(area.dir) + 2 * (slot + 1);
    if (at < lowest || at + PIECE_HEADER > static_cast<int32_t>(area.blk.bsz))
        return nullptr;
    return area.blk.data + at;
}

// The number of row directory entries: the directory ends with the last entry that the table directory
// names, or with the block.
inline int32_t directory_entries(const ROW_AREA &area) {
    int32_t entries = 0;
    TABLE_ROWS rows;
    for (uint32_t tabn = 0; find_table(area, tabn, &rows); tabn++)
        entries = std::max(entries, rows.first + rows.count);
    return std::min(entries, static_cast<int32_t>((area.blk.bsz - area.dir) / 2));
}

// The row directory entry that `slot` of a row address names: it counts from the table's first entry and may
// lie behind the table's own ones. -1 when the directory has no such entry.
inline int32_t table_slot(const ROW_AREA &area, uint32_t tabn, uint16_t slot) {
    TABLE_ROWS rows;
    if (!find_table(area, tabn, &rows) || rows.first < 0 || rows.first + slot >= directory_entries(area))
        return -1;
    return rows.first + slot;
}

// True for an entry of the directory that holds the number of another entry or points before its own end, as
// free entries do and those of rows never.
inline bool looks_free(const ROW_AREA &area, int32_t slot) {
    const int32_t value = slot_value(area, slot);
    return static_cast<int32_t>(area.kdbh) + value < static_cast<int32_t>(area.dir) + 2 * (slot + 1) ||
           (area.frre >= 0 && value < directory_entries(area));
}

// The piece of the cluster key row that `index` names: key rows are the rows of table 0. Null when it is not
// in the block.
inline const uint8_t *find_key_row(const ROW_AREA &area, uint8_t index) {
    TABLE_ROWS keys{};
    return find_table(area, 0, &keys) ? find_piece(area, keys.first + index) : nullptr;
}

// The column data of that key row; null when the row is not in the block, not whole, or too short.
inline const uint8_t *find_key_data(const ROW_AREA &area, uint8_t index) {
    const uint8_t *row = find_key_row(area, index);
    return row != nullptr && is_whole_key_row(row) && block_end(area.blk) - row >= KEY_DATA ? row + KEY_DATA
                                                                                            : nullptr;
}

// Marks of directory entries, as many as 16-bit links can name.
using SLOT_SET = std::bitset<32768>;

// The entries on the chain of free entries, in whatever order it comes to them. A link that leaves the
// directory or comes back ends the chain. Out of line by force: the walk is a fifth slower with this inside.
[[gnu::noinline]] inline SLOT_SET free_slots(const ROW_AREA &area) {
    SLOT_SET free;
    const int32_t entries = directory_entries(area);
    for (int32_t slot = area.frre; slot >= 0 && slot < entries && !free[static_cast<size_t>(slot)];
         slot = slot_value(area, slot))
        free.set(static_cast<size_t>(slot));
    return free;
}

// True when the chain of free entries counts for a table: it begins above entry 0, or at entry 0 and the
// table does as well.
inline bool has_free_slots(const ROW_AREA &area, const TABLE_ROWS &rows) {
    return area.frre > 0 || (area.frre == 0 && rows.first == 0);
}

// True for an entry on the chain of free entries, which is followed into `*chain` when it is first asked
// for. Out of line by force, as free_slots is.
[[gnu::noinline, gnu::cold]] inline bool is_free_slot(const ROW_AREA &area, int32_t slot,
                                                      std::optional<SLOT_SET> *chain) {
    if (!*chain)
        *chain = free_slots(area);
    return (**chain)[static_cast<size_t>(slot)];
}

// Hands each row of the table to row(i, piece): `i` counts the table's directory entries from 0, free ones
// included, and `piece` is null when entry or piece leave the block. With `skip_free` the entries on the
// chain of free entries are no rows, whatever they hold; without it only those that lead to no piece are
// passed over. A directory that leaves the block ends with its first lost entry. Stops at a negative result
// and returns it, else 0.
template <class ROW>
inline int walk_rows(const ROW_AREA &area, const TABLE_ROWS &rows, bool skip_free, ROW &&row) {
    std::optional<SLOT_SET> chain;
    if (skip_free)
        chain = free_slots(area);
    for (int32_t i = 0; i < rows.count; i++) {
        const int32_t slot = rows.first + i;
        const bool stored = has_slot(area, slot);
        if (skip_free && stored && (*chain)[static_cast<size_t>(slot)])
            continue;
        const uint8_t *piece = find_piece(area, slot);
        if (piece == nullptr && stored && is_free_slot(area, slot, &chain))
            continue;
        const int result = row(i, piece);
        if (result < 0)
            return result;
        if (!stored)
            break;
    }
    return 0;
}
