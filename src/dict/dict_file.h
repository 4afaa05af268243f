// Moving whole arrays of records between memory and the dictionary files.
#pragma once

#include "dict_table.h"

// Writes `size` bytes at `data` to the dictionary file `name`: created or truncated when g_ctx.fd is -1,
// behind what the file holds otherwise. Leaves the descriptor in g_ctx.fd. Returns 0, or -1 after "open %s:
// %s\n" or "write %s: %s\n", with g_ctx.fd -1.
int write_dict_data(const char *name, const void *data, int size);

// Writes the `n` records to the table's file as write_dict_data does, its message followed by "write %s
// dictionary data error.\n". Returns 0 or -1.
int write_records(const DICT_FACTS &table, const void *records, int n, size_t size);

// Closes the dictionary file being written, if there is one.
void close_dict_file();

// Reads the dictionary file `name` whole; `*size` receives its bytes. `*data` is the work buffer for a file
// of at most 8 MiB, otherwise a heap block that the caller owns (free_records tells them apart). Returns 0,
// or -1 after its message.
int read_dict_data(const char *name, void **data, int *size);

// Whole records in `size` bytes of a dictionary file; the remainder is ignored.
template <class REC>
uint32_t records_in(int size) {
    return static_cast<uint32_t>(size) / uint32_t{sizeof(REC)};
}
