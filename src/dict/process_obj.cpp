#include "dict/process_block.h"

namespace {

// Rows of OBJ$.
struct OBJ_ROWS {
    static constexpr bool clustered = false;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t, OBJ &r) {
        r.objn = read_number(row);
        skip(row, 1);
        r.owner = read_number(row);
        read_name(row, r.name);
        skip(row, 2);
        r.type = read_number(row);
        skip(row, 6);
        r.flag = read_number(row);
        return true;
    }
};

} // namespace

int process_obj_block(uint8_t *cblk, const BLOCK &blk, OBJ *records, uint32_t tabn, int max_rows, int *nrow) {
    return process_dict_block<OBJ_ROWS>(OBJ_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
