// The twelve dictionary tables: what tells one from the other, and the two steps that all of them go through.
#pragma once

#include "format/block.h"
#include "vexlo.h"

/// One dictionary table as the program exports it.
struct DICT_TABLE {
    const char *table;       // its name in the bootstrap statements
    const char *file;        // base name of its dictionary file
    const char *what;        // what the message of a failed write calls it
    uint32_t ZUKSYS::*count; // counter of the records written
};

inline constexpr DICT_TABLE USER_TABLE{"USER$", "user", "user", &ZUKSYS::nu};
inline constexpr DICT_TABLE TS_TABLE{"TS$", "ts", "tablespace", &ZUKSYS::nts};
inline constexpr DICT_TABLE OBJ_TABLE{"OBJ$", "obj", "object", &ZUKSYS::nobj};
inline constexpr DICT_TABLE TAB_TABLE{"TAB$", "tab", "table", &ZUKSYS::ntab};
// Clusters have no counter of their own: the table counter holds their number until the tables are sorted.
inline constexpr DICT_TABLE CLU_TABLE{"CLU$", "cluster", "cluster", &ZUKSYS::ntab};
inline constexpr DICT_TABLE COL_TABLE{"COL$", "col", "column", &ZUKSYS::ncol};
inline constexpr DICT_TABLE IND_TABLE{"IND$", "ind", "lob index", &ZUKSYS::nidx};
inline constexpr DICT_TABLE LOB_TABLE{"LOB$", "lob", "lob", &ZUKSYS::nlob};
inline constexpr DICT_TABLE TABPART_TABLE{"TABPART$", "tabpart", "tabpart", &ZUKSYS::ntp};
inline constexpr DICT_TABLE TABSUBPART_TABLE{"TABSUBPART$", "tabsubpart", "tabsubpart", &ZUKSYS::ntsp};
inline constexpr DICT_TABLE TABCOMPART_TABLE{"TABCOMPART$", "tabcompart", "tabcompart", &ZUKSYS::ntcp};
// Properties have no counter either: the object counter holds their number.
inline constexpr DICT_TABLE PROPS_TABLE{"PROPS$", "props", "property", &ZUKSYS::nobj};

/// Writes the `n` records to the table's file as write_dict_data does, its message followed by "write %s
/// dictionary data error.\n". Returns 0 or -1.
int write_records(const DICT_TABLE &table, const void *records, int n, size_t size);

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
