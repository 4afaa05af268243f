#include "dict/process_block.h"

namespace {

// Rows of TABPART$.
struct TABPART_ROWS {
    static constexpr bool clustered = false;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t, TABPART &r) {
        r.objn = read_number(row);
        r.objd = read_number(row);
        r.objp = read_number(row);
        skip(row, 3);
        r.tsn = read_number(row);
        r.fno = read_number(row);
        r.blk = read_number(row);
        return true;
    }
};

} // namespace

int process_tabpart_block(uint8_t *cblk, const BLOCK &blk, TABPART *records, uint32_t tabn, int max_rows,
                          int *nrow) {
    return process_dict_block<TABPART_ROWS>(TABPART_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
