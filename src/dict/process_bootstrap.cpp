#include "console.h"
#include "dict/bootstrap.h"
#include "dict/row_cursor.h"
#include "format/cache_header.h"

static constexpr int BOOTSTRAP_COLUMNS = 3; // the count that a piece states is not looked at

// Says that a row leaves its block, unless the block holds no table rows at all: every block of the segment
// comes here, space management blocks included.
static void report_damaged(const BLOCK &blk, int row) {
    if (block_type(blk.data) == BLOCK_TABLE_DATA)
        report_damaged_row(blk.rdba, row);
}

int process_bootstrap_block(const BLOCK &blk, BOOTSTRAP *bs, int index) {
    ROW_AREA area;
    TABLE_ROWS rows;
    if (!locate_rows(blk, &area) || !find_table(area, 0, &rows))
        return 0;
    rows.first = 0; // wherever the table's entries are said to begin
    int kept = 0;
    walk_rows(area, rows, false, [&](int i, const uint8_t *piece) {
        if (index + kept >= BOOTSTRAP_ROWS)
            return -1;
        if (piece == nullptr) {
            report_damaged(blk, i);
            return 0;
        }
        if ((piece[PIECE_FLAGS] & ROW_DELETED) != 0)
            return 0;
        ROW_CURSOR row{piece + PIECE_HEADER, block_end(blk), BOOTSTRAP_COLUMNS, false};
        BOOTSTRAP &r = bs[index + kept];
        r.line = read_number(row);
        r.objn = read_number(row);
        copy_text(r.text, sizeof r.text, read_long_column(row));
        if (row.damaged)
            report_damaged(blk, i);
        else
            kept++;
        return 0;
    });
    return kept;
}
