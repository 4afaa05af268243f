#include "dict/export_segment.h"

int export_obj(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz) {
    return export_bootstrap_table<OBJ, process_obj_block>(OBJ_TABLE, bs, nbr, rbuf, buf_sz);
}
