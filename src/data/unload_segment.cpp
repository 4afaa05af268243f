#include <cstdint>

#include "data/dump_file.h"
#include "data/lob_value.h"
#include "data/long_value.h"
#include "data/rows.h"
#include "data/segment.h"
#include "datafile_segment.h"

namespace {

constexpr int ALIGNMENT = 8;

// A table's, partition's or subpartition's segment.
struct TABLE_SEGMENT : DATAFILE_SEGMENT {
    ULDR *ul;

    DATAFILE *find(uint32_t rdba) const { return segment_file(ul, rdba); }
    int file_error(uint32_t rdba) const { return segment_file_error(ul, rdba); }
    int header_error(uint32_t rdba) const { return extent_error(rdba); }

    int extent_error(uint32_t rdba) const {
        report("read extent (ts#=%d, rdba=0x%08x) error.\n", ul->tsn, rdba);
        return -1;
    }

    void begin_run(const BLOCK_RUN &run) const { ul->run = run; }
    int block(const BLOCK &blk) const { return process_data_block(ul, blk); }
};

// Hands out the next `size` bytes of the work buffer.
uint8_t *carve(uint8_t *&at, int64_t size) {
    uint8_t *buffer = at;
    at += size;
    return buffer;
}

// The next address from `at` on at which a record may stand: block sizes need not be even.
uint8_t *align(uint8_t *at) {
    return g_ctx.wrk + (at - g_ctx.wrk + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
}

// Carves the buffers out of the work buffer. A LONG value in one piece may be as long as a block. Tables with
// LOB columns have further ones although no LOB is unloaded; so many of them that no block could be read any
// more are cut to what leaves room for one.
void carve_buffers(ULDR *ul) {
    const int32_t bsz = ul->bsz;
    uint8_t *at = g_ctx.wrk, *end = at + WORK_SIZE;
    ul->csz = CACHE_SIZE;
    ul->cache = carve(at, CACHE_SIZE);
    ul->hblk = carve(at, bsz);
    ul->cblk = carve(at, bsz);
    ul->lbuf = carve(at, std::max(LONG_SIZE, bsz));
    const bool lobs = (ul->tabp->flag & TAB_HAS_LOB) != 0;
    for (uint8_t **buffer : {&ul->ibuf, &ul->itree2, &ul->itree3, &ul->itree4})
        *buffer = lobs ? carve(at, LOB_BUFFER_SIZE) : nullptr;
    at = align(at);
    const int64_t fit = (end - at - bsz - ALIGNMENT) / static_cast<int64_t>(sizeof(LOBD));
    ul->lob_room = lobs ? static_cast<int32_t>(std::min<int64_t>(ul->nlob, fit)) : 0;
    ul->lobc = reinterpret_cast<LOBD *>(carve(at, ul->lob_room * static_cast<int64_t>(sizeof(LOBD))));
    ul->rbuf = align(at);
    ul->rsz = end - ul->rbuf;
}

// Forgets the segment before, all but the place of this one, which begins in `df`.
void begin_segment(ULDR *ul, const DATAFILE *df) {
    ULDR_SEGMENT segment{};
    segment.tsn = ul->tsn;
    segment.hdba = ul->hdba;
    segment.bsz = static_cast<int32_t>(df->bsz);
    segment.followed = begin_budget(df);
    static_cast<ULDR_SEGMENT &>(*ul) = segment;
}

} // namespace

DATAFILE *segment_file(const ULDR *ul, uint32_t rdba) {
    DATAFILE *df = get_datafile(static_cast<uint32_t>(ul->tsn), rdba_file(rdba));
    return df != nullptr && df->bsz == static_cast<uint32_t>(ul->bsz) ? df : nullptr;
}

int segment_file_error(const ULDR *ul, uint32_t rdba) {
    report("datafile (ts#=%d, rfile#=%d) not found.\n", ul->tsn, static_cast<int>(rdba_file(rdba)));
    return -1;
}

int unload_segment(ULDR *ul) {
    const DATAFILE *df = get_datafile(static_cast<uint32_t>(ul->tsn), rdba_file(ul->hdba));
    if (df == nullptr)
        return segment_file_error(ul, ul->hdba);
    begin_segment(ul, df);
    carve_buffers(ul);
    TABLE_SEGMENT segment{{}, ul};
    if (walk_datafile_segment(segment, ul->hdba, WALK_BUFFERS{ul->hblk, ul->rbuf, ul->rsz}) < 0)
        return -1;
    return write_cache(ul);
}
