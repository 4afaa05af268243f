// Row pieces: flag byte, lock byte, column count, then what the flags announce, then the column values (see
// stored_value.h). And the key rows of clusters, which are pieces with a header of their own before the
// values.
#pragma once

#include "format/byte_order.h"

// Row piece flags
constexpr uint8_t ROW_HEAD = 0x20;     // H: head piece
constexpr uint8_t ROW_DELETED = 0x10;  // D
constexpr uint8_t ROW_FIRST = 0x08;    // F: holds the row's first column
constexpr uint8_t ROW_LAST = 0x04;     // L: no next piece
constexpr uint8_t ROW_PREVIOUS = 0x02; // P: first column continues the previous piece's last
constexpr uint8_t ROW_NEXT = 0x01;     // N: last column continues in the next piece

constexpr int PIECE_FLAGS = 0;
constexpr int PIECE_LOCK = 1;    // number of an ITL entry
constexpr int PIECE_COLUMNS = 2; // column values in the piece
constexpr int PIECE_HEADER = 3;

constexpr int CLUSTER_INDEX_SIZE =
    1;                        // of a first piece in a cluster: which of the block's key rows is its own
constexpr int ROWID_SIZE = 6; // block address and slot, big-endian

// A cluster key row, behind the header of its piece
constexpr int KEY_ROWS_HERE = PIECE_HEADER;           // member rows in the block, 16 bits
constexpr int KEY_ROWS_COMMITTED = KEY_ROWS_HERE + 2; // the same as committed, 16 bits
constexpr int KEY_PREVIOUS = KEY_ROWS_COMMITTED + 2;  // address of the key's row in the block before
constexpr int KEY_NEXT = KEY_PREVIOUS + ROWID_SIZE;   // and in the block behind
constexpr int KEY_DATA = KEY_NEXT + ROWID_SIZE;       // its column values
static_assert(KEY_DATA == 19);

// The number of column values in a piece.
inline int column_count(const uint8_t *piece) {
    return piece[PIECE_COLUMNS];
}

// True for a key row of one piece. Keys in several pieces are not followed.
inline bool is_whole_key_row(const uint8_t *row) {
    constexpr uint8_t WHOLE = ROW_HEAD | ROW_FIRST | ROW_LAST;
    return (row[PIECE_FLAGS] & WHOLE) == WHOLE;
}

// Reads a row address, big-endian block address and slot, and steps behind it. False when it leaves [p,
// end).
inline bool next_address(const uint8_t *&p, const uint8_t *end, uint32_t *rdba, uint16_t *slot) {
    if (end - p < ROWID_SIZE)
        return false;
    *rdba = load_be32(p);
    *slot = load_be16(p + 4);
    p += ROWID_SIZE;
    return true;
}
