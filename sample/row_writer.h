// Places rows in the blocks of a segment.
#pragma once

#include "segment.h"

namespace sample {

// How one row is to be stored. The default is the way a plain insert stores it.
struct RowPlacement {
    bool migrated = false;        // a stub without columns here, the row in another block
    bool deleted = false;         // the head piece is marked deleted
    bool piece_per_block = false; // a new block for every piece after the head
    bool keep_trailing_nulls = false;
    bool extra = false;                      // row dependency before the columns of the head piece
    size_t extra_bytes = 6;                  // of it: 6, or 8 from 12.2 on
    std::vector<Cut> cuts;                   // piece boundaries; the planned ones when empty
    CutOrder cut_order = CutOrder::from_end; // of the planned ones
    LengthForm form = LengthForm::automatic;
    std::optional<uint8_t> flags; // overrides the flag byte of the head piece
};

// How the row of a cluster key is stored: in one piece; with all its columns in another block; or with its
// last columns there.
enum class KeyForm { whole, migrated, chained };

// Places rows in the blocks of a segment: heads in one lane of blocks, later pieces and migrated rows in
// another.
class RowWriter {
public:
    // tables: 1 for a heap segment, more for a cluster.
    RowWriter(std::unique_ptr<Segment> segment, int tables);

    // Stores a row of a heap table, given in segment column order, and returns the address of its head.
    RowAddress insert(std::span<const Value> row, const RowPlacement &placement = {});

    // Begins a cluster key; the member rows that follow belong to it. A chained key needs two columns.
    void begin_key(std::span<const Value> key, KeyForm form = KeyForm::whole);

    // Stores a cluster member row, without its key columns, under the current key. The key row is repeated in
    // every block that holds rows of the key.
    RowAddress insert_member(int table, std::span<const Value> row, const RowPlacement &placement = {});

    // Adds a free row directory entry to the current block.
    void add_free_slot(int table = 0);

    // Stores a ready-made piece in the current block and returns its address.
    RowAddress insert_piece(Bytes piece, int table = 0);

    // Ends the current block, so that the next row begins a new one.
    void flush();

    // Writes what is pending, then the segment's header and maps. Idempotent.
    void close();

    Segment &segment() { return *segment_; }

private:
    RowAddress store_row(int table, std::span<const Value> row, const RowPlacement &placement);
    RowAddress store_parts(int table, std::span<const RowPart> parts, const RowPlacement &placement);
    RowAddress store_migrated(int table, const RowPart &first, std::optional<RowAddress> next,
                              const RowPlacement &placement);
    RowAddress store_overflow(int table, Bytes piece, bool in_new_block);
    RowAddress store_head(int table, Bytes piece);
    void make_room(size_t bytes);
    void make_overflow_room(size_t bytes, bool in_new_block);
    void add_key_row();
    Bytes key_piece(RowAddress self) const;
    RowAddress store_key_rest(RowAddress stub, std::span<const Value> columns);
    size_t key_cost() const;
    void copy_keys_to_overflow(size_t bytes);
    void flush_overflow();
    void flush_key_rests();
    TableBlock new_block(int lane);

    std::unique_ptr<Segment> segment_;
    int tables_;
    size_t max_piece_; // largest piece of an empty block without cluster keys
    std::optional<TableBlock> main_;
    std::optional<TableBlock> overflow_;
    std::optional<TableBlock> key_rests_; // pieces of keys that continue
    std::optional<Row> key_;              // current cluster key
    KeyForm key_form_ = KeyForm::whole;
    std::optional<uint8_t> key_index_;  // of key_ in main_
    std::vector<uint16_t> key_members_; // member rows of each key of main_
    bool closed_ = false;
};

} // namespace sample
