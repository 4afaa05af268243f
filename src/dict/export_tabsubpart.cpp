#include "dict/export_segment.h"

int export_tabsubpart(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz) {
    return export_segment<TABSUBPART, process_tabsubpart_block>(TABSUBPART_TABLE, tabn, rdba, rbuf, buf_sz);
}
