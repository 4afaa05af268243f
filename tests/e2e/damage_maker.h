// Damage to the files of a database, chosen by a number: the same number does the same damage.
#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>

#include "bytes.h"

namespace vexlo_test {

class damage_maker {
public:
    explicit damage_maker(std::uint64_t seed) : random_(seed) {}

    // Does one piece of damage to `file`, which consists of blocks of `unit` bytes, and returns what it was.
    // Everything before the block `first` is left alone.
    std::string damage(bytes &file, std::size_t unit, std::size_t first);

    // A number below `bound`.
    std::size_t below(std::size_t bound);

private:
    std::size_t block_of(const bytes &file, std::size_t unit, std::size_t first);
    std::string flip_bits(bytes &file, std::size_t at, std::size_t unit);
    std::string store_number(bytes &file, std::size_t at, std::size_t unit);
    std::string break_headers(bytes &file, std::size_t at);

    std::mt19937_64 random_;
};

} // namespace vexlo_test
