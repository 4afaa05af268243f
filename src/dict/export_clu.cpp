#include "dict/export_segment.h"

int export_clu(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz) {
    return export_bootstrap_table<CLU, process_clu_block>(CLU_TABLE, bs, nbr, rbuf, buf_sz);
}
