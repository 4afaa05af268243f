// Rows: from the pieces in data blocks to entries in the cache.
#pragma once

#include "data/uldr.h"

// What became of a row, or of one piece of it.
enum class PIECE_RESULT {
    taken,      // its values are in the cache
    breaks_off, // its next-piece address leads to nothing that could be added: it ends with a line
    damaged,    // it leaves its block: to be left out with a line
    skipped,    // its cluster key cannot be used: left out, the line is already printed
    failed,     // the table's unload ends, the message is already printed
};

// The key data of a cluster row, within its block; null outside a cluster.
struct CLUSTER_KEY {
    const uint8_t *p;
    const uint8_t *end;
};

// Unloads the table's rows in one block. Returns 0, or -1 after its message for a failure that ends the
// table.
int process_data_block(ULDR *ul, const BLOCK &blk);

// Appends `cc` column values, which lie in [p, end), and the cluster key columns before them to the cache.
// The result is taken or damaged.
PIECE_RESULT process_one_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc,
                               const CLUSTER_KEY &key);

// The same for one piece, with flag byte `fb`, of a row of several pieces. The result is taken, damaged or
// failed.
PIECE_RESULT process_chained_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, uint8_t fb,
                                   const CLUSTER_KEY &key);

// Follows the pieces of a row from the one at (`rdba`, `slot`) on; `head` is the block of the head piece,
// which is row `row` there, and `key` its cluster key. A chain that breaks off is told of, and its row is
// taken as it is. The result is taken, damaged or failed.
PIECE_RESULT process_chain(ULDR *ul, const ROW_AREA &head, int row, uint32_t rdba, uint16_t slot,
                           CLUSTER_KEY key);

// Finds the key data of the cluster row whose key row is `index` in the block `area`. The result is taken,
// damaged, or skipped after "cluster key migrated or chained, skip this row data.\n" on standard output.
PIECE_RESULT find_cluster_key(const ROW_AREA &area, uint8_t index, CLUSTER_KEY *key);

// Cache bytes that the longest row in one piece may need: a block of values, a block of key values of no
// bytes, which take two bytes for one each, a further byte for each of 255 values, the end mark, and what
// copying by a fixed number of bytes takes behind it; the headers of the block, which are no values, make up
// for most of the latter.
constexpr int64_t longest_row(int32_t bsz) {
    return 3 * int64_t{bsz} + 128;
}

// Makes room in the cache for a row in one piece, the `cc` values at `p` and the cluster key: flushes it
// when fewer than one block is left, or when the entries take more than that. Returns 0, or -1 after its
// message.
int make_room_for_row(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, const CLUSTER_KEY &key);

// The same for one piece, with flag byte `fb`, of a longer row, which is given 4000 bytes more.
int make_room_for_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, uint8_t fb,
                        const CLUSTER_KEY &key);
