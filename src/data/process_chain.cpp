// Following a row from piece to piece.
#include "console.h"
#include "data/entry.h"
#include "datafile.h"

#include <algorithm>

namespace {

constexpr int CHAIN_ENDS = 1; // the next-piece address leads to nothing that could be added to the row

// The pieces that a chain has come through, so that one that comes back to itself ends there. The last ones
// are kept, and one more that moves on at doubling distances: a round of more pieces than are kept, which no
// sound row has, is noticed late but is noticed.
struct PIECE_TRAIL {
    static constexpr uint64_t KEPT = 4096;
    uint64_t last[KEPT];
    uint64_t count;
    uint64_t mark;
    uint64_t moves_at;
};

uint64_t piece_id(uint32_t rdba, int slot) {
    return uint64_t{rdba} << 32 | static_cast<uint32_t>(slot);
}

void add_piece(PIECE_TRAIL *trail, uint64_t piece) {
    if (trail->count == trail->moves_at) {
        trail->mark = piece;
        trail->moves_at = 2 * trail->count + 1;
    }
    trail->last[trail->count++ % PIECE_TRAIL::KEPT] = piece;
}

bool has_piece(const PIECE_TRAIL &trail, uint64_t piece) {
    const uint64_t *end = trail.last + std::min(trail.count, PIECE_TRAIL::KEPT);
    return piece == trail.mark || std::find(trail.last, end, piece) != end;
}

// Finds the block at `rdba`, which may be at hand: in the run being walked, or as the block followed last.
// Otherwise it is read into cblk. Returns 0, CHAIN_ENDS for a block that its file does not have, or -1 after
// its message.
int fetch_block(ULDR *ul, uint32_t rdba, BLOCK *blk) {
    const uint32_t bsz = static_cast<uint32_t>(ul->bsz);
    if (rdba - ul->run.rdba < ul->run.blocks) {
        *blk = {ul->run.data + (rdba - ul->run.rdba) * bsz, bsz, rdba};
        return 0;
    }
    *blk = {ul->cblk, bsz, rdba};
    if (rdba == ul->cblk_rdba)
        return 0;
    const DATAFILE *df = segment_file(ul, rdba);
    if (df == nullptr)
        return segment_file_error(ul, rdba);
    ul->cblk_rdba = 0;
    const int bytes = read_extent_blocks(df, rdba, 1, ul->cblk);
    if (bytes < 0)
        return -1;
    if (bytes < ul->bsz)
        return CHAIN_ENDS;
    ul->cblk_rdba = rdba;
    return 0;
}

// Finds the next piece, `*area` being its block. Returns 0, CHAIN_ENDS, ROW_DAMAGED, or -1 after its message.
int find_next_piece(ULDR *ul, uint32_t rdba, uint16_t slot, ROW_AREA *area, const uint8_t **piece) {
    // No sound segment has more pieces than its files have room for.
    if (!spend(&ul->followed, PIECE_HEADER))
        return CHAIN_ENDS;
    BLOCK blk;
    const int result = fetch_block(ul, rdba, &blk);
    if (result != 0)
        return result;
    if (!locate_rows(blk, area))
        return CHAIN_ENDS;
    const int32_t entry = table_slot(*area, static_cast<uint32_t>(ul->tabn), slot);
    if (entry < 0 || points_before_rows(*area, entry))
        return CHAIN_ENDS;
    *piece = find_piece(*area, entry);
    return *piece != nullptr ? 0 : ROW_DAMAGED;
}

// Takes the column values of one followed piece, and its next-piece address, 0 behind the last piece. A first
// piece has a cluster key index of its own, which is looked up in the block of the row's head, and the head's
// rowid.
int take_piece(ULDR *ul, const ROW_AREA &head, const uint8_t *piece, const uint8_t *end, CLUSTER_KEY *key,
               uint32_t *rdba, uint16_t *slot) {
    const uint8_t fb = piece[0];
    const uint8_t *q = piece + PIECE_HEADER;
    *rdba = 0;
    if (ul->tabn > 0 && (fb & ROW_FIRST) != 0) {
        const int result = q < end ? find_cluster_key(head, *q, key) : ROW_DAMAGED;
        if (result == ROW_SKIPPED) // following ends, the row stays
            return 0;
        if (result < 0)
            return result;
        q++;
    }
    if ((fb & ROW_FIRST) != 0)
        q += ROWID_SIZE;
    if ((fb & ROW_LAST) == 0 && !next_address(q, end, rdba, slot))
        return ROW_DAMAGED;
    if (q > end)
        return ROW_DAMAGED;
    if (make_room(ul, CHAIN_RESERVE, q, end, piece[2], *key) < 0)
        return -1;
    return process_chained_piece(ul, q, end, piece[2], fb, *key);
}

} // namespace

int process_chain(ULDR *ul, const ROW_AREA &head, int row, uint32_t rdba, uint16_t slot, CLUSTER_KEY key) {
    PIECE_TRAIL trail;
    trail.count = trail.moves_at = 0;
    add_piece(&trail, piece_id(head.blk.rdba, row));
    while (rdba != 0) {
        const uint64_t next = piece_id(rdba, slot);
        ROW_AREA area;
        const uint8_t *piece = nullptr;
        int result = has_piece(trail, next) ? CHAIN_ENDS : find_next_piece(ul, rdba, slot, &area, &piece);
        if (result == CHAIN_ENDS) {
            report_damaged_row(head.blk.rdba, row);
            return 0;
        }
        if (result == 0)
            result = take_piece(ul, head, piece, block_end(area.blk), &key, &rdba, &slot);
        if (result < 0)
            return result;
        add_piece(&trail, next);
    }
    return 0;
}
