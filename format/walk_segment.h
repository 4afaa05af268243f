// The walk over a segment: its header block, the chain of extent map blocks behind it, the extents they name,
// and every block of every extent.
//
// What the walk needs of its user is a SEGMENT, a plain record with
//   FILE *find(uint32_t rdba)                  the file of a block, with its block size in `bsz`; null when
//                                              there is none
//   int read(FILE *, uint32_t rdba, uint32_t n, uint8_t *buf)   n blocks: bytes delivered, or negative
//   uint32_t peek_next_map(FILE *, uint32_t rdba)   the `next` address of a map block that is read past all
//                                              buffers, checks and messages; 0 when there is none
//   uint32_t in_reach(FILE *, uint32_t rdba)   how many blocks from rdba on lie where their addresses lead
//   bool spend(uint32_t bytes)                 false when more was read than a sound segment holds
//   void begin_run(const BLOCK_RUN &)          the blocks that come next, all of them in memory now
//   int block(const BLOCK &)                   takes one block; a negative result ends the walk
//   void map_cut(uint32_t rdba)                a map claims more extents than fit into its block
// and the ends of the walk, whose negative results it returns:
//   int file_error(uint32_t rdba)              there is no such file
//   int header_error(uint32_t rdba)            the map block cannot be read
//   int extent_error(uint32_t rdba)            the run of blocks from rdba on cannot be read
//   int map_error(uint8_t type)                a block of this type holds no map
//   int loop_error(uint32_t rdba)              the chain of maps comes back to this one
//   int size_error(uint32_t rdba)              spend was false for this run
#pragma once

#include <algorithm>

#include "format/chain_loop.h"
#include "format/extent_map.h"

// Buffers of a walk: `hblk` for one block, `buf` of `size` bytes for runs of blocks.
struct WALK_BUFFERS {
    uint8_t *hblk;
    uint8_t *buf;
    int64_t size;
};

// The number of different blocks in a chain of map blocks that comes back to one of its own, from `first`
// on. 0 for a chain that ends by itself.
template <class SEGMENT>
uint64_t looping_maps(SEGMENT &segment, uint32_t first) {
    return count_looping_links(first, [&](uint32_t rdba) -> std::optional<uint32_t> {
        const auto *file = segment.find(rdba);
        const uint32_t next = file != nullptr ? segment.peek_next_map(file, rdba) : 0;
        return next != 0 ? std::optional(next) : std::nullopt;
    });
}

// Reads one extent in runs as long as the buffer allows and hands over the blocks that were delivered whole.
// An extent that runs past the end of its file is no error (unless check values are verified): the rest of
// it is passed over.
template <class SEGMENT>
int walk_extent(SEGMENT &segment, const WALK_BUFFERS &buffers, uint32_t dba, uint32_t len) {
    while (len != 0) {
        const auto *file = segment.find(dba);
        if (file == nullptr)
            return segment.file_error(dba);
        const uint32_t bsz = file->bsz;
        const uint32_t n = std::min(static_cast<uint32_t>(buffers.size / bsz), len);
        const int bytes = segment.read(file, dba, n, buffers.buf);
        if (bytes < 0)
            return segment.extent_error(dba);
        if (!segment.spend(static_cast<uint32_t>(bytes)))
            return segment.size_error(dba);
        const uint32_t whole = static_cast<uint32_t>(bytes) / bsz;
        segment.begin_run(BLOCK_RUN{buffers.buf, dba, std::min(whole, segment.in_reach(file, dba))});
        for (uint32_t i = 0; i < whole; i++) {
            const int result = segment.block(BLOCK{buffers.buf + i * bsz, bsz, dba + i});
            if (result < 0)
                return result;
        }
        if (whole < n)
            break;
        dba += n;
        len -= n;
    }
    return 0;
}

template <class SEGMENT>
int walk_map(SEGMENT &segment, const WALK_BUFFERS &buffers, const EXTENT_MAP &map) {
    for (uint32_t i = 0; i < map.count; i++) {
        const uint8_t *entry = map.entries + EXTMAP_SIZE * i;
        const int result =
            walk_extent(segment, buffers, load_le32(entry + EXT_DBA), load_le32(entry + EXT_LEN));
        if (result < 0)
            return result;
    }
    return 0;
}

// Reads the map block at `rdba` into `hblk` and finds its map. Returns 0 or what the segment returns for the
// failure.
template <class SEGMENT>
int read_map(SEGMENT &segment, uint32_t rdba, uint8_t *hblk, EXTENT_MAP *map) {
    const auto *file = segment.find(rdba);
    if (file == nullptr)
        return segment.file_error(rdba);
    if (segment.read(file, rdba, 1, hblk) != static_cast<int>(file->bsz))
        return segment.header_error(rdba);
    if (!locate_extent_map(BLOCK{hblk, file->bsz, rdba}, map))
        return segment.map_error(block_type(hblk));
    if (map->cut)
        segment.map_cut(rdba);
    return 0;
}

// Walks the whole segment whose header is at `hdba`. Returns 0, or the negative result of `segment` with
// which it ended. A chain of map blocks that loops is walked once round and is a failure then.
template <class SEGMENT>
int walk_segment(SEGMENT &segment, uint32_t hdba, const WALK_BUFFERS &buffers) {
    uint64_t loop = 0, walked = 0;
    EXTENT_MAP map{};
    uint32_t rdba = hdba; // whatever it is: only the `next` of a map says with 0 that there is none
    do {
        if (walked != 0 && walked == loop)
            return segment.loop_error(rdba);
        int result = read_map(segment, rdba, buffers.hblk, &map);
        if (result < 0)
            return result;
        if (walked++ == 0 && map.next != 0)
            loop = looping_maps(segment, hdba);
        result = walk_map(segment, buffers, map);
        if (result < 0)
            return result;
        rdba = map.next;
    } while (rdba != 0);
    return 0;
}
