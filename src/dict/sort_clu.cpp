#include "dict/sort.h"
#include "dict/sort_dict.h"

// Clusters have no array of their own in the context: the table array gives way while they are sorted.
int sort_clu_by_objn() {
    clear_slot(TAB_TABLE);
    CLU *clu;
    uint32_t n;
    if (read_in_order(
            CLU_TABLE, [](const CLU &r) { return uint64_t{r.objn}; }, &clu, &n) < 0)
        return -1;
    const int result = write_dict_file(CLU_TABLE, clu, n);
    free_records(clu);
    return result;
}
