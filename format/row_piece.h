// A row piece: flag byte, lock byte, column count, then what the flags announce, then the column values.
#pragma once

#include "format/byte_order.h"

// Row piece flags
constexpr uint8_t ROW_HEAD = 0x20;     // H: head piece
constexpr uint8_t ROW_DELETED = 0x10;  // D
constexpr uint8_t ROW_FIRST = 0x08;    // F: holds the row's first column
constexpr uint8_t ROW_LAST = 0x04;     // L: no next piece
constexpr uint8_t ROW_PREVIOUS = 0x02; // P: first column continues the previous piece's last
constexpr uint8_t ROW_NEXT = 0x01;     // N: last column continues in the next piece

constexpr int PIECE_HEADER = 3; // flag, lock, column count
constexpr int ROWID_SIZE = 6;   // block address and slot, big-endian
constexpr int KEY_DATA = 19;    // a cluster key row's column data, from the start of its piece

/// True for a key row of one piece. Keys in several pieces are not followed.
inline bool is_whole_key_row(const uint8_t *row) {
    constexpr uint8_t WHOLE = ROW_HEAD | ROW_FIRST | ROW_LAST;
    return (row[0] & WHOLE) == WHOLE;
}

/// Reads a row address, big-endian block address and slot, and steps behind it. False when it leaves [p,
/// end).
inline bool next_address(const uint8_t *&p, const uint8_t *end, uint32_t *rdba, uint16_t *slot) {
    if (end - p < ROWID_SIZE)
        return false;
    *rdba = load_be32(p);
    *slot = load_be16(p + 4);
    p += ROWID_SIZE;
    return true;
}
