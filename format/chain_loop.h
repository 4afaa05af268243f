// Chains that come back to themselves.
#pragma once

#include <cstdint>
#include <optional>

// The number of different links, from `first` on, of a chain that comes back to one of its own; 0 for a
// chain that ends. `step(link)` is the link behind one, nothing behind the last. Takes constant memory and
// at most a few steps a link: a mark that moves on at doubling distances meets the round, whose length then
// tells where it begins.
template <class LINK, class STEP>
uint64_t count_looping_links(LINK first, STEP &&step) {
    LINK mark = first;
    uint64_t length = 1, stride = 1;
    std::optional<LINK> at = step(first);
    for (; at && *at != mark; length++, at = step(*at)) {
        if (length == stride) {
            mark = *at;
            stride *= 2;
            length = 0;
        }
    }
    at = at ? std::optional(first) : std::nullopt;
    for (uint64_t i = 0; at && i < length; i++)
        at = step(*at);
    std::optional<LINK> behind = first;
    for (; at && behind && *at != *behind; length++) {
        at = step(*at);
        behind = step(*behind);
    }
    return at && behind ? length : 0;
}
