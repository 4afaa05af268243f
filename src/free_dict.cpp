#include <cstdlib>

#include "dict_array.h"

void free_records(void *array) {
    if (!in_work_buffer(array))
        free(array);
}

int free_dict_memory() {
    std::apply([](const auto &...table) { (..., clear_slot(table)); }, loaded_tables);
    free(g_ctx.df);
    g_ctx.df = nullptr;
    return 0;
}
