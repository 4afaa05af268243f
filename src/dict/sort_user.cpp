#include "dict/sort.h"
#include "dict/sort_dict.h"

int sort_user_by_uid() {
    return sort_dict_file(USER_TABLE, [](const USER &r) { return uint64_t{r.uid}; });
}
