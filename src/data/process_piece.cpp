#include "data/entry.h"

#include <algorithm>

namespace {

constexpr int SHORT_VALUE = 32; // values up to this are copied with a fixed number of bytes

// Appends the entries of `n` values of ordinary columns. Short values, which most are, are copied by a fixed
// number of bytes where block and cache have them; what lies behind the value is overwritten by the next
// entry.
int put_ordinary(ULDR *ul, const uint8_t *p, const uint8_t *end, int n) {
    uint8_t *to = ul->cache + ul->clen;
    const uint8_t *last = ul->cache + ul->csz - (MARK_SIZE + SHORT_VALUE);
    for (; n > 0; n--) {
        if (end - p > SHORT_VALUE && to <= last && *p <= SHORT_VALUE) {
            const uint32_t len = *p;
            store_be16(to, static_cast<uint16_t>(len));
            memcpy(to + MARK_SIZE, p + 1, SHORT_VALUE);
            to += MARK_SIZE + len;
            p += 1 + len;
            continue;
        }
        VALUE value;
        if (!next_value(p, end, &value))
            return ROW_DAMAGED;
        ul->clen = static_cast<int32_t>(to - ul->cache);
        put_value(ul, value);
        to = ul->cache + ul->clen;
    }
    ul->clen = static_cast<int32_t>(to - ul->cache);
    return 0;
}

} // namespace

int process_one_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, const CLUSTER_KEY &key) {
    if (ul->ordinary)
        return put_ordinary(ul, p, end, std::min(cc, static_cast<int>(ul->cols.size())));
    return put_columns<true>(ul, p, end, &cc, key) != nullptr ? 0 : ROW_DAMAGED;
}
