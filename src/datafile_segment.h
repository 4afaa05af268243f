// The walk over a segment of the open datafiles: how its blocks are read and what is said when it ends.
#pragma once

#include "console.h"
#include "datafile.h"
#include "format/walk_segment.h"
#include "read_budget.h"

// What all such segments share; a SEGMENT of walk_segment.h adds the rest. Each error prints its message and
// returns -1.
struct DATAFILE_SEGMENT {
    READ_BUDGET budget;

    int read(const DATAFILE *df, uint32_t rdba, uint32_t n, uint8_t *buf) const {
        return read_extent_blocks(df, rdba, static_cast<int>(n), buf);
    }

    uint32_t peek_next_map(const DATAFILE *df, uint32_t rdba) const;
    uint32_t in_reach(const DATAFILE *df, uint32_t rdba) const { return blocks_in_reach(df, rdba); }
    bool spend(uint32_t bytes) { return ::spend(&budget, bytes); }
    void map_cut(uint32_t rdba) const;
    int map_error(uint8_t type) const;
    int loop_error(uint32_t rdba) const;
    int size_error(uint32_t rdba) const;
};

// Walks the whole segment whose header is at `hdba`. Returns 0, or a negative value after a message.
template <class SEGMENT>
int walk_datafile_segment(SEGMENT &segment, uint32_t hdba, const WALK_BUFFERS &buffers) {
    segment.budget = begin_budget(segment.find(hdba));
    begin_damage();
    const int result = walk_segment(segment, hdba, buffers);
    end_damage();
    return result;
}
