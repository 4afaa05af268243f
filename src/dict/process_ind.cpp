#include "dict/dict_bits.h"
#include "dict/process_block.h"

namespace {

// Rows of IND$, keyed by bo#. Only LOB indexes are kept.
struct IND_ROWS {
    static constexpr bool clustered = true;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t key, LOBIDX &r) {
        r.objp = key;
        r.objn = read_number(row);
        r.objd = read_number(row);
        r.tsn = read_number(row);
        r.fno = read_number(row);
        r.blk = read_number(row);
        skip(row, 6);
        return read_number(row) == INDEX_TYPE_LOB;
    }
};

} // namespace

int process_ind_block(uint8_t *cblk, const BLOCK &blk, LOBIDX *records, uint32_t tabn, int max_rows,
                      int *nrow) {
    return process_dict_block<IND_ROWS>(IND_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
