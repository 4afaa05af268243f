#include "datafile.h"
#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_tab_by_objn(const uint32_t *sobj, uint32_t *tabn, uint32_t *rdba) {
    if (fill_in_order(TAB_TABLE, [](const TAB &r) { return uint64_t{r.objn}; }) < 0)
        return -1;
    std::fill_n(rdba, SPECIAL_TABLES, 0U);
    for (const TAB &tab : std::span(g_ctx.tab, g_ctx.cap.ntab)) {
        const auto k = std::find(sobj, sobj + SPECIAL_TABLES, tab.objn) - sobj;
        if (k < SPECIAL_TABLES) {
            tabn[k] = tab.tabn;
            rdba[k] = make_rdba(tab.fno, tab.blk);
        }
    }
    for (int k = 0; k < SPECIAL_TABLES; k++) {
        if (rdba[k] == 0) {
            report("\"%s\" not found in tab$.\n", special_tables[k]->table);
            return -1;
        }
    }
    return write_back(TAB_TABLE);
}
