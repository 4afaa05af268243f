#include "dict/dict_bits.h"
#include "dict/process_block.h"

namespace {

// What the property column of COL$ says about a column: the first match alone.
uint32_t column_flags(uint32_t property) {
    if ((property & COL_PROPERTY_HIDDEN) != 0)
        return COL_HIDDEN;
    if ((property & COL_PROPERTY_DROPPED) != 0)
        return COL_DROPPED;
    if ((property & COL_PROPERTY_UNUSED) != 0)
        return COL_UNUSED;
    if ((property & (COL_PROPERTY_ENCRYPTED | COL_PROPERTY_ENCRYPTED_NO_SALT)) != 0)
        return COL_ENCRYPTED;
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
        r.flag = column_flags(read_number(row));
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
