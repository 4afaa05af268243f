#include "dict/dict_bits.h"
#include "dict/process_block.h"

namespace {

// Rows of CLU$, keyed by obj#.
struct CLU_ROWS {
    static constexpr bool clustered = true;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t key, CLU &r) {
        r.objn = key;
        r.objd = read_number(row);
        skip(row, 3);
        r.ncol = read_number(row);
        skip(row, 9);
        if ((read_number(row) & FLAGS_ROW_DEPENDENCIES) != 0)
            r.flag = CLU_ROW_DEPENDENCIES;
        return true;
    }
};

} // namespace

int process_clu_block(uint8_t *cblk, const BLOCK &blk, CLU *records, uint32_t tabn, int max_rows, int *nrow) {
    return process_dict_block<CLU_ROWS>(CLU_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
