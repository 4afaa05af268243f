// A table whose segment is made of hand-made blocks in small datafiles, unloaded by unload_one_table.
#pragma once

#include <map>

#include <gtest/gtest.h>

#include "../clean_context.h"
#include "data/dump_file.h"
#include "data/lob_value.h"
#include "data/long_value.h"
#include "data/segment.h"
#include "dump_builder.h"
#include "sample/block.h"
#include "sample/segment.h"

namespace unload_unit {

using sample::Bytes;
using sample::PieceHead;
using sample::Row;
using sample::RowAddress;
using sample::Value;
using vexlo_test::dump_builder;

constexpr uint32_t TSN = 4;
constexpr uint32_t RFN = 5;
constexpr uint32_t HEADER_BLOCK = 1;

// Flag bytes of row pieces
constexpr uint8_t H = 0x20, D = 0x10, F = 0x08, L = 0x04, P = 0x02, N = 0x01;

constexpr uint32_t VARCHAR2 = 1;

// The line that follows the reason when a segment fails.
constexpr const char *SEGMENT_FAILED = "unload segment error.\n";

// What one call of unload_one_table left behind.
struct Outcome {
    int result = 0;
    std::string out;
    std::string err;
    Bytes file; // what was written
    Bytes rows; // of a table that did not fail: what stands between the column list and the end mark
};

class SegmentTest : public vexlo_test::clean_context {
protected:
    SegmentTest();
    ~SegmentTest() override;

    // Adds an empty datafile; file RFN of tablespace TSN with blocks of `bsz` bytes exists from the start.
    void add_file(uint32_t rfn, uint32_t bsz, uint32_t tsn = TSN, uint32_t flag = 0);

    // Replaces the file of the start by one with another block size or another kind of address.
    void use_block_size(uint32_t bsz, uint32_t flag = 0);

    // Name under which the program reports a datafile.
    std::string file_name(uint32_t rfn) const;

    // Gives a datafile the relative number of another one, once what is in it has been stored.
    void renumber_file(uint32_t from, uint32_t rfn) { file(from).rfn = rfn; }

    // Closes the descriptor of a datafile, so that reading from it fails with EBADF.
    void break_file(uint32_t rfn);

    // A data block at block `number` of file `rfn`, to be filled and stored.
    sample::TableBlock block(uint32_t number, int tables = 1, uint32_t rfn = RFN) const;
    void store(const sample::TableBlock &blk);
    void store(uint32_t rdba, const Bytes &blk);

    // Stores block `number` of file RFN with these pieces, in slot order.
    void store_pieces(uint32_t number, const std::vector<Bytes> &pieces);

    // Stores block `number`, of `bsz` bytes, with one piece that may be longer than a row directory reaches.
    void store_large_piece(uint32_t number, uint32_t bsz, const Bytes &piece);

    // Writes an extent map block.
    void store_map(uint32_t rdba, uint8_t type, const std::vector<sample::Extent> &extents, uint32_t next);

    // Sets the columns of the table, given by their types and flags.
    void columns(const std::vector<COL> &cols);

    // Bytes of the column list, with which the cache begins.
    size_t list_size() const { return tab_.ncol * 48; }

    // Unloads the table whose segment header is in block HEADER_BLOCK of file RFN into an empty file. Without
    // a header of its own the segment gets one that names the blocks 2 to `last`.
    Outcome unload(uint32_t last = 4);

    // Unloads what was stored and expects these rows: damage is no failure.
    void expect_rows(const Bytes &rows, const std::string &err, uint32_t nrow);

    // Unloads a table whose rows are these pieces of block 2, in slot order.
    Outcome unload_pieces(const std::vector<Bytes> &pieces);

    // The rows of a table that unloads without a word.
    Bytes rows_of(const std::vector<Bytes> &pieces);
    Bytes rows_of_segment(uint32_t last = 4);

    TAB tab_{};
    std::string dump_path_; // a file that exists already and is written instead of an empty one
    uint32_t header_block_ = HEADER_BLOCK; // where the table's segment is said to begin
    uint32_t nrow_ = 0;                    // rows counted by the last unload

private:
    DATAFILE &file(uint32_t rfn);
    ULDR begin_unload();

    std::vector<COL> cols_;
    std::vector<DATAFILE> files_;
    bool has_header_ = false;
};

COL column(uint32_t ctyp = VARCHAR2, uint32_t flag = 0, uint32_t cid = 0);

// `n` ordinary columns.
std::vector<COL> plain_columns(size_t n);

// A row piece; the address of the next piece only when given.
Bytes piece(uint8_t flags, const Row &values, std::optional<RowAddress> next = {});

// The address of a piece in file RFN.
RowAddress at(uint32_t block, uint16_t slot = 0);

// `n` bytes that differ from their neighbours and with `seed`.
Bytes pattern(size_t n, unsigned seed = 0);

Bytes text(std::string_view s);

// The line that tells of a damaged row.
std::string damaged_row(uint32_t block, int row);

} // namespace unload_unit
