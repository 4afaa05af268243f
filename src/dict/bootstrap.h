// bootstrap$: the rows that hold the CREATE statements of the core dictionary tables.
#pragma once

#include <cstdint>

#include "format/block.h"

constexpr int BOOTSTRAP_ROWS = 64; // rows behind these are dropped
constexpr int BOOTSTRAP_TEXT = 4088;

struct BOOTSTRAP {
    uint32_t line;
    uint32_t objn;
    char text[BOOTSTRAP_TEXT];
};
static_assert(sizeof(BOOTSTRAP) == 4096);

// Decodes the rows of one bootstrap$ block into bs[index] and on, 64 in all. Looks at no block type and no
// free chain. Returns the number of rows stored.
int process_bootstrap_block(const BLOCK &blk, BOOTSTRAP *bs, int index);

// Finds the CREATE TABLE statement of `tab_nm` in the `nbr` rows, and in it, or in its cluster's statement,
// the address of the segment header; `*tabn` is the table's number in its cluster, 0 outside one. Returns 0,
// or -1 after its message.
int get_boot_table_rdba(const BOOTSTRAP *bs, int nbr, const char *tab_nm, int *tabn, uint32_t *rdba);
