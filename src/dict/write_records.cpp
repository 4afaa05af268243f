#include "console.h"
#include "dict/dict_file.h"
#include "dict/dict_table.h"

int write_records(const DICT_TABLE &table, const void *records, int n, size_t size) {
    if (write_dict_data(table.file, records, n * static_cast<int>(size)) == 0)
        return 0;
    report("write %s dictionary data error.\n", table.what);
    return -1;
}
