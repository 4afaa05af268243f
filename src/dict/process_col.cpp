#include "dict/process_block.h"

namespace {

constexpr uint32_t FORM_NATIONAL = 2; // character set form of NCHAR columns

// What the property column of COL$ says about a column: the first match alone.
uint32_t property_flags(uint32_t property) {
    if ((property & 0x20) != 0)
        return COL_HIDDEN;
    if ((property & 0x4000) != 0)
        return COL_PROPERTY_14;
    if ((property & 0x8000) != 0)
        return COL_PROPERTY_15;
    if ((property & (1U << 26 | 1U << 29)) != 0)
        return COL_FEATURE;
    return 0;
}

// Rows of COL$, keyed by obj#.
struct COL_ROWS {
    static constexpr bool clustered = true;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t key, COL &r) {
        r.objn = key;
        r.cid = read_number(row);
        r.scid = read_number(row);
        if (r.scid == 0) // no place in the stored row: behind all that have one
            r.scid = COL_NO_SEGMENT_PLACE;
        skip(row, 2);
        read_name(row, r.name);
        r.ctyp = read_number(row);
        r.clen = read_number(row);
        skip(row, 7);
        r.flag = property_flags(read_number(row));
        skip(row, 1);
        if (read_number(row) == FORM_NATIONAL)
            r.flag |= COL_NATIONAL;
        return true;
    }
};

} // namespace

int process_col_block(uint8_t *cblk, const BLOCK &blk, COL *records, uint32_t tabn, int max_rows, int *nrow) {
    return process_dict_block<COL_ROWS>(COL_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
