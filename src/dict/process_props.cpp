#include "dict/process_block.h"

namespace {

// Rows of PROPS$. Unlike its siblings this decoder does not leave out a head piece that continues another
// one.
struct PROPS_ROWS {
    static constexpr bool clustered = false;
    static constexpr bool takes_continued = true;

    static bool read(ROW_CURSOR &row, uint32_t, PROPS &r) {
        read_name(row, r.name);
        copy_text(r.value, PROPS_VALUE_SIZE, read_long_column(row));
        return true;
    }
};

} // namespace

int process_props_block(uint8_t *cblk, const BLOCK &blk, PROPS *records, uint32_t tabn, int max_rows,
                        int *nrow) {
    return process_dict_block<PROPS_ROWS>(PROPS_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
