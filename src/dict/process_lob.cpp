#include "dict/dict_bits.h"
#include "dict/process_block.h"

namespace {

// Rows of LOB$, keyed by obj#.
struct LOB_ROWS {
    static constexpr bool clustered = true;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t key, LOB &r) {
        r.objp = key;
        r.cid = read_number(row);
        skip(row, 1);
        r.objn = read_number(row);
        skip(row, 1);
        r.indn = read_number(row);
        r.tsn = read_number(row);
        r.fno = read_number(row);
        r.blk = read_number(row);
        r.chunk = read_number(row);
        skip(row, 1);
        const uint32_t flags = read_number(row);
        if ((flags & LOB_FLAGS_ENCRYPTED) != 0)
            r.flag = LOB_ENCRYPTED;
        else if ((flags & LOB_FLAGS_COMPRESSED) != 0)
            r.flag = LOB_COMPRESSED;
        return true;
    }
};

} // namespace

int process_lob_block(uint8_t *cblk, const BLOCK &blk, LOB *records, uint32_t tabn, int max_rows, int *nrow) {
    return process_dict_block<LOB_ROWS>(LOB_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
