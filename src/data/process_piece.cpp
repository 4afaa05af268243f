#include "data/put_columns.h"

PIECE_RESULT process_one_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc,
                               const CLUSTER_KEY &key) {
    return put_columns<true>(ul, p, end, &cc, key) != nullptr ? PIECE_RESULT::taken : PIECE_RESULT::damaged;
}
