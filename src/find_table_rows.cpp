#include "table_rows.h"

#include "console.h"

bool find_table_rows(const BLOCK &blk, uint32_t tabn, ROW_AREA *area, TABLE_ROWS *rows) {
    if (blk.data[0] != BLOCK_TABLE_DATA)
        return false;
    if (locate_rows(blk, area))
        return find_table(*area, tabn, rows);
    report_damaged_block(blk.rdba);
    return false;
}
