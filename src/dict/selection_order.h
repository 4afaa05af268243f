// The order in which a selection sort with exchanges leaves an array, without its quadratic search.
#pragma once

#include <algorithm>
#include <cstdint>
#include <numeric>

// 32-bit words of scratch memory that selection_order needs for n records.
constexpr int64_t selection_scratch(int64_t n) {
    return 2 * n;
}

// State of the ordering: every record belongs to the group of the records with its key. `place` lists, group
// by group in key order, the array positions of the group's records, as a heap with the smallest position on
// top; `group` holds, for the record that stands at a position, where its group begins in `place`.
struct SELECTION {
    uint32_t *place;
    uint32_t *group;
    uint32_t n;
};

// Puts position `p` into the heap of `len` places from `first` on, from its top down.
inline void sift_place(const SELECTION &s, uint32_t first, uint32_t len, uint32_t p) {
    uint32_t hole = 0;
    for (uint32_t child = 1; child < len; child = 2 * hole + 1) {
        if (child + 1 < len && s.place[first + child + 1] < s.place[first + child])
            child++;
        if (s.place[first + child] > p)
            break;
        s.place[first + hole] = s.place[first + child];
        hole = child;
    }
    s.place[first + hole] = p;
}

// Number of places of the group that begins at `first`, none of them taken yet. Behind it other groups
// follow, so that its end can be found by doubling and halving.
inline uint32_t group_length(const SELECTION &s, uint32_t first) {
    const auto inside = [&](uint32_t len) {
        return first + len < s.n && s.group[s.place[first + len]] == first;
    };
    uint32_t step = 1;
    while (inside(step))
        step *= 2;
    uint32_t len = step / 2; // the last place known to be inside
    for (step /= 2; step > 0; step /= 2)
        if (inside(len + step))
            len += step;
    return len + 1;
}

// Lists the positions of the records in `list`, by key and, for equal keys, by position. A radix sort, whose
// passes keep what is equal in order; digits in which no two keys differ cost nothing. `other` is scratch as
// long as `list`.
template <class REC, class KEY>
void list_by_key(const REC *rec, uint32_t n, KEY key, uint32_t *list, uint32_t *other) {
    constexpr int DIGIT = 11; // bits
    constexpr uint64_t MASK = (1 << DIGIT) - 1;
    uint64_t varying = 0;
    for (uint32_t i = 1; i < n; i++)
        varying |= key(rec[i]) ^ key(rec[0]);

    std::iota(list, list + n, 0U);
    uint32_t *from = list, *to = other;
    for (int shift = 0; shift < 64; shift += DIGIT) {
        if ((varying >> shift & MASK) == 0)
            continue;
        uint32_t next[MASK + 1] = {}; // number of keys with each digit, then where the next one of them goes
        const auto digit = [&](uint32_t position) { return key(rec[position]) >> shift & MASK; };
        for (uint32_t i = 0; i < n; i++)
            next[digit(i)]++;
        std::exclusive_scan(next, next + MASK + 1, next, 0U);
        for (uint32_t i = 0; i < n; i++)
            to[next[digit(from[i])]++] = from[i];
        std::swap(from, to);
    }
    if (from != list)
        std::copy_n(from, n, list);
}

// Sorts `rec` by `key` (a function from record to uint64_t) into exactly the order that this procedure
// leaves: for each position from the first on, find the first record with the smallest key among those not
// yet placed and exchange it with the record at the position. Records with equal keys may change their order
// by that: the displaced record goes where the smallest stood, and its later turn depends on that place.
// `scratch` holds selection_scratch(n) words.
//
// The search is replaced by the heaps of SELECTION: the record wanted is on top of its group's heap, and the
// record displaced is on top of its own, because its position is the smallest of all not yet placed.
template <class REC, class KEY>
void selection_order(REC *rec, uint32_t n, KEY key, uint32_t *scratch) {
    const auto before = [&](const REC &a, const REC &b) { return key(a) < key(b); };
    if (std::is_sorted(rec, rec + n, before))
        return;

    const SELECTION s{scratch, scratch + n, n};
    list_by_key(rec, n, key, s.place, s.group);
    for (uint32_t i = 0, first = 0; i < n; i++) {
        if (key(rec[s.place[i]]) != key(rec[s.place[first]]))
            first = i;
        s.group[s.place[i]] = first;
    }

    uint32_t left = 0; // places of the current group still to be taken
    for (uint32_t i = 0, first = 0; i < n; i++, left--) {
        if (left == 0) {
            first = i;
            left = group_length(s, first);
        }
        const uint32_t smallest = s.place[first];
        const uint32_t displaced = s.group[i];
        sift_place(s, first, left - 1, s.place[first + left - 1]);
        if (smallest == i)
            continue;
        std::swap(rec[i], rec[smallest]);
        s.group[smallest] = displaced;
        sift_place(s, displaced, group_length(s, displaced), smallest);
    }
}
