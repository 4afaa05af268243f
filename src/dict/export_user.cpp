#include "dict/export_segment.h"

int export_user(const BOOTSTRAP *bs, int nbr, uint8_t *rbuf, int buf_sz) {
    return export_bootstrap_table<USER, process_user_block>(USER_TABLE, bs, nbr, rbuf, buf_sz);
}
