// The state of one unload and the operations on it.
#pragma once

#include "data/dump_file.h"
#include "format/block.h"
#include "format/stored_value.h"
#include "read_budget.h"
#include "vexlo.h"

#include <span>

constexpr int CACHE_SIZE = 0x400000;
constexpr int LONG_SIZE = 32768; // LONG bytes held in memory, besides a longer value in one piece
constexpr int LOB_BUFFER_SIZE = 32768;
constexpr uint32_t LOB_DATA_SIZE = 4088;

// The locator bytes of one LOB value met in a row. They are gathered and never written.
struct LOBD {
    uint32_t cid;
    uint32_t len;
    uint8_t ldata[LOB_DATA_SIZE];
};
static_assert(sizeof(LOBD) == 4096);

struct ULDR {
    int32_t fd;        // dump file
    int32_t lfd;       // LONG temporary file, -1 when none
    int32_t ntab;      // tables in the file
    int32_t tsn;       // tablespace of the segment being read
    int32_t tabn;      // table number inside a cluster block
    int32_t nlob;      // LOB columns of the table
    int32_t bsz;       // block size of the segment
    int32_t curc;      // column position within the row
    int32_t ccl;       // bytes gathered of a value that spans pieces
    int32_t lcc;       // LOB values met in the row
    int32_t lsz;       // LONG bytes in lbuf
    int32_t csz;       // cache capacity
    int32_t clen;      // cache bytes not yet written
    uint32_t nrow;     // rows of the table
    uint32_t hdba;     // segment header
    uint64_t data_ofs; // file offset of the next cache flush
    const TAB *tabp;   // the table being unloaded
    TAB_INFO *tinf;    // table directory
    uint8_t *cache;    // the buffers are carved out of the work buffer
    uint8_t *hblk;     // segment header or extent map block
    uint8_t *cblk;     // block of a followed row piece
    uint8_t *pl;       // reserved length of a value that spans pieces, null when none
    uint8_t *ibuf;     // four buffers that LOB columns take room for
    uint8_t *itree2;
    uint8_t *itree3;
    uint8_t *itree4;
    uint8_t *lbuf; // LONG value
    LOBD *lobc;    // LOB locators
    uint8_t *rbuf; // blocks read ahead

    std::span<const COL> cols; // columns of the table
    bool ordinary;             // rows in one piece may go the short way
    int32_t lob_room;          // LOBD records that lobc has room for
    bool lob_begun;            // LOBD number lcc holds the begin of a value
    int64_t rsz;               // bytes of rbuf
    READ_BUDGET followed;      // what the pieces followed in the segment take at least
    BLOCK_RUN run;             // blocks in rbuf
    uint32_t cblk_rdba;        // address of the block in cblk, 0 when none
};

// What becomes of a row or a piece, besides 0 (handled) and -1 (the table's unload ends).
constexpr int ROW_DAMAGED = -2; // leaves its block: the row is left out with a line
constexpr int ROW_SKIPPED = -3; // its cluster key cannot be used: left out, the line is already printed

/// The key data of a cluster row, within its block; null outside a cluster.
struct CLUSTER_KEY {
    const uint8_t *p;
    const uint8_t *end;
};

/// Unloads the table `tabp` into the dump file: its column list, its rows, the end mark. Needs fd, data_ofs,
/// tabp and nlob, and nrow 0. Returns 0, or -1 after its message.
int unload_one_table(ULDR *ul);

/// Unloads the rows of the segment whose header is at `hdba` in tablespace `tsn`. Returns 0, or -1 after its
/// message.
int unload_segment(ULDR *ul);

/// Unloads the table's rows in one block. Returns 0, or -1 after its message for a failure that ends the
/// table.
int process_data_block(ULDR *ul, const BLOCK &blk);

/// Appends `cc` column values, which lie in [p, end), and the cluster key columns before them to the cache.
/// Returns 0 or ROW_DAMAGED.
int process_one_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, const CLUSTER_KEY &key);

/// The same for one piece, with flag byte `fb`, of a row of several pieces. Returns 0, ROW_DAMAGED, or -1
/// after its message.
int process_chained_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, uint8_t fb,
                          const CLUSTER_KEY &key);

/// Follows the pieces of a row from the one at (`rdba`, `slot`) on; `head` is the block of the head piece,
/// which is row `row` there, and `key` its cluster key. Returns 0, ROW_DAMAGED, or -1 after its message.
int process_chain(ULDR *ul, const ROW_AREA &head, int row, uint32_t rdba, uint16_t slot, CLUSTER_KEY key);

/// The configured datafile that holds the block at `rdba` of the segment being read; null when there is none
/// of the segment's block size.
DATAFILE *segment_file(const ULDR *ul, uint32_t rdba);

/// Says that there is no such datafile; returns -1.
int segment_file_error(const ULDR *ul, uint32_t rdba);

/// Finds the key data of the cluster row whose key row is `index` in the block `area`. Returns 0,
/// ROW_DAMAGED, or ROW_SKIPPED after "cluster key migrated or chained, skip this row data.\n" on standard
/// output.
int find_cluster_key(const ROW_AREA &area, uint8_t index, CLUSTER_KEY *key);

/// Room in the cache, besides one block, that a piece of a chained row is given.
constexpr int CHAIN_RESERVE = 4000;

/// Cache bytes that the longest row in one piece may need: a block of values, a block of key values of no
/// bytes, which take two bytes for one each, a further byte for each of 255 values, the end mark, and what
/// copying by a fixed number of bytes takes behind it; the headers of the block, which are no values, make up
/// for most of the latter.
constexpr int64_t longest_row(int32_t bsz) {
    return 3 * int64_t{bsz} + 128;
}

/// Makes room in the cache for the `cc` values at `p` and the cluster key: flushes it when fewer than one
/// block and `reserve` bytes are left, or when the values are longer as dump entries than that. Returns 0, or
/// -1 after its message.
int make_room(ULDR *ul, int reserve, const uint8_t *p, const uint8_t *end, int cc, const CLUSTER_KEY &key);

/// Adds `len` bytes to the row's LONG value; with `flush` writes what is held in memory to the temporary file
/// instead. Returns 0, or -1 after "open %s: %s\n" or "write long data error: %s\n".
int save_long(ULDR *ul, const uint8_t *data, uint32_t len, bool flush);

/// Appends the LONG block of the finished row to the cache. Returns 0, or -1 after its message.
int process_long(ULDR *ul);

/// Closes the LONG temporary file if it is open.
void close_long(ULDR *ul);

/// Keeps the locator bytes of a value of LOB column `cid` as LOBD number `lcc`, as far as there is room for
/// it.
void save_lob(ULDR *ul, uint32_t cid, const VALUE &value);

/// Keeps further locator bytes of the value that LOBD number `lcc` holds.
void continue_lob(ULDR *ul, const VALUE &value);

/// Says that LOB values are not unloaded; returns -1.
int process_lob(ULDR *ul);

/// Writes the cache to the dump file and empties it. Returns 0, or -1 after "write cache data error: %s\n"
/// with the cache as it was.
int write_cache(ULDR *ul);

/// Says that the dump file cannot be written, with errno's text; returns -1.
int write_cache_error();

/// Writes `head` to the dump file, its count turned big-endian in place. Returns 0, or -1 after "write file
/// header: %s\n".
int write_head(ULDR *ul, HEAD_INFO *head);

/// Writes the table directory to the dump file, its integers turned big-endian in place. Returns 0, or -1
/// after "write table information: %s\n".
int write_tab_info(ULDR *ul);
