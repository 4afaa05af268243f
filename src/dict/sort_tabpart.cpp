#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_tabpart_by_objp() {
    return sort_dict_file(TABPART_TABLE, [](const TABPART &r) { return pair_key(r.objp, r.objn); });
}
