// The entries of columns whose values stand whole in a piece, appended to the cache. The caller has made
// room.
#pragma once

#include "column.h"
#include "data/entry.h"
#include "data/lob_value.h"
#include "data/long_value.h"
#include "data/rows.h"

// Keeps a LONG value that stands whole in one piece in memory.
inline void keep_long(ULDR *ul, const VALUE &value) {
    memcpy(ul->lbuf, value.data, value.len);
    ul->lsz = static_cast<int32_t>(value.len);
}

// Appends the entry of a column that is no cluster key. A LONG column gets its mark once a row.
inline void put_column(ULDR *ul, const COL &col, const VALUE &value, bool mark_long) {
    if (value.null || (!is_long(col) && !is_lob(col))) {
        put_value(ul, value);
    } else if (is_long(col)) {
        if (mark_long)
            put_word(ul, MARK_LONG);
        keep_long(ul, value);
    } else {
        put_word(ul, MARK_LOB);
        save_lob(ul, col.cid, value);
        end_lob(ul);
    }
}

// Appends the entries of up to `cc` values from `p` on, matched with the columns from position `curc` on:
// skipped columns take a value and give no entry, cluster key columns give an entry from `key` and take no
// value. `*cc` is what is left of the values when the columns have run out. Returns the position behind the
// last value taken, or null when a value leaves its block. `WHOLE` says that the row is one piece.
template <bool WHOLE>
const uint8_t *put_columns(ULDR *ul, const uint8_t *p, const uint8_t *end, int *cc, CLUSTER_KEY key) {
    const int32_t tcol = static_cast<int32_t>(ul->cols.size());
    VALUE value;
    for (; *cc >= 1 && ul->curc < tcol; ul->curc++) {
        const COL &col = ul->cols[static_cast<size_t>(ul->curc)];
        const bool from_key = !is_skipped(col) && is_cluster_key(col);
        if (from_key ? !next_value(key.p, key.end, &value) : !next_value(p, end, &value))
            return nullptr;
        if (from_key) {
            put_value(ul, value);
            continue;
        }
        if (!is_skipped(col))
            put_column(ul, col, value, WHOLE || is_first_long(ul));
        --*cc;
    }
    return p;
}
