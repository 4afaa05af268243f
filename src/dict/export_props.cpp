#include "dict/export_segment.h"

int export_props(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz) {
    return export_segment<PROPS, process_props_block>(PROPS_TABLE, tabn, rdba, rbuf, buf_sz);
}
