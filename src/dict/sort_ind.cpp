#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_lob_index_by_objn() {
    return sort_dict_file(IND_TABLE, [](const LOBIDX &r) { return uint64_t{r.objn}; });
}
