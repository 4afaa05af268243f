#include <algorithm>

#include "console.h"
#include "data/lob_value.h"

// Adds the bytes of `value` to the locator, as many as fit.
static void add_locator(LOBD *lob, const VALUE &value) {
    const uint32_t len = std::min(value.len, LOB_DATA_SIZE - lob->len);
    memcpy(lob->ldata + lob->len, value.data, len);
    lob->len += len;
}

void save_lob(ULDR *ul, uint32_t cid, const VALUE &value) {
    if (ul->lcc >= ul->lob_room)
        return;
    LOBD *lob = &ul->lobc[ul->lcc];
    lob->cid = cid;
    lob->len = 0;
    add_locator(lob, value);
}

void continue_lob(ULDR *ul, const VALUE &value) {
    if (ul->lcc < ul->lob_room)
        add_locator(&ul->lobc[ul->lcc], value);
}

int process_lob(ULDR *) {
    report("LOB type is unsupported in this edition.\n");
    return -1;
}
