#include "dict_array.h"

#include <cstdlib>

void free_records(void *array) {
    if (!in_work_buffer(array))
        free(array);
}

int free_dict_memory() {
    clear_slot(USER_SLOT);
    clear_slot(TS_SLOT);
    free(g_ctx.df);
    g_ctx.df = nullptr;
    clear_slot(OBJ_SLOT);
    clear_slot(TAB_SLOT);
    clear_slot(COL_SLOT);
    clear_slot(TABPART_SLOT);
    clear_slot(TABCOMPART_SLOT);
    clear_slot(TABSUBPART_SLOT);
    clear_slot(LOB_SLOT);
    clear_slot(LOBIDX_SLOT);
    return 0;
}
