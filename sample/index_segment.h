// Index segments: leaf blocks under branch blocks.
#pragma once

#include "segment.h"

namespace sample {

// A row of a leaf block: flag byte (1 deleted), data columns without lengths, and the key columns, each with
// its length in front.
struct IndexRow {
    uint8_t flag = 0;
    Bytes data;
    Bytes key;
};

// Writes the rows, which are in key order and have `data_size` data bytes and `key_columns` key columns each,
// into the segment: its first block is the root. Rows go into leaf blocks until those are full.
void write_index(Segment &segment, std::span<const IndexRow> rows, uint8_t data_size, uint8_t key_columns);

} // namespace sample
