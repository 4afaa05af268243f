#include "dict/process_block.h"

namespace {

// Rows of TABCOMPART$. A composite partition has no segment of its own.
struct TABCOMPART_ROWS {
    static constexpr bool clustered = false;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t, TABPART &r) {
        r.objn = read_number(row);
        skip(row, 1);
        r.objp = read_number(row);
        return true;
    }
};

} // namespace

int process_tabcompart_block(uint8_t *cblk, const BLOCK &blk, TABPART *records, uint32_t tabn, int max_rows,
                             int *nrow) {
    return process_dict_block<TABCOMPART_ROWS>(TABCOMPART_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
