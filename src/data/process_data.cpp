// The rows of one block of a table's segment.
#include <unistd.h>

#include <cstdio>

#include "console.h"
#include "data/lob_value.h"
#include "data/long_value.h"
#include "data/ordinary_row.h"
#include "find_table_rows.h"

namespace {

constexpr int ROW_SCN_SIZE = 6;
constexpr uint8_t ROW_WHOLE = ROW_FIRST | ROW_LAST;

void begin_row(ULDR *ul) {
    static_cast<ULDR_ROW &>(*ul) = {};
}

// Appends the end of the row and what follows it.
int end_row(ULDR *ul) {
    if (ul->pl != nullptr) // its chain broke off inside the value
        finish_value(ul);
    if (ul->clen + MARK_SIZE > ul->csz && write_cache(ul) < 0) // a row may have come to nothing but its end
        return -1;
    put_word(ul, MARK_ROW_END);
    if (ul->lsz >= 1 || ul->lfd != -1) {
        int result = ul->lfd != -1 ? save_long(ul, nullptr, 0, true) : 0;
        if (result == 0)
            result = process_long(ul);
        close_long(ul);
        if (result < 0)
            return -1;
    }
    if (ul->lcc > 0)
        return process_lob(ul);
    ul->nrow++;
    return 0;
}

// Takes back what was appended since the dump file offset `start`, flushed or not.
int take_back(ULDR *ul, uint64_t start) {
    close_long(ul);
    if (start >= ul->data_ofs) {
        ul->clen = static_cast<int32_t>(start - ul->data_ofs);
        return 0;
    }
    ul->data_ofs = start;
    ul->clen = 0;
    if (ftruncate(ul->fd, static_cast<off_t>(start)) == 0)
        return 0;
    return write_cache_error();
}

// Steps over what stands between the piece header and the columns of a head piece: the index of its cluster
// key row and the extra bytes that some tables have.
PIECE_RESULT step_over_head(const ULDR *ul, const ROW_AREA &area, const uint8_t *&p, bool keyed,
                            CLUSTER_KEY *key) {
    const uint8_t *end = block_end(area.blk);
    if (keyed) {
        const PIECE_RESULT result = p < end ? find_cluster_key(area, *p, key) : PIECE_RESULT::damaged;
        if (result != PIECE_RESULT::taken)
            return result;
        p += CLUSTER_INDEX_SIZE;
    }
    if ((ul->tabp->flag & TAB_ROW_DEPENDENCIES) != 0)
        p += ROW_SCN_SIZE;
    return p <= end ? PIECE_RESULT::taken : PIECE_RESULT::damaged;
}

PIECE_RESULT process_whole_row(ULDR *ul, const ROW_AREA &area, const uint8_t *piece) {
    CLUSTER_KEY key{};
    const uint8_t *p = piece + PIECE_HEADER, *end = block_end(area.blk);
    const PIECE_RESULT result = step_over_head(ul, area, p, ul->tabn > 0, &key);
    if (result != PIECE_RESULT::taken)
        return result;
    if (make_room_for_row(ul, p, end, column_count(piece), key) < 0)
        return PIECE_RESULT::failed;
    return process_one_piece(ul, p, end, column_count(piece), key);
}

PIECE_RESULT process_chained_row(ULDR *ul, const ROW_AREA &area, int row, const uint8_t *piece) {
    CLUSTER_KEY key{};
    const uint8_t fb = piece[PIECE_FLAGS];
    const bool first = (fb & ROW_FIRST) != 0;
    const uint8_t *p = piece + PIECE_HEADER, *end = block_end(area.blk);
    uint32_t rdba = 0;
    uint16_t slot = 0;
    PIECE_RESULT result = step_over_head(ul, area, p, ul->tabn > 0 && first, &key);
    if (result == PIECE_RESULT::taken && !next_address(p, end, &rdba, &slot))
        result = PIECE_RESULT::damaged;
    if (result != PIECE_RESULT::taken)
        return result;
    if (first) {
        if (make_room_for_piece(ul, p, end, column_count(piece), fb, key) < 0)
            return PIECE_RESULT::failed;
        result = process_chained_piece(ul, p, end, column_count(piece), fb, key);
        if (result != PIECE_RESULT::taken)
            return result;
    }
    return process_chain(ul, area, row, rdba, slot, key);
}

int process_row(ULDR *ul, const ROW_AREA &area, int row, const uint8_t *piece) {
    if (piece == nullptr) {
        report_damaged_row(area.blk.rdba, row);
        return 0;
    }
    const uint8_t fb = piece[PIECE_FLAGS];
    if ((fb & ROW_DELETED) != 0 || (fb & ROW_HEAD) == 0)
        return 0;
    if (ul->ordinary && (fb & ROW_WHOLE) == ROW_WHOLE && process_ordinary_row(ul, area, piece))
        return 0;
    begin_row(ul);
    const uint64_t start = ul->data_ofs + static_cast<uint64_t>(ul->clen);
    const PIECE_RESULT result = (fb & ROW_WHOLE) == ROW_WHOLE ? process_whole_row(ul, area, piece)
                                                              : process_chained_row(ul, area, row, piece);
    switch (result) {
    case PIECE_RESULT::damaged:
        report_damaged_row(area.blk.rdba, row);
        return take_back(ul, start);
    case PIECE_RESULT::skipped:
        return 0;
    case PIECE_RESULT::taken:
    case PIECE_RESULT::breaks_off:
        return end_row(ul);
    case PIECE_RESULT::failed:
        break;
    }
    close_long(ul);
    return -1;
}

} // namespace

PIECE_RESULT find_cluster_key(const ROW_AREA &area, uint8_t index, CLUSTER_KEY *key) {
    const uint8_t *data = find_key_data(area, index);
    if (data != nullptr) {
        *key = {data, block_end(area.blk)};
        return PIECE_RESULT::taken;
    }
    const uint8_t *row = find_key_row(area, index);
    if (row == nullptr || is_whole_key_row(row))
        return PIECE_RESULT::damaged;
    printf("cluster key migrated or chained, skip this row data.\n");
    return PIECE_RESULT::skipped;
}

int process_data_block(ULDR *ul, const BLOCK &blk) {
    ROW_AREA area;
    TABLE_ROWS rows;
    if (!find_table_rows(blk, static_cast<uint32_t>(ul->tabn), &area, &rows))
        return 0;
    return walk_rows(area, rows, has_free_slots(area, rows),
                     [&](int row, const uint8_t *piece) { return process_row(ul, area, row, piece); });
}
