#include "dict/process_block.h"

namespace {

// Rows of TABSUBPART$.
struct TABSUBPART_ROWS {
    static constexpr bool clustered = false;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t, TABSUBPART &r) {
        r.objn = read_number(row);
        r.objd = read_number(row);
        r.objp = read_number(row);
        skip(row, 2);
        r.tsn = read_number(row);
        r.fno = read_number(row);
        r.blk = read_number(row);
        return true;
    }
};

} // namespace

int process_tabsubpart_block(uint8_t *cblk, const BLOCK &blk, TABSUBPART *records, uint32_t tabn,
                             int max_rows, int *nrow) {
    return process_dict_block<TABSUBPART_ROWS>(TABSUBPART_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
