#include "data/entry.h"

int process_one_piece(ULDR *ul, const uint8_t *p, const uint8_t *end, int cc, const CLUSTER_KEY &key) {
    return put_columns<true>(ul, p, end, &cc, key) != nullptr ? 0 : ROW_DAMAGED;
}
