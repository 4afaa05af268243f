#include "find_table_rows.h"

#include "console.h"
#include "format/cache_header.h"

bool find_table_rows(const BLOCK &blk, uint32_t tabn, ROW_AREA *area, TABLE_ROWS *rows) {
    if (block_type(blk.data) != BLOCK_TABLE_DATA)
        return false;
    if (locate_rows(blk, area))
        return find_table(*area, tabn, rows);
    report_damaged_block(blk.rdba);
    return false;
}
