#include "dict/export_segment.h"

int export_tabcompart(uint32_t tabn, uint32_t rdba, uint8_t *rbuf, int buf_sz) {
    return export_segment<TABPART, process_tabcompart_block>(TABCOMPART_TABLE, tabn, rdba, rbuf, buf_sz);
}
