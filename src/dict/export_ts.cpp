#include "dict/export_segment.h"

int export_ts(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz) {
    return export_bootstrap_table<TS, process_ts_block>(TS_TABLE, bs, nbr, rbuf, buf_sz);
}
