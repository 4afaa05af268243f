#include "dict/bootstrap.h"

#include "console.h"
#include "dict/row_cursor.h"

// With no regard to the free chain a free entry is met as well. It holds an entry number or -1 and so points
// before all rows, where no damaged row offset needs to be told from it.
static bool is_free_entry(const ROW_AREA &area, int32_t slot) {
    return has_slot(area, slot) && static_cast<int32_t>(area.kdbh) + slot_value(area, slot) <
                                       static_cast<int32_t>(area.dir) + 2 * (slot + 1);
}

int process_bootstrap_block(const BLOCK &blk, BOOTSTRAP *bs, int index) {
    ROW_AREA area;
    TABLE_ROWS rows;
    if (!locate_rows(blk, &area) || !find_table(area, 0, &rows))
        return 0;
    int kept = 0;
    walk_rows(area, rows, NO_FREE_SLOT, [&](int i, const uint8_t *piece) {
        if (index + kept >= BOOTSTRAP_ROWS)
            return -1;
        if (piece == nullptr) {
            if (!is_free_entry(area, rows.first + i))
                report_damaged_row(blk.rdba, i);
            return 0;
        }
        if ((piece[0] & ROW_DELETED) != 0)
            return 0;
        ROW_CURSOR row{piece + PIECE_HEADER, block_end(blk), false};
        BOOTSTRAP &r = bs[index + kept];
        r.line = read_number(row);
        r.objn = read_number(row);
        copy_text(r.text, sizeof r.text, read_long_column(row));
        if (row.damaged)
            report_damaged_row(blk.rdba, i);
        else
            kept++;
        return 0;
    });
    return kept;
}
