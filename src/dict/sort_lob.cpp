#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_lob_by_objn() {
    return sort_dict_file(LOB_TABLE, [](const LOB &r) { return pair_key(r.objn, r.cid); });
}
