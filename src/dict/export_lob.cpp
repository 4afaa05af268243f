#include "dict/export_segment.h"

int export_lob(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz) {
    return export_segment<LOB, process_lob_block>(LOB_TABLE, tabn, rdba, rbuf, buf_sz);
}
