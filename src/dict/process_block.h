// The walk that the twelve row decoders share. A decoder adds its row map, a plain record ROWS with
//   static constexpr bool clustered           whether its rows carry a cluster key
//   static constexpr bool takes_continued     whether a head piece that continues another one (P) is read
//   static bool read(ROW_CURSOR &, uint32_t key, REC &)   fills the record; false for a row that is not kept
#pragma once

#include "console.h"
#include "datafile.h"
#include "dict/dict_file.h"
#include "dict/row_cursor.h"
#include "dict/row_decoders.h"
#include "find_table_rows.h"

// Where a dictionary row is read from: the block of its column data and the piece in it.
struct ROW_PLACE {
    ROW_AREA area;
    const uint8_t *piece;
    int columns; // offset of the first column of a row outside a cluster
};

// What became of a row.
enum class ROW_RESULT {
    kept,
    dropped,    // not of interest to the dictionary
    damaged,    // leaves its block; to be left out with a line
    unreadable, // its block cannot be read
};

// Finds the piece of a migrated row: its stub names block and slot. The block is read into `cblk`.
inline ROW_RESULT follow_migrated(const uint8_t *stub, const uint8_t *end, uint32_t tabn, uint8_t *cblk,
                                  ROW_PLACE *place) {
    const uint8_t *p = stub + PIECE_HEADER;
    uint32_t rdba;
    uint16_t slot;
    if (!next_address(p, end, &rdba, &slot))
        return ROW_RESULT::damaged;
    const DATAFILE *df = g_ctx.sysf;
    const int bytes = read_extent_blocks(df, rdba, 1, cblk);
    if (bytes < 0)
        return ROW_RESULT::unreadable;
    if (bytes < static_cast<int>(df->bsz) || !locate_rows(BLOCK{cblk, df->bsz, rdba}, &place->area))
        return ROW_RESULT::damaged;
    const int32_t entry = table_slot(place->area, tabn, slot);
    if (entry < 0 || looks_free(place->area, entry))
        return ROW_RESULT::damaged;
    place->piece = find_piece(place->area, entry);
    place->columns = PIECE_HEADER + ROWID_SIZE;
    return place->piece != nullptr ? ROW_RESULT::kept : ROW_RESULT::damaged;
}

// Reads the cluster key of a member row: its index byte names the key row, which begins its data with the
// key.
inline uint32_t read_cluster_key(const ROW_PLACE &place, ROW_CURSOR &row) {
    const uint8_t *key_row = find_key_row(place.area, place.piece[PIECE_HEADER]);
    if (key_row == nullptr || row.end - key_row < KEY_DATA) {
        row.damaged = true;
        return 0;
    }
    ROW_CURSOR key{key_row + KEY_DATA, row.end, 1, false};
    const uint32_t number = read_number(key);
    row.damaged = row.damaged || key.damaged;
    return number;
}

// Reads one row into `record`.
template <class ROWS, class REC>
ROW_RESULT read_dict_row(const ROW_PLACE &place, REC &record) {
    const uint8_t *end = block_end(place.area.blk);
    const int columns = place.columns + (ROWS::clustered ? CLUSTER_INDEX_SIZE
                                                         : 0); // behind the index byte of the cluster key
    if (end - place.piece < columns)
        return ROW_RESULT::damaged;
    ROW_CURSOR row{place.piece + columns, end, column_count(place.piece), false};
    const uint32_t key = ROWS::clustered ? read_cluster_key(place, row) : 0;
    record = {};
    const bool kept = ROWS::read(row, key, record);
    if (row.damaged)
        return ROW_RESULT::damaged;
    return kept ? ROW_RESULT::kept : ROW_RESULT::dropped;
}

// Reads the row of one piece (null: the piece leaves the block), in its own block or where it has migrated
// to.
template <class ROWS, class REC>
ROW_RESULT process_dict_row(const ROW_AREA &area, const uint8_t *piece, uint8_t *cblk, uint32_t tabn,
                            REC &record) {
    if (piece == nullptr)
        return ROW_RESULT::damaged;
    const uint8_t flag = piece[PIECE_FLAGS];
    if ((flag & ROW_DELETED) != 0 || (flag & ROW_HEAD) == 0 ||
        ((flag & ROW_PREVIOUS) != 0 && !ROWS::takes_continued))
        return ROW_RESULT::dropped;

    ROW_PLACE place{area, piece, PIECE_HEADER};
    if ((flag & ROW_FIRST) == 0) {
        const ROW_RESULT found = follow_migrated(piece, block_end(area.blk), tabn, cblk, &place);
        if (found != ROW_RESULT::kept)
            return found;
    }
    return read_dict_row<ROWS>(place, record);
}

// Writes the records gathered so far and starts the array again. Returns 0, or -1 after its message.
template <class REC>
int write_batch(const DICT_FACTS &table, const REC *records, int *nrow) {
    if (write_records(table, records, *nrow, sizeof(REC)) < 0)
        return -1;
    g_ctx.sys.*table.count += static_cast<uint32_t>(*nrow);
    *nrow = 0;
    return 0;
}

// The body of every row decoder: walks the rows of one block.
template <class ROWS, class REC>
int process_dict_block(const DICT_FACTS &table, uint8_t *cblk, const BLOCK &blk, REC *records, uint32_t tabn,
                       int max_rows, int *nrow) {
    ROW_AREA area;
    TABLE_ROWS rows;
    if (!find_table_rows(blk, tabn, &area, &rows))
        return 0;
    return walk_rows(area, rows, has_free_slots(area, rows), [&](int row, const uint8_t *piece) {
        switch (process_dict_row<ROWS>(area, piece, cblk, tabn, records[*nrow])) {
        case ROW_RESULT::kept:
            return ++*nrow < max_rows ? 0 : write_batch(table, records, nrow);
        case ROW_RESULT::dropped:
            return 0;
        case ROW_RESULT::damaged:
            report_damaged_row(area.blk.rdba, row);
            return 0;
        case ROW_RESULT::unreadable:
            break;
        }
        return -1;
    });
}
