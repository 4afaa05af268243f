// The source of all that random databases choose: one seed, the same choices on every platform.
#pragma once

#include <cstdint>
#include <iterator>
#include <random>

namespace sample {

class RandomSource {
public:
    explicit RandomSource(uint32_t seed) : engine_(seed) {}

    // A number of 0 .. n - 1; n at least 1.
    uint32_t below(uint32_t n) { return static_cast<uint32_t>(engine_() % n); }

    // A number of first .. last.
    int between(int first, int last) {
        return first + static_cast<int>(below(static_cast<uint32_t>(last - first) + 1));
    }

    // True in that many of a hundred calls.
    bool chance(uint32_t percent) { return below(100) < percent; }

    // One of the items, which must not be empty.
    template <class Items>
    const auto &pick(const Items &items) {
        return items[below(static_cast<uint32_t>(std::size(items)))];
    }

private:
    std::mt19937_64 engine_; // its output is fixed by the standard; that of the distributions is not
};

} // namespace sample
