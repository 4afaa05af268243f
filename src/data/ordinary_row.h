// The short way for the rows that most tables are made of: one piece, and columns whose values go into the
// dump as they come. It gives up, with nothing appended, on whatever the long way has to look at.
#pragma once

#include <algorithm>

#include "column.h"
#include "data/entry.h"
#include "data/rows.h"

// True when the table's rows in one piece may go the short way. Key columns need a cluster to take their
// values from.
inline bool has_ordinary_rows(const TAB &tab, std::span<const COL> cols) {
    return (tab.flag & TAB_ROW_DEPENDENCIES) == 0 && std::all_of(cols.begin(), cols.end(), is_ordinary) &&
           (tab.tabn > 0 || std::none_of(cols.begin(), cols.end(), is_cluster_key));
}

// Values up to these sizes are copied by a fixed number of bytes, which costs less than asking how many it
// must be. What lands behind the value is overwritten by the next entry.
constexpr int SHORT_VALUE = 16;
constexpr int MIDDLE_VALUE = 64;

// Appends the entry of the value at `p`, whose first byte is its length, and steps behind both.
template <int SIZE>
inline void copy_value(uint8_t *&to, const uint8_t *&p) {
    const uint32_t len = *p;
    store_be16(to, static_cast<uint16_t>(len));
    memcpy(to + MARK_SIZE, p + 1, SIZE);
    to += MARK_SIZE + len;
    p += 1 + len;
}

// Appends the entry of the value at `p`, of any length or NULL, and steps behind both. False when the value
// leaves [p, end). `to` has room for the entry and MIDDLE_VALUE bytes more. Inlined by force: both positions
// stay in registers then, which is most of what a value costs.
[[gnu::always_inline]] inline bool append_value(uint8_t *&to, const uint8_t *&p, const uint8_t *end) {
    if (end - p > MIDDLE_VALUE) {
        if (*p <= SHORT_VALUE) {
            copy_value<SHORT_VALUE>(to, p);
            return true;
        }
        if (*p <= MIDDLE_VALUE) {
            copy_value<MIDDLE_VALUE>(to, p);
            return true;
        }
    }
    VALUE value;
    if (!next_value(p, end, &value))
        return false;
    to = write_entry(to, value);
    return true;
}

// Appends the entries of at most `n` values from `p` on. Returns the position behind them, or null when a
// value leaves [p, end).
inline uint8_t *append_values(const ULDR *ul, uint8_t *to, const uint8_t *p, const uint8_t *end, int n) {
    for (n = std::min(n, static_cast<int>(ul->cols.size())); n > 0; n--)
        if (!append_value(to, p, end))
            return nullptr;
    return to;
}

// The same for a row in a cluster: the entries of key columns come from `key` and take none of the values.
inline uint8_t *append_keyed_values(const ULDR *ul, uint8_t *to, const uint8_t *p, const uint8_t *end, int n,
                                    CLUSTER_KEY key) {
    for (auto col = ul->cols.begin(); n > 0 && col != ul->cols.end(); ++col) {
        const bool from_key = is_cluster_key(*col);
        if (from_key ? !append_value(to, key.p, key.end) : !append_value(to, p, end))
            return nullptr;
        n -= from_key ? 0 : 1;
    }
    return to;
}

// Fetches ahead of the walk: blocks fill from their end, so the rows to come stand before `piece`, where the
// processor does not look for them by itself.
inline void prefetch_rows(const BLOCK &blk, const uint8_t *piece) {
    constexpr int AHEAD = 640;
    if (piece - blk.data > AHEAD)
        __builtin_prefetch(piece - AHEAD);
}

// Appends the row whose only piece is `piece`. False when it is damaged, its cluster key cannot be used or
// the cache may be too full for it.
inline bool process_ordinary_row(ULDR *ul, const ROW_AREA &area, const uint8_t *piece) {
    prefetch_rows(area.blk, piece);
    if (ul->clen + longest_row(ul->bsz) > ul->csz)
        return false;
    const uint8_t *p = piece + PIECE_HEADER, *end = block_end(area.blk);
    uint8_t *to = cache_end(ul);
    if (ul->tabn == 0) {
        to = append_values(ul, to, p, end, column_count(piece));
    } else {
        const uint8_t *key = p < end ? find_key_data(area, *p) : nullptr;
        to = key != nullptr
                 ? append_keyed_values(ul, to, p + CLUSTER_INDEX_SIZE, end, column_count(piece), {key, end})
                 : nullptr;
    }
    if (to == nullptr)
        return false;
    store_be16(to, MARK_ROW_END);
    set_cache_end(ul, to + MARK_SIZE);
    ul->nrow++;
    return true;
}
