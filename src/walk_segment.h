// The walk over a segment: its header block, the chain of extent map blocks behind it, the extents they name,
// and every block of every extent.
//
// What the walk needs of its user is a SEGMENT, a plain record with
//   DATAFILE *find(uint32_t rdba)          the file of a block, null when none is configured; silent
//   int file_error(uint32_t rdba)          says that there is none; returns -1
//   int header_error(uint32_t rdba)        says that the map block at rdba cannot be read; returns -1
//   int extent_error(uint32_t rdba)        the same for the run of blocks from rdba on
//   void begin_run(const BLOCK_RUN &)      the blocks that come next, all of them in memory now
//   int block(const BLOCK &)               takes one block; a negative result ends the walk
#pragma once

#include "chain_loop.h"
#include "console.h"
#include "datafile.h"
#include "format/extent_map.h"
#include "read_budget.h"

#include <algorithm>

/// Buffers of a walk: `hblk` for one block, `buf` of `size` bytes for runs of blocks.
struct WALK_BUFFERS {
    uint8_t *hblk;
    uint8_t *buf;
    int64_t size;
};

/// The `next` address of the map block at `rdba`, read past all buffers and checks; 0 when there is none.
uint32_t peek_next_map(const DATAFILE *df, uint32_t rdba);

/// The number of different blocks in a chain of map blocks that comes back to one of its own, from `first`
/// on. 0 for a chain that ends by itself.
template <class SEGMENT>
uint64_t looping_maps(SEGMENT &segment, uint32_t first) {
    return count_looping_links(first, [&](uint32_t rdba) -> std::optional<uint32_t> {
        const DATAFILE *df = segment.find(rdba);
        const uint32_t next = df != nullptr ? peek_next_map(df, rdba) : 0;
        return next != 0 ? std::optional(next) : std::nullopt;
    });
}

/// Reads one extent in runs as long as the buffer allows and hands over the blocks that were delivered whole.
/// An extent that runs past the end of its file is no error (unless check values are verified): the rest of
/// it is passed over.
template <class SEGMENT>
int walk_extent(SEGMENT &segment, const WALK_BUFFERS &buffers, uint32_t dba, uint32_t len,
                READ_BUDGET *budget) {
    while (len != 0) {
        const DATAFILE *df = segment.find(dba);
        if (df == nullptr)
            return segment.file_error(dba);
        const uint32_t most = static_cast<uint32_t>(buffers.size / df->bsz);
        const uint32_t n = std::min(most, len);
        const int bytes = read_extent_blocks(df, dba, static_cast<int>(n), buffers.buf);
        if (bytes < 0)
            return segment.extent_error(dba);
        if (!spend(budget, static_cast<uint64_t>(bytes))) {
            report("extent map at rdba=0x%08x names more blocks than the datafiles hold.\n", dba);
            return -1;
        }
        const uint32_t whole = static_cast<uint32_t>(bytes) / df->bsz;
        segment.begin_run(BLOCK_RUN{buffers.buf, dba, std::min(whole, blocks_in_reach(df, dba))});
        for (uint32_t i = 0; i < whole; i++) {
            const int result = segment.block(BLOCK{buffers.buf + i * df->bsz, df->bsz, dba + i});
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
int walk_map(SEGMENT &segment, const WALK_BUFFERS &buffers, const EXTENT_MAP &map, READ_BUDGET *budget) {
    for (uint32_t i = 0; i < map.count; i++) {
        const uint8_t *entry = map.entries + EXTMAP_SIZE * i;
        const int result =
            walk_extent(segment, buffers, load_le32(entry + EXT_DBA), load_le32(entry + EXT_LEN), budget);
        if (result < 0)
            return result;
    }
    return 0;
}

/// Reads the map block at `rdba` into `hblk` and finds its map. Returns 0, or -1 after its message.
template <class SEGMENT>
int read_map(SEGMENT &segment, uint32_t rdba, uint8_t *hblk, EXTENT_MAP *map) {
    const DATAFILE *df = segment.find(rdba);
    if (df == nullptr)
        return segment.file_error(rdba);
    if (!read_block(df, rdba, hblk))
        return segment.header_error(rdba);
    if (!locate_extent_map(BLOCK{hblk, df->bsz, rdba}, map)) {
        report("error block type: %x\n", block_type(hblk));
        return -1;
    }
    if (map->cut)
        report("extent map at rdba=0x%08x claims more extents than fit into its block.\n", rdba);
    return 0;
}

/// Walks the maps of a segment one after the other; see walk_segment.
template <class SEGMENT>
int walk_maps(SEGMENT &segment, uint32_t hdba, const WALK_BUFFERS &buffers) {
    READ_BUDGET budget = begin_budget(segment.find(hdba));
    uint64_t loop = 0, walked = 0;
    EXTENT_MAP map{};
    uint32_t rdba = hdba; // whatever it is: only the `next` of a map says with 0 that there is none
    do {
        if (walked != 0 && walked == loop) {
            report("extent map at rdba=0x%08x comes again, the chain of maps loops.\n", rdba);
            return -1;
        }
        if (read_map(segment, rdba, buffers.hblk, &map) < 0)
            return -1;
        if (walked++ == 0 && map.next != 0)
            loop = looping_maps(segment, hdba);
        const int result = walk_map(segment, buffers, map, &budget);
        if (result < 0)
            return result;
        rdba = map.next;
    } while (rdba != 0);
    return 0;
}

/// Walks the whole segment whose header is at `hdba`. Returns 0, or a negative value after a message of its
/// own or of `segment`. A chain of map blocks that loops is walked once round and is a failure then.
template <class SEGMENT>
int walk_segment(SEGMENT &segment, uint32_t hdba, const WALK_BUFFERS &buffers) {
    begin_damage();
    const int result = walk_maps(segment, hdba, buffers);
    end_damage();
    return result;
}
