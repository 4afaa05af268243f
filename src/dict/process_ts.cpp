#include "dict/process_block.h"

namespace {

// Rows of TS$, keyed by ts#.
struct TS_ROWS {
    static constexpr bool clustered = true;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t key, TS &r) {
        r.tsn = key;
        read_name(row, r.name);
        r.owner = read_number(row);
        return true;
    }
};

} // namespace

int process_ts_block(uint8_t *cblk, const BLOCK &blk, TS *records, uint32_t tabn, int max_rows, int *nrow) {
    return process_dict_block<TS_ROWS>(TS_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
