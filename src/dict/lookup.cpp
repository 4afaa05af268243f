#include "dict/lookup.h"

#include "dict/sort_dict.h"

// The halving is fixed (the middle rounds down) because it decides which of several equal records is found.
template <class REC, class KEY>
static int lookup(const DICT_TABLE<REC> &table, KEY key, uint64_t wanted) {
    const std::span<REC> records = loaded(table);
    int low = 0, high = static_cast<int>(records.size()) - 1;
    while (low <= high) {
        const int mid = low + (high - low) / 2;
        const uint64_t found = key(records[static_cast<size_t>(mid)]);
        if (found == wanted)
            return mid;
        if (found > wanted)
            high = mid - 1;
        else
            low = mid + 1;
    }
    return -1;
}

int lookup_user(uint32_t uid) {
    return lookup(
        USER_TABLE, [](const USER &r) { return uint64_t{r.uid}; }, uid);
}

int lookup_obj(uint32_t objn) {
    return lookup(
        OBJ_TABLE, [](const OBJ &r) { return uint64_t{r.objn}; }, objn);
}

int lookup_tab(uint32_t objn) {
    return lookup(
        TAB_TABLE, [](const TAB &r) { return uint64_t{r.objn}; }, objn);
}

int lookup_lob_index(uint32_t objn) {
    return lookup(
        IND_TABLE, [](const LOBIDX &r) { return uint64_t{r.objn}; }, objn);
}

int lookup_lob(uint32_t objn, uint32_t cid) {
    return lookup(
        LOB_TABLE, [](const LOB &r) { return pair_key(r.objp, r.cid); }, pair_key(objn, cid));
}
