#include "dict/export_segment.h"

int export_col(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz) {
    return export_bootstrap_table<COL, process_col_block>(COL_TABLE, bs, nbr, rbuf, buf_sz);
}
