// What all sorts of dictionary files share: read the file, put its records in order, write it back.
#pragma once

#include "allocate.h"
#include "dict/dict_file.h"
#include "dict/selection_order.h"
#include "dict_array.h"

// Sort key of two 32-bit fields, the first one leading.
inline uint64_t pair_key(uint32_t first, uint32_t second) {
    return uint64_t{first} << 32 | second;
}

// Orders the `n` records of `rec`. The work buffer serves as scratch memory where the records are not in it
// themselves. Returns 0, or -1 after "allocate memory %d bytes error: %s\n".
template <class REC, class KEY>
int order_records(REC *rec, uint32_t n, KEY key) {
    const size_t words = static_cast<size_t>(selection_scratch(n));
    const bool use_work = !in_work_buffer(rec) && words * sizeof(uint32_t) <= WORK_SIZE;
    uint32_t *scratch = use_work ? reinterpret_cast<uint32_t *>(g_ctx.wrk) : allocate<uint32_t>(words);
    if (scratch == nullptr)
        return -1;
    selection_order(rec, n, key, scratch);
    free_records(scratch);
    return 0;
}

// Reads the file of `table` and puts its records in order. `*rec` receives them (free_records frees
// them) and `*n` their number. Returns 0, or -1 after its message with nothing to free.
template <class REC, class KEY>
int read_in_order(const DICT_TABLE<REC> &table, KEY key, REC **rec, uint32_t *n) {
    void *data = nullptr;
    int size = 0;
    int result = read_dict_data(table.file, &data, &size);
    *rec = static_cast<REC *>(data);
    *n = records_in<REC>(size);
    if (result == 0)
        result = order_records(*rec, *n, key);
    if (result < 0)
        free_records(data);
    return result;
}

// Writes `n` records as the whole of the file of `table`. Returns 0, or -1 after its message.
template <class REC>
int write_dict_file(const DICT_TABLE<REC> &table, const REC *rec, uint32_t n) {
    g_ctx.fd = -1;
    const int result = write_dict_data(table.file, rec, static_cast<int>(n * sizeof(REC)));
    close_dict_file();
    return result;
}

// Reads the file of `table` into its slot, in order; an array that was there is freed. The count stays.
// Returns 0, or -1 after its message with the slot null.
template <class REC, class KEY>
int fill_in_order(const DICT_TABLE<REC> &table, KEY key) {
    clear_slot(table);
    REC *rec;
    uint32_t n;
    if (read_in_order(table, key, &rec, &n) < 0)
        return -1;
    fill_slot(table, rec, n);
    return 0;
}

// Writes the ordered array of `table` back to its file, empties the slot and stores the count. When the
// write fails returns -1 after its message: the count stays, a heap array is freed, and the slot keeps
// pointing at the work buffer if the array is there.
template <class REC>
int write_back(const DICT_TABLE<REC> &table) {
    REC *rec = g_ctx.*table.array;
    const uint32_t n = g_ctx.cap.*table.count;
    if (write_dict_file(table, rec, n) < 0) {
        if (!in_work_buffer(rec))
            clear_slot(table);
        return -1;
    }
    clear_slot(table);
    g_ctx.sys.*table.count = n;
    return 0;
}

// Sorts the file of `table` in place. Returns 0, or -1 after its message.
template <class REC, class KEY>
int sort_dict_file(const DICT_TABLE<REC> &table, KEY key) {
    return fill_in_order(table, key) < 0 ? -1 : write_back(table);
}
