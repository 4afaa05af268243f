#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_col_by_scid() {
    return sort_dict_file(COL_TABLE, [](const COL &r) { return pair_key(r.objn, r.scid); });
}
