// Following a row from piece to piece.
#include <algorithm>

#include "console.h"
#include "data/rows.h"
#include "data/segment.h"
#include "datafile.h"
#include "file_io.h"
#include "format/chain_loop.h"

namespace {

struct PIECE_ADDRESS {
    uint32_t rdba;
    uint16_t slot;
    bool operator==(const PIECE_ADDRESS &) const = default;
};

// The pieces that a chain has come through. The first ones are kept; of a chain that has more of them, which
// few rows have, it is found out once how many different ones it has.
struct PIECE_TRAIL {
    static constexpr uint64_t KEPT = 1024;
    PIECE_ADDRESS first[KEPT];
    uint64_t count;     // pieces behind the head
    uint64_t different; // among all pieces of a chain that loops; 0 of one that ends, or that is not known
};

// True when the block at `rdba` is at hand: in the run being walked, or as the block followed last. Otherwise
// `*blk` is the place for it, cblk.
bool has_block(const ULDR *ul, uint32_t rdba, BLOCK *blk) {
    const uint32_t bsz = static_cast<uint32_t>(ul->bsz);
    const bool in_run = rdba - ul->run.rdba < ul->run.blocks;
    *blk = {in_run ? ul->run.data + (rdba - ul->run.rdba) * bsz : ul->cblk, bsz, rdba};
    return in_run || rdba == ul->cblk_rdba;
}

// Finds the block at `rdba`, at hand or read into cblk. The chain breaks off at a block that its file does
// not have.
PIECE_RESULT fetch_block(ULDR *ul, uint32_t rdba, BLOCK *blk) {
    if (has_block(ul, rdba, blk))
        return PIECE_RESULT::taken;
    const DATAFILE *df = segment_file(ul, rdba);
    if (df == nullptr) {
        segment_file_error(ul, rdba);
        return PIECE_RESULT::failed;
    }
    ul->cblk_rdba = 0;
    const int bytes = read_extent_blocks(df, rdba, 1, ul->cblk);
    if (bytes < 0)
        return PIECE_RESULT::failed;
    if (bytes < ul->bsz)
        return PIECE_RESULT::breaks_off;
    ul->cblk_rdba = rdba;
    return PIECE_RESULT::taken;
}

// The same without checks and messages; false when it is not to be had. What it leaves in cblk is not to be
// taken for a block that was checked.
bool peek_block(ULDR *ul, uint32_t rdba, BLOCK *blk) {
    if (has_block(ul, rdba, blk))
        return true;
    const DATAFILE *df = segment_file(ul, rdba);
    if (df == nullptr || pread_all(df->fd, ul->cblk, df->bsz, block_offset(df, rdba)) < ul->bsz)
        return false;
    ul->cblk_rdba = rdba;
    return true;
}

// Counts one more piece followed. False when there are more than the files have room for.
bool count_piece(ULDR *ul) {
    return spend(&ul->followed, PIECE_HEADER);
}

// Finds the piece of `slot` in its block.
PIECE_RESULT find_slot_piece(const ULDR *ul, const BLOCK &blk, uint16_t slot, ROW_AREA *area,
                             const uint8_t **piece) {
    if (!locate_rows(blk, area))
        return PIECE_RESULT::breaks_off;
    const int32_t entry = table_slot(*area, static_cast<uint32_t>(ul->tabn), slot);
    if (entry < 0 || looks_free(*area, entry))
        return PIECE_RESULT::breaks_off;
    *piece = find_piece(*area, entry);
    return *piece != nullptr ? PIECE_RESULT::taken : PIECE_RESULT::damaged;
}

// Finds the next piece, `*area` being its block.
PIECE_RESULT find_next_piece(ULDR *ul, const PIECE_ADDRESS &at, ROW_AREA *area, const uint8_t **piece) {
    if (!count_piece(ul))
        return PIECE_RESULT::breaks_off;
    BLOCK blk;
    const PIECE_RESULT result = fetch_block(ul, at.rdba, &blk);
    return result == PIECE_RESULT::taken ? find_slot_piece(ul, blk, at.slot, area, piece) : result;
}

// Reads what stands between the header of a followed piece and its values, and steps behind it: of a first
// piece the index of its cluster key and the head's rowid, of all but a last one the next address, which
// otherwise becomes 0. False when it leaves [p, end).
bool next_values(const ULDR *ul, uint8_t fb, const uint8_t *&p, const uint8_t *end, PIECE_ADDRESS *next) {
    if ((fb & ROW_FIRST) != 0)
        p += ROWID_SIZE + (ul->tabn > 0 ? CLUSTER_INDEX_SIZE : 0);
    *next = {};
    return (fb & ROW_LAST) != 0 ? p <= end : next_address(p, end, &next->rdba, &next->slot);
}

// The address behind the piece at `at`, read ahead of its values and in silence; nothing when there is none.
std::optional<PIECE_ADDRESS> peek_next_piece(ULDR *ul, const PIECE_ADDRESS &at) {
    BLOCK blk;
    ROW_AREA area;
    const uint8_t *piece = nullptr;
    if (!count_piece(ul) || !peek_block(ul, at.rdba, &blk) ||
        find_slot_piece(ul, blk, at.slot, &area, &piece) != PIECE_RESULT::taken)
        return std::nullopt;
    const uint8_t *p = piece + PIECE_HEADER;
    PIECE_ADDRESS next{};
    if (!next_values(ul, piece[PIECE_FLAGS], p, block_end(blk), &next) || next.rdba == 0)
        return std::nullopt;
    return next;
}

// The number of different pieces of a chain that comes back to one of them; 0 of a chain that ends.
uint64_t different_pieces(ULDR *ul, const PIECE_ADDRESS &first) {
    const uint64_t different =
        count_looping_links(first, [ul](const PIECE_ADDRESS &at) { return peek_next_piece(ul, at); });
    ul->cblk_rdba = 0;
    return different;
}

// True when the chain, of which the pieces of the trail have been taken, has come to `next` before.
bool comes_back(ULDR *ul, PIECE_TRAIL *trail, const PIECE_ADDRESS &head, const PIECE_ADDRESS &next) {
    const std::span kept(trail->first, std::min(trail->count, PIECE_TRAIL::KEPT));
    if (next == head || std::find(kept.begin(), kept.end(), next) != kept.end())
        return true;
    if (trail->count == PIECE_TRAIL::KEPT)
        trail->different = different_pieces(ul, trail->first[0]);
    return trail->different != 0 && trail->count == trail->different;
}

void add_piece(PIECE_TRAIL *trail, const PIECE_ADDRESS &piece) {
    if (trail->count < PIECE_TRAIL::KEPT)
        trail->first[trail->count] = piece;
    trail->count++;
}

// Takes the column values of one followed piece, and its next-piece address. A first piece has a cluster key
// index of its own, which is looked up in the block of the row's head.
PIECE_RESULT take_piece(ULDR *ul, const ROW_AREA &head, const uint8_t *piece, const uint8_t *end,
                        CLUSTER_KEY *key, PIECE_ADDRESS *next) {
    const uint8_t fb = piece[PIECE_FLAGS];
    const uint8_t *p = piece + PIECE_HEADER;
    *next = {};
    if (ul->tabn > 0 && (fb & ROW_FIRST) != 0) {
        const PIECE_RESULT result = p < end ? find_cluster_key(head, *p, key) : PIECE_RESULT::damaged;
        if (result == PIECE_RESULT::skipped) // following ends, the row stays
            return PIECE_RESULT::taken;
        if (result != PIECE_RESULT::taken)
            return result;
    }
    if (!next_values(ul, fb, p, end, next))
        return PIECE_RESULT::damaged;
    if (make_room_for_piece(ul, p, end, column_count(piece), fb, *key) < 0)
        return PIECE_RESULT::failed;
    return process_chained_piece(ul, p, end, column_count(piece), fb, *key);
}

} // namespace

PIECE_RESULT process_chain(ULDR *ul, const ROW_AREA &head, int row, uint32_t rdba, uint16_t slot,
                           CLUSTER_KEY key) {
    const PIECE_ADDRESS home{head.blk.rdba, static_cast<uint16_t>(row)};
    PIECE_TRAIL trail;
    trail.count = trail.different = 0;
    PIECE_ADDRESS next{rdba, slot};
    while (next.rdba != 0) {
        const PIECE_ADDRESS at = next;
        ROW_AREA area;
        const uint8_t *piece = nullptr;
        PIECE_RESULT result = PIECE_RESULT::breaks_off;
        if (!comes_back(ul, &trail, home, at))
            result = find_next_piece(ul, at, &area, &piece);
        if (result == PIECE_RESULT::breaks_off) {
            report_damaged_row(head.blk.rdba, row);
            return PIECE_RESULT::taken;
        }
        if (result == PIECE_RESULT::taken)
            result = take_piece(ul, head, piece, block_end(area.blk), &key, &next);
        if (result != PIECE_RESULT::taken)
            return result;
        add_piece(&trail, at);
    }
    return PIECE_RESULT::taken;
}
