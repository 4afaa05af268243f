#include "dict/sort.h"
#include "dict/sort_dict.h"

namespace {

constexpr uint32_t SYS_UID = 0;

// Index of the special table that the object is, -1 for any other object. The name must match to its NUL.
int special_table(const OBJ &obj) {
    if (obj.owner != SYS_UID)
        return -1;
    for (int k = 0; k < SPECIAL_TABLES; k++)
        if (strncmp(obj.name, special_tables[k]->table, NAME_SIZE) == 0)
            return k;
    return -1;
}

} // namespace

int sort_obj_by_objn(uint32_t *sobj) {
    if (fill_in_order(OBJ_TABLE, [](const OBJ &r) { return uint64_t{r.objn}; }) < 0)
        return -1;
    std::fill_n(sobj, SPECIAL_TABLES, 0U);
    for (const OBJ &obj : std::span(g_ctx.obj, g_ctx.cap.nobj))
        if (const int k = special_table(obj); k >= 0)
            sobj[k] = obj.objn; // of several the last one, with the highest number, stays
    for (int k = 0; k < SPECIAL_TABLES; k++) {
        if (sobj[k] == 0) {
            report("table \"%s\" obj# not found.\n", special_tables[k]->table);
            return -1;
        }
    }
    return write_back(OBJ_TABLE);
}
