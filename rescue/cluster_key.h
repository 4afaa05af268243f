// The key of the rows in a cluster: it stands in a row of its own, once for all rows of the key in a block.
//
// A key row has flags, lock and column count, then the rows of the key here and altogether (16 bits each),
// the addresses of the key's rows in the previous and in the next block, and the values. A key row that goes
// on elsewhere has the address of its next piece in front of the values.
#pragma once

#include <cstdint>

#include "format/block.h"
#include "rescue/block_reader.h"
#include "rescue/row_builder.h"

namespace vexlo {

// A place in the blocks of a cluster, and whether its bytes stay as long as the row is used.
struct KeyPlace {
    const ROW_AREA &area;
    bool holds;
    uint32_t tablespace;
};

// Adds the values of key row `index` of a block to the row. False when they are lost: neither is the key row
// whole, nor can it be followed, nor is there one of the same key in a neighbouring block.
bool read_cluster_key(const KeyPlace &place, uint8_t index, BlockReader &reader, RowBuilder &row);

} // namespace vexlo
