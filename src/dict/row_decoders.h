// The decoders of the twelve dictionary tables.
#pragma once

#include "format/block.h"
#include "vexlo.h"

// The row decoders. Each finds the rows of its table in the block `blk` of the SYSTEM datafile (`tabn` is the
// table's number in its cluster), follows migrated rows into `cblk` (room for one block), and appends one
// record a row to `records`, of which `*nrow` are in use. When `max_rows` are in use they are written to the
// table's file, added to its counter, and the array starts again. A row that leaves its block is left out
// with a line. Returns 0, or -1 when a continuation block cannot be read or a batch not be written.
int process_user_block(uint8_t *cblk, const BLOCK &blk, USER *records, uint32_t tabn, int max_rows,
                       int *nrow);
int process_ts_block(uint8_t *cblk, const BLOCK &blk, TS *records, uint32_t tabn, int max_rows, int *nrow);
int process_obj_block(uint8_t *cblk, const BLOCK &blk, OBJ *records, uint32_t tabn, int max_rows, int *nrow);
int process_tab_block(uint8_t *cblk, const BLOCK &blk, TAB *records, uint32_t tabn, int max_rows, int *nrow);
int process_clu_block(uint8_t *cblk, const BLOCK &blk, CLU *records, uint32_t tabn, int max_rows, int *nrow);
int process_col_block(uint8_t *cblk, const BLOCK &blk, COL *records, uint32_t tabn, int max_rows, int *nrow);
int process_ind_block(uint8_t *cblk, const BLOCK &blk, LOBIDX *records, uint32_t tabn, int max_rows,
                      int *nrow);
int process_lob_block(uint8_t *cblk, const BLOCK &blk, LOB *records, uint32_t tabn, int max_rows, int *nrow);
int process_tabpart_block(uint8_t *cblk, const BLOCK &blk, TABPART *records, uint32_t tabn, int max_rows,
                          int *nrow);
int process_tabsubpart_block(uint8_t *cblk, const BLOCK &blk, TABSUBPART *records, uint32_t tabn,
                             int max_rows, int *nrow);
int process_tabcompart_block(uint8_t *cblk, const BLOCK &blk, TABPART *records, uint32_t tabn, int max_rows,
                             int *nrow);
int process_props_block(uint8_t *cblk, const BLOCK &blk, PROPS *records, uint32_t tabn, int max_rows,
                        int *nrow);
