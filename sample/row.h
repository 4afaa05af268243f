// Row pieces: their encoding, and the cutting of a row into pieces.
#pragma once

#include <span>

#include "value.h"

namespace sample {

// Flag byte of a row piece
constexpr uint8_t ROW_K = 0x80; // cluster key row
constexpr uint8_t ROW_C = 0x40; // cluster member row
constexpr uint8_t ROW_H = 0x20; // head piece
constexpr uint8_t ROW_D = 0x10; // deleted
constexpr uint8_t ROW_F = 0x08; // the row's first column is in this piece
constexpr uint8_t ROW_L = 0x04; // no piece follows
constexpr uint8_t ROW_P = 0x02; // the first column continues the previous piece's last
constexpr uint8_t ROW_N = 0x01; // the last column continues in the next piece

constexpr size_t MAX_PIECE_COLUMNS = 255; // the column count of a piece is one byte
constexpr size_t KEY_DATA_OFFSET = 19;    // the columns of a cluster key row begin here

// Address of a row piece: the block, and the slot within the piece's table in that block.
struct RowAddress {
    uint32_t rdba = 0;
    uint16_t slot = 0;
    bool operator==(const RowAddress &) const = default;
};

// How the length of a value is written. Databases use one byte up to 250 and the three-byte form above;
// readers take one byte up to 253 and the three-byte form for any length.
enum class LengthForm { automatic, one_byte, three_bytes };

// What precedes the columns of a piece, in this order on disk.
struct PieceHead {
    uint8_t flags = ROW_H | ROW_F | ROW_L;
    uint8_t lock = 0;                     // ITL index
    std::optional<uint8_t> column_count;  // overrides the true count
    std::optional<uint8_t> key_index;     // first piece of a cluster member row
    std::optional<RowAddress> head_rowid; // first piece of a migrated row: where its stub is
    std::optional<Bytes> extra;           // row dependency SCN of a head piece, 6 or 8 bytes
    std::optional<RowAddress> next;       // next piece; big-endian on disk
};

// Appends one column value with its length.
void append_column(Bytes &out, const Value &value, LengthForm form = LengthForm::automatic);

// Bytes that append_column would add.
size_t column_size(const Value &value, LengthForm form = LengthForm::automatic);

// A row piece of the given columns. The flags are written as they are, whatever the columns and addresses
// say.
Bytes encode_piece(const PieceHead &head, std::span<const Value> columns,
                   LengthForm form = LengthForm::automatic);

// What precedes the key columns of a cluster key row.
struct KeyHead {
    uint8_t flags = ROW_K | ROW_H | ROW_F | ROW_L;
    uint8_t lock = 0;
    uint16_t rows_here = 0;  // member rows of the key in this block
    uint16_t rows_total = 0; // as committed
    RowAddress previous;     // key row of the same key in the previous and the next block of the chain
    RowAddress next;
    std::optional<RowAddress> head_rowid; // of a key that migrated here: where its stub is
    std::optional<RowAddress> next_piece; // of a key that continues elsewhere; both stand before the columns
};

// A cluster key row piece; its column data begins at KEY_DATA_OFFSET.
Bytes encode_key_piece(const KeyHead &head, std::span<const Value> key);

// A piece boundary: the next piece begins with byte `offset` of column `column`; offset 0 cuts between
// columns.
struct Cut {
    size_t column;
    size_t offset;
};

// The part of a row that goes into one piece.
struct RowPart {
    uint8_t flags = 0; // of F, L, P and N those that apply
    Row columns;
};

// The row without its trailing NULLs, which databases do not store.
std::span<const Value> trim_trailing_nulls(std::span<const Value> row);

// Cuts the row at the given ascending boundaries into cuts.size() + 1 parts, first part first.
std::vector<RowPart> cut_row(std::span<const Value> row, std::span<const Cut> cuts);

// Which parts of a row are filled; the one at the other end takes the rest. Databases cut from the end, from
// 12.2 on rows of more than MAX_PIECE_COLUMNS columns from the start.
enum class CutOrder { from_end, from_start };

// Boundaries that leave every part at most MAX_PIECE_COLUMNS columns and max_bytes bytes of encoded columns.
// Empty when one piece is enough.
std::vector<Cut> plan_cuts(std::span<const Value> row, size_t max_bytes, CutOrder order = CutOrder::from_end);

} // namespace sample
