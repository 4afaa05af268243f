#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_tabcompart_by_objp() {
    if (fill_in_order(TABCOMPART_TABLE, [](const TABPART &r) { return pair_key(r.objp, r.objn); }) < 0)
        return -1;
    if (write_back(TABCOMPART_TABLE) == 0)
        return 0;
    // A heap array was lost: unlike its siblings, this sort gives up the partitions too.
    if (!is_loaded(TABCOMPART_TABLE))
        clear_slot(TABPART_TABLE);
    return -1;
}
