#include "dict/export_segment.h"

int export_tab(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz) {
    return export_bootstrap_table<TAB, process_tab_block>(TAB_TABLE, bs, nbr, rbuf, buf_sz);
}
