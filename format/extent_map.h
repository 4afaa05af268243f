// Extent maps. A map is a MAPHDR (nexts, next, objd, flag; 16 bytes), whose place depends on the type of its
// block, followed by `nexts` entries of 8 bytes (address of the first block, number of blocks).
#pragma once

#include <algorithm>

#include "format/block.h"
#include "format/cache_header.h"

constexpr uint32_t MAPHDR_SIZE = 16;
constexpr uint32_t NEXTS = 0; // in MAPHDR: number of entries
constexpr uint32_t NEXT = 4;  // in MAPHDR: address of the next map block, 0 when there is none

constexpr uint32_t EXTMAP_SIZE = 8;
constexpr uint32_t EXT_DBA = 0; // in EXTMAP: address of the extent's first block
constexpr uint32_t EXT_LEN = 4; // in EXTMAP: number of its blocks

struct EXTENT_MAP {
    const uint8_t *entries;
    uint32_t count; // entries that lie inside the block
    uint32_t next;  // address of the next map block, 0 when this is the last
    bool cut;       // the block claims more entries than fit into it
};

// Offset of the MAPHDR in a block of the given type; 0 for a block that holds no extent map.
inline uint32_t map_header_offset(uint8_t type) {
    switch (type) {
    case BLOCK_SEGMENT_HEADER:
        return 92;
    case BLOCK_SEGMENT_HEADER_ASSM:
        return 264;
    case BLOCK_EXTENT_MAP:
    case BLOCK_EXTENT_MAP_ASSM:
        return 20;
    default:
        return 0;
    }
}

// Finds the extent map of a block; false when a block of its type has none or cannot hold one.
inline bool locate_extent_map(const BLOCK &blk, EXTENT_MAP *map) {
    const uint32_t at = map_header_offset(block_type(blk.data));
    if (at == 0 || at + MAPHDR_SIZE > blk.bsz)
        return false;
    const uint32_t nexts = load_le32(blk.data + at + NEXTS);
    const uint32_t fit = (blk.bsz - at - MAPHDR_SIZE) / EXTMAP_SIZE;
    *map = {blk.data + at + MAPHDR_SIZE, std::min(nexts, fit), load_le32(blk.data + at + NEXT), nexts > fit};
    return true;
}

// The data object number of the segment that a located map belongs to.
inline uint32_t extent_map_object(const EXTENT_MAP &map) {
    return load_le32(map.entries - MAPHDR_SIZE + 8);
}
