// LONG values: gathered beside the row, appended behind it.
#pragma once

#include "data/uldr.h"

constexpr int LONG_SIZE = 32768; // LONG bytes held in memory, besides a longer value in one piece

// Adds `len` bytes to the row's LONG value; with `flush` writes what is held in memory to the temporary file
// instead. Returns 0, or -1 after "open %s: %s\n" or "write long data error: %s\n".
int save_long(ULDR *ul, const uint8_t *data, uint32_t len, bool flush);

// Appends the LONG block of the finished row to the cache. Returns 0, or -1 after its message.
int process_long(ULDR *ul);

// Closes the LONG temporary file if it is open.
void close_long(ULDR *ul);

// True when the row has no LONG data yet.
inline bool is_first_long(const ULDR *ul) {
    return ul->lsz == 0 && ul->lfd == -1;
}
