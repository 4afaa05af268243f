// LOB values: their locators are gathered, and a row that has one ends the table.
#pragma once

#include "data/uldr.h"
#include "format/stored_value.h"

constexpr int LOB_BUFFER_SIZE = 32768;
constexpr uint32_t LOB_DATA_SIZE = 4088;

// The locator bytes of one LOB value met in a row. They are gathered and never written.
struct LOBD {
    uint32_t cid;
    uint32_t len;
    uint8_t ldata[LOB_DATA_SIZE];
};
static_assert(sizeof(LOBD) == 4096);

// Keeps the locator bytes of a value of LOB column `cid` as LOBD number `lcc`, as far as there is room for
// it.
void save_lob(ULDR *ul, uint32_t cid, const VALUE &value);

// Keeps further locator bytes of the value that LOBD number `lcc` holds.
void continue_lob(ULDR *ul, const VALUE &value);

// Says that the value of LOBD number `lcc` is whole, and turns to the next one.
inline void end_lob(ULDR *ul) {
    ul->lcc++;
    ul->lob_begun = false;
}

// Says that LOB values are not unloaded; returns -1.
int process_lob(ULDR *ul);
