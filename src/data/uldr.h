// The state of one unload, in four records by how long they hold. What is done to it is declared in
// segment.h, rows.h, long_value.h, lob_value.h and dump_file.h.
#pragma once

#include <span>

#include "format/block.h"
#include "read_budget.h"
#include "vexlo.h"

struct LOBD;
struct TAB_INFO;

constexpr int CACHE_SIZE = 0x400000;

// Whether the partitions stand in the order of their parents, as their sorts leave them, so that those of one
// parent are found without a scan.
struct PARTS_IN_ORDER {
    bool tabpart;
    bool tabcompart;
    bool tabsubpart;
};

// As long as the dump file. Everything in it is appended through the cache.
struct ULDR_FILE {
    int32_t fd;        // dump file
    int32_t ntab;      // tables in the file
    TAB_INFO *tinf;    // table directory
    uint64_t data_ofs; // file offset of the next cache flush
    uint8_t *cache;    // the buffers are carved out of the work buffer
    int32_t csz;       // cache capacity
    int32_t clen;      // cache bytes not yet written
    PARTS_IN_ORDER in_order;
};

// As long as one table of the file.
struct ULDR_TABLE {
    const TAB *tabp;           // the table being unloaded
    int32_t tabn;              // table number inside a cluster block
    int32_t nlob;              // LOB columns of the table
    uint32_t nrow;             // rows of the table
    std::span<const COL> cols; // columns of the table
    bool ordinary;             // rows in one piece may go the short way
};

// As long as one segment of the table.
struct ULDR_SEGMENT {
    int32_t tsn;        // tablespace
    uint32_t hdba;      // segment header
    int32_t bsz;        // block size
    uint8_t *hblk;      // segment header or extent map block
    uint8_t *cblk;      // block of a followed row piece
    uint32_t cblk_rdba; // address of the block in cblk, 0 when none
    uint8_t *lbuf;      // LONG value
    uint8_t *ibuf;      // four buffers that LOB columns take room for
    uint8_t *itree2;
    uint8_t *itree3;
    uint8_t *itree4;
    LOBD *lobc;           // LOB locators
    int32_t lob_room;     // LOBD records that lobc has room for
    uint8_t *rbuf;        // blocks read ahead
    int64_t rsz;          // bytes of rbuf
    BLOCK_RUN run;        // blocks in rbuf
    READ_BUDGET followed; // what the pieces followed in the segment take at least
};

// As long as one row: the initial values are those of a row of which nothing was taken yet.
struct ULDR_ROW {
    int32_t lfd = -1;       // LONG temporary file, -1 when none
    int32_t lsz = 0;        // LONG bytes in lbuf
    int32_t curc = 0;       // column position
    uint8_t *pl = nullptr;  // reserved length of a value that spans pieces, null when none
    int32_t ccl = 0;        // bytes gathered of that value, modulo 65536
    int32_t lcc = 0;        // LOB values met
    bool lob_begun = false; // LOBD number lcc holds the begin of a value
};

struct ULDR : ULDR_FILE, ULDR_TABLE, ULDR_SEGMENT, ULDR_ROW {};
