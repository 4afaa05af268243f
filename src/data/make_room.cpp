#include <algorithm>

#include "column.h"
#include "data/dump_file.h"
#include "data/rows.h"
#include "format/row_piece.h"
#include "format/stored_value.h"

namespace {

constexpr int PIECE_RESERVE = 4000; // room, besides one block, that a piece of a longer row is given

// Bytes of `n` stored values as dump entries, at most: a one-byte length becomes two bytes, a three-byte one
// as well.
int64_t entries_size(const uint8_t *p, const uint8_t *end, int n) {
    const uint8_t *behind = skip_columns(p, end, n);
    return (behind != nullptr ? behind : end) - p + n;
}

// The position behind a value that is cut; `end` where its first byte is FF, which is a length or a NULL by
// the column that takes it, and where the value leaves the block.
const uint8_t *behind_cut_value(const uint8_t *p, const uint8_t *end) {
    VALUE value;
    return p < end && *p != 0xFF && next_value(p, end, &value) ? p : end;
}

// As entries_size for the values of a piece with flag byte `fb`, whose first and last one may be cut, and the
// length that a value gets which begins here.
int64_t cut_entries_size(const uint8_t *p, const uint8_t *end, int n, uint8_t fb) {
    const uint8_t *at = p;
    int whole = n;
    if ((fb & ROW_PREVIOUS) != 0 && whole > 0) {
        at = behind_cut_value(at, end);
        whole--;
    }
    const bool continues = (fb & ROW_NEXT) != 0 && whole > 0;
    at = skip_columns(at, end, continues ? whole - 1 : whole);
    if (at != nullptr && continues)
        at = behind_cut_value(at, end);
    return (at != nullptr ? at : end) - p + n + MARK_SIZE;
}

// The entries of the key columns that are still to come.
int64_t key_size(const ULDR *ul, const CLUSTER_KEY &key) {
    const auto begin = ul->cols.begin() + std::min<ptrdiff_t>(ul->curc, std::ssize(ul->cols));
    const auto keys = std::count_if(begin, ul->cols.end(), is_cluster_key);
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

int make_room_for_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, uint8_t fb,
                        const CLUSTER_KEY &key) {
    if (ul->clen + ul->bsz + PIECE_RESERVE > ul->csz)
        return write_cache(ul);
    return has_room_for_any(ul) ? 0 : make_room(ul, cut_entries_size(p, end, cc, fb), key);
}
