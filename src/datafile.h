// The catalogue of open datafiles, and the reading of blocks from them.
#pragma once

#include "format/block_address.h"
#include "vexlo.h"

constexpr uint32_t MAX_BLOCK_SIZE = 65536; // every buffer for one block is carved for at most this

// Lists the paths of g_dbfile_list in g_ctx.df, all closed, and sets g_ctx.sys.nf. Returns 0, or -1 after
// its message.
int load_datafile();

// Opens every listed datafile and reads its identity; finds the SYSTEM datafile and the root address.
// Returns 0, or -1 after its message: files opened so far stay open until close_datafile.
int open_datafile();

// The datafile that holds the blocks of relative file `rfn` of tablespace `tsn`; null when none is
// configured. A bigfile tablespace has one file for every `rfn`.
DATAFILE *get_datafile(uint32_t tsn, uint32_t rfn);

// Closes all datafiles. Returns 0.
int close_datafile();

// Byte offset of the block at `rdba`. Computed in 32 bits: addresses beyond the first 4 GiB wrap.
uint32_t block_offset(const DATAFILE *df, uint32_t rdba);

// How many blocks, from the one at `rdba` on, lie in the file where their own addresses lead: behind them
// the file number of the address changes, or its byte offset wraps.
uint32_t blocks_in_reach(const DATAFILE *df, uint32_t rdba);

// Reads `blocks` consecutive blocks from `rdba` on into `buf`, which holds blocks * df->bsz bytes. Returns
// the bytes delivered, fewer than asked at the end of the file, or -1 after "read \"%s\": %s\n" or, when
// check values are verified, "block rdba=0x%x check value not matched.\n" for the first block that is wrong
// or missing.
int read_extent_blocks(const DATAFILE *df, uint32_t rdba, int blocks, uint8_t *buf);
