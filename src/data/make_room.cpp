#include "data/entry.h"
#include "format/stored_value.h"
#include "value.h"

#include <algorithm>

namespace {

// Bytes of `n` stored values as dump entries, at most: a one-byte length becomes two bytes, a three-byte one
// as well.
int64_t entries_size(const uint8_t *p, const uint8_t *end, int n) {
    const uint8_t *behind = skip_columns(p, end, n);
    return (behind != nullptr ? behind : end) - p + n;
}

int64_t key_size(const ULDR *ul, const CLUSTER_KEY &key) {
    const auto keys = std::count_if(ul->cols.begin(), ul->cols.end(), is_cluster_key);
    return entries_size(key.p, key.end, static_cast<int>(keys));
}

} // namespace

int make_room(ULDR *ul, int reserve, const uint8_t *p, const uint8_t *end, int cc, const CLUSTER_KEY &key) {
    if (ul->clen + ul->bsz + reserve > ul->csz)
        return write_cache(ul);
    if (ul->clen + longest_row(ul->bsz) <= ul->csz)
        return 0;
    // Of a row in pieces the cut values count whole, whatever their first byte.
    const int64_t values = reserve == 0 ? entries_size(p, end, cc) : end - p + cc + MARK_SIZE;
    const int64_t wanted = values + key_size(ul, key) + MARK_SIZE;
    return ul->clen + wanted > ul->csz ? write_cache(ul) : 0;
}
