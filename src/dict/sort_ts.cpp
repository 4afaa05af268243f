#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_ts_by_tsn() {
    return sort_dict_file(TS_TABLE, [](const TS &r) { return uint64_t{r.tsn}; });
}
