// Binary searches in the loaded arrays, which the sorts have ordered. Each returns the index of a matching
// record, with equal keys of any one of them, or -1.
#pragma once

#include <cstdint>

int lookup_user(uint32_t uid);
int lookup_obj(uint32_t objn);
int lookup_tab(uint32_t objn);
int lookup_lob_index(uint32_t objn);

// Searches by the table's object number `objn` and the column number, although the file is ordered by the
// LOB segment's object number: it finds what it finds where the two orders agree.
int lookup_lob(uint32_t objn, uint32_t cid);
