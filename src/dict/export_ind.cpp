#include "dict/export_segment.h"

int export_lob_ind(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz) {
    return export_bootstrap_table<LOBIDX, process_ind_block>(IND_TABLE, bs, nbr, rbuf, buf_sz);
}
