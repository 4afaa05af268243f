// Unloading tables: their column lists, and the walk over their segments.
#pragma once

#include "data/uldr.h"

// What holds of the loaded partitions for a whole dump file.
PARTS_IN_ORDER find_part_order();

// Unloads the table `tabp` into the dump file: its column list, its rows, the end mark. Needs fd, data_ofs,
// tabp, nlob and in_order, and nrow 0. Returns 0, or -1 after its message.
int unload_one_table(ULDR *ul);

// Unloads the rows of the segment whose header is at `hdba` in tablespace `tsn`. Returns 0, or -1 after its
// message.
int unload_segment(ULDR *ul);

// The configured datafile that holds the block at `rdba` of the segment being read; null when there is none
// of the segment's block size.
DATAFILE *segment_file(const ULDR *ul, uint32_t rdba);

// Says that there is no such datafile; returns -1.
int segment_file_error(const ULDR *ul, uint32_t rdba);
