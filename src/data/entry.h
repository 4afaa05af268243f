// Appending dump entries to the cache. The caller has made room.
#pragma once

#include "column.h"
#include "data/uldr.h"

/// Appends a mark or a length.
inline void put_word(ULDR *ul, uint16_t mark) {
    store_be16(ul->cache + ul->clen, mark);
    ul->clen += MARK_SIZE;
}

/// Appends bytes as they are.
inline void put_bytes(ULDR *ul, const uint8_t *data, uint32_t len) {
    memcpy(ul->cache + ul->clen, data, len);
    ul->clen += static_cast<int32_t>(len);
}

/// Appends the entry of a value, or of NULL.
inline void put_value(ULDR *ul, const VALUE &value) {
    if (value.null) {
        put_word(ul, MARK_NULL);
    } else {
        put_word(ul, static_cast<uint16_t>(value.len));
        put_bytes(ul, value.data, value.len);
    }
}

/// Stores the length of the value that spans pieces, now that it is known. The place of the length may have
/// been flushed meanwhile: its bytes in the file stay zero then, and the length lands in the cache, where
/// later entries overwrite it.
inline void finish_value(ULDR *ul) {
    store_be16(ul->pl, static_cast<uint16_t>(ul->ccl));
    ul->pl = nullptr;
    ul->ccl = 0;
}

/// Keeps a LONG value that stands whole in one piece in memory.
inline void keep_long(ULDR *ul, const VALUE &value) {
    memcpy(ul->lbuf, value.data, value.len);
    ul->lsz = static_cast<int32_t>(value.len);
}

/// Appends the entry of a column that is no cluster key, whose value stands whole in one piece. A LONG column
/// gets its mark once a row.
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
        ul->lcc++;
    }
}

/// True when the row has no LONG data yet.
inline bool is_first_long(const ULDR *ul) {
    return ul->lsz == 0 && ul->lfd == -1;
}

/// Appends the entries of up to `cc` values from `p` on, matched with the columns from position `curc` on:
/// skipped columns take a value and give no entry, cluster key columns give an entry from `key` and take no
/// value. `*cc` is what is left of the values when the columns have run out. Returns the position behind the
/// last value taken, or null when a value leaves its block. `WHOLE` says that the row is one piece.
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
