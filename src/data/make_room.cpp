#include <algorithm>

#include "column.h"
#include "data/dump_file.h"
#include "data/rows.h"
#include "format/stored_value.h"

namespace {

constexpr int PIECE_RESERVE = 4000; // room, besides one block, that a piece of a longer row is given

// Bytes of `n` stored values as dump entries, at most: a one-byte length becomes two bytes, a three-byte one
// as well.
int64_t entries_size(const uint8_t *p, const uint8_t *end, int n) {
    const uint8_t *behind = skip_columns(p, end, n);
    return (behind != nullptr ? behind : end) - p + n;
}

// The same for the values of a piece whose first one may continue another: its length may be FF, which is no
// NULL there, so that it cannot be told where the values end. All bytes up to the end of the block count, and
// the length that a value gets which begins here.
int64_t cut_entries_size(const uint8_t *p, const uint8_t *end, int n) {
    return end - p + n + MARK_SIZE;
}

int64_t key_size(const ULDR *ul, const CLUSTER_KEY &key) {
    const auto keys = std::count_if(ul->cols.begin(), ul->cols.end(), is_cluster_key);
    return entries_size(key.p, key.end, static_cast<int>(keys));
}

// True when the cache has room for the longest row, which is known without looking at the values.
bool has_room_for_any(const ULDR *ul) {
    return ul->clen + longest_row(ul->bsz) <= ul->csz;
}

// Flushes the cache when it has no room for entries of `values` bytes, those of the key and the end mark.
int make_room(ULDR *ul, int64_t values, const CLUSTER_KEY &key) {
    return ul->clen + values + key_size(ul, key) + MARK_SIZE > ul->csz ? write_cache(ul) : 0;
}

} // namespace

int make_room_for_row(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, const CLUSTER_KEY &key) {
    if (ul->clen + ul->bsz > ul->csz)
        return write_cache(ul);
    return has_room_for_any(ul) ? 0 : make_room(ul, entries_size(p, end, cc), key);
}

int make_room_for_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, const CLUSTER_KEY &key) {
    if (ul->clen + ul->bsz + PIECE_RESERVE > ul->csz)
        return write_cache(ul);
    return has_room_for_any(ul) ? 0 : make_room(ul, cut_entries_size(p, end, cc), key);
}
