#include "dict/dict_bits.h"
#include "dict/process_block.h"

namespace {

// Rows of USER$, keyed by user#. Roles are not kept.
struct USER_ROWS {
    static constexpr bool clustered = true;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t key, USER &r) {
        r.uid = key;
        read_name(row, r.name);
        if (read_number(row) != USER_TYPE_USER)
            return false;
        skip(row, 1);
        r.dts = read_number(row);
        r.tts = read_number(row);
        skip(row, 9);
        r.status = read_number(row);
        return true;
    }
};

} // namespace

int process_user_block(uint8_t *cblk, const BLOCK &blk, USER *records, uint32_t tabn, int max_rows,
                       int *nrow) {
    return process_dict_block<USER_ROWS>(USER_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
