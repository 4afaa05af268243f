// Blocks of LOB segments and leaf blocks of LOB indexes.
//
// BasicFile (types 0x28 and, with manual space management, 0x1B): data object at 20, LOB id at 24, version at
// 36 (base) and 40 (wrap), page at 44, data from 56 up to the tail.
//
// SecureFile: table data type, transaction header of type 5. Behind the transaction entries stand
//   kdlich  24 bytes  scn 6, flags 2, LOB id 10, rid 6
//   kdlidh  28 bytes  flags 4, hash 20, bytes used 2, spare 2
//   data up to the tail
//
// LOB index leaf: transaction header of type 2. Behind the transaction entries stand
//   kdxco   16 bytes  level at 0, columns at 3, rows at 8
//   kdxle   20 bytes  next leaf at 4, previous leaf at 8 (addresses; 0 at the ends), size of a row's data
//   part at 12 row directory     16-bit offsets from kdxco
// A row is flag, lock, 32 bytes of data (eight addresses of chunks; for page 0 blocks at 4, bytes at 8, and
// four addresses from 16), and the key: 0A, LOB id, 04, page. Data and key are big-endian.
#pragma once

#include "format/block.h"
#include "format/cache_header.h"

constexpr uint8_t BLOCK_LOB = 0x28;        // bitmap-managed
constexpr uint8_t BLOCK_LOB_MANUAL = 0x1B; // freelist-managed

constexpr uint32_t LOB_ID_SIZE = 10;
constexpr uint32_t LOB_BLOCK_OVERHEAD = 60; // of a BasicFile block: header and tail

// The data of one BasicFile LOB block.
struct LOB_PAGE {
    uint32_t object;     // data object number of the LOB segment
    const uint8_t *id;   // LOB id
    uint32_t page;       // number of the page within the LOB
    uint64_t version;    // wrap and base: of two blocks of a page the higher one is the newer
    const uint8_t *data; // all that the block has room for
    uint32_t size;
};

// Finds the data of a BasicFile LOB block. False when the block is none.
inline bool locate_lob_page(const BLOCK &blk, LOB_PAGE *page) {
    constexpr uint32_t OBJECT = 20, ID = 24, VERSION_BASE = 36, VERSION_WRAP = 40, PAGE = 44, DATA = 56;
    if (blk.bsz <= LOB_BLOCK_OVERHEAD || (blk.data[0] != BLOCK_LOB && blk.data[0] != BLOCK_LOB_MANUAL))
        return false;
    const uint64_t wrap = load_le16(blk.data + VERSION_WRAP);
    *page = {load_le32(blk.data + OBJECT),
             blk.data + ID,
             load_le32(blk.data + PAGE),
             wrap << 32 | load_le32(blk.data + VERSION_BASE),
             blk.data + DATA,
             blk.bsz - LOB_BLOCK_OVERHEAD};
    return true;
}

// The data of one SecureFile LOB block.
struct SECURE_PAGE {
    uint32_t object;
    const uint8_t *id;
    const uint8_t *data; // the bytes in use
    uint32_t size;
    uint32_t room; // bytes that the block has room for
};

// Finds the data of a SecureFile block. False when the block holds no LOB data or says that more of it is in
// use than it has room for.
inline bool locate_secure_page(const BLOCK &blk, SECURE_PAGE *page) {
    constexpr uint8_t LOCAL_LOBS = 5;
    constexpr uint32_t FLAG = 6, ID = 8, USED = 48, DATA = 52, TAIL = 4;
    constexpr uint8_t KIND = 0x70, KIND_DATA = 0x20;
    uint32_t at;
    if (blk.data[0] != BLOCK_TABLE_DATA || !find_transactions_end(blk, &at) || at + DATA + TAIL > blk.bsz)
        return false;
    const uint8_t *kdlich = blk.data + at;
    const uint32_t used = load_le16(kdlich + USED), room = blk.bsz - at - DATA - TAIL;
    if (transaction_type(blk.data) != LOCAL_LOBS || (kdlich[FLAG] & KIND) != KIND_DATA || used > room)
        return false;
    *page = {block_object(blk.data), kdlich + ID, kdlich + DATA, used, room};
    return true;
}

// A leaf block of a LOB index.
struct LOB_INDEX_LEAF {
    BLOCK blk;
    uint32_t kdxco;
    uint32_t rows;
    uint32_t next, previous; // addresses of the leaves beside it in the order of keys; 0 at the ends
};

// One row of it.
struct LOB_INDEX_ROW {
    const uint8_t *id;
    uint32_t page;       // of the first address
    const uint8_t *data; // LOB_INDEX_DATA bytes
    bool deleted;
};

constexpr uint32_t LOB_INDEX_DATA = 32;
constexpr uint32_t LOB_INDEX_ADDRESSES = 8;      // in a row of a page above 0
constexpr uint32_t LOB_INDEX_HEAD_ADDRESSES = 4; // in the row of page 0, behind blocks and bytes
constexpr uint32_t LOB_INDEX_DIRECTORY = 36;     // offset of the row directory from kdxco

// Finds the rows of a LOB index leaf. False when the block is none or its directory leaves it.
inline bool locate_lob_leaf(const BLOCK &blk, LOB_INDEX_LEAF *leaf) {
    constexpr uint8_t INDEX = 2;
    constexpr uint32_t LEVEL = 0, COLUMNS = 3, ROWS = 8, NEXT_LEAF = 20, PREVIOUS_LEAF = 24, DATA_SIZE = 28;
    constexpr uint8_t KEY_COLUMNS = 2;
    uint32_t at;
    if (blk.data[0] != BLOCK_TABLE_DATA || !find_transactions_end(blk, &at) ||
        transaction_type(blk.data) != INDEX || at + LOB_INDEX_DIRECTORY > blk.bsz)
        return false;
    const uint8_t *kdxco = blk.data + at;
    const uint32_t rows = load_le16(kdxco + ROWS);
    if (kdxco[LEVEL] != 0 || kdxco[COLUMNS] != KEY_COLUMNS || kdxco[DATA_SIZE] != LOB_INDEX_DATA ||
        at + LOB_INDEX_DIRECTORY + 2 * rows > blk.bsz)
        return false;
    *leaf = {blk, at, rows, load_le32(kdxco + NEXT_LEAF), load_le32(kdxco + PREVIOUS_LEAF)};
    return true;
}

// Reads row `i`, below leaf.rows. False for one that leaves the block or has no such key.
inline bool lob_index_row(const LOB_INDEX_LEAF &leaf, uint32_t i, LOB_INDEX_ROW *row) {
    constexpr uint8_t DELETED = 0x01;
    constexpr uint32_t DATA = 2, KEY = DATA + LOB_INDEX_DATA, PAGE = KEY + 1 + LOB_ID_SIZE, SIZE = PAGE + 5;
    const uint32_t at = leaf.kdxco + load_le16(leaf.blk.data + leaf.kdxco + LOB_INDEX_DIRECTORY + 2 * i);
    if (at + SIZE > leaf.blk.bsz)
        return false;
    const uint8_t *p = leaf.blk.data + at;
    if (p[KEY] != LOB_ID_SIZE || p[PAGE] != sizeof(uint32_t))
        return false;
    *row = {p + KEY + 1, load_be32(p + PAGE + 1), p + DATA, (p[0] & DELETED) != 0};
    return true;
}
