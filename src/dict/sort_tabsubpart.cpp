#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_tabsubpart_by_objp() {
    return sort_dict_file(TABSUBPART_TABLE, [](const TABSUBPART &r) { return pair_key(r.objp, r.objn); });
}
