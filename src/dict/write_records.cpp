#include "console.h"
#include "dict/dict_file.h"

int write_records(const DICT_FACTS &table, const void *records, int n, size_t size) {
    if (write_dict_data(table.file, records, n * static_cast<int>(size)) == 0)
        return 0;
    report("write %s dictionary data error.\n", table.what);
    return -1;
}
