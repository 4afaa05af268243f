// The rows of one table in a block that may be of any kind.
#pragma once

#include "format/block.h"

// Finds the rows of table `tabn` in `blk`. False when there are none: the block holds something else than
// table data, not this table, or headers that cannot be followed, which is said in a line.
bool find_table_rows(const BLOCK &blk, uint32_t tabn, ROW_AREA *area, TABLE_ROWS *rows);
