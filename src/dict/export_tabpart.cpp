#include "dict/export_segment.h"

int export_tabpart(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz) {
    return export_segment<TABPART, process_tabpart_block>(TABPART_TABLE, tabn, rdba, rbuf, buf_sz);
}
