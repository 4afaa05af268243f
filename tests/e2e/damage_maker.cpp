#include "damage_maker.h"

#include <algorithm>
#include <iterator>

namespace vexlo_test {

namespace {

// Where a block keeps what leads elsewhere: type, ITL count and flags, table and row directory without
// further areas, the extent maps of both kinds of segment header and of map blocks.
constexpr std::size_t HEADER_FIELDS[] = {0, 36, 38, 92, 93, 96, 97, 98, 110, 112, 20, 24, 264, 268, 280, 284};

// Numbers at which counts, offsets and addresses go wrong.
constexpr std::uint32_t NUMBERS[] = {0,      1,        0x7F,       0xFF,       0x7FFF,    0x8000,
                                     0xFFFF, 0x3FFFFF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

void store(bytes &file, std::size_t at, std::uint32_t number, std::size_t width) {
    for (std::size_t i = 0; i < width && at + i < file.size(); i++)
        file[at + i] = static_cast<std::uint8_t>(number >> 8 * i);
}

std::string in_block(const char *what, std::size_t at, std::size_t unit) {
    return std::string(what) + " in block " + std::to_string(at / unit);
}

} // namespace

std::size_t damage_maker::below(std::size_t bound) {
    return std::uniform_int_distribution<std::size_t>(0, bound - 1)(random_);
}

std::size_t damage_maker::block_of(const bytes &file, std::size_t unit, std::size_t first) {
    return (first + below(file.size() / unit - first)) * unit;
}

std::string damage_maker::flip_bits(bytes &file, std::size_t at, std::size_t unit) {
    for (std::size_t n = 1 + below(16); n > 0; n--)
        file[at + below(unit)] ^= static_cast<std::uint8_t>(1U << below(8));
    return in_block("bits", at, unit);
}

std::string damage_maker::store_number(bytes &file, std::size_t at, std::size_t unit) {
    store(file, at + below(unit), NUMBERS[below(std::size(NUMBERS))], std::size_t{1} << below(3));
    return in_block("number", at, unit);
}

std::string damage_maker::break_headers(bytes &file, std::size_t at) {
    const std::size_t field = HEADER_FIELDS[below(std::size(HEADER_FIELDS))];
    store(file, at + field, NUMBERS[below(std::size(NUMBERS))], std::size_t{1} << below(3));
    return "header field " + std::to_string(field) + " at byte " + std::to_string(at);
}

std::string damage_maker::damage(bytes &file, std::size_t unit, std::size_t first) {
    if (file.size() / unit <= first)
        return "nothing";
    const std::size_t at = block_of(file, unit, first), other = block_of(file, unit, first);
    const auto begin = file.begin() + static_cast<std::ptrdiff_t>(at);
    const auto end = begin + static_cast<std::ptrdiff_t>(unit);
    const auto second = file.begin() + static_cast<std::ptrdiff_t>(other);
    switch (below(10)) {
    case 0:
        std::fill(begin, end, std::uint8_t{0});
        return in_block("zeros", at, unit);
    case 1:
        std::generate(begin + 1, end, [&] { return static_cast<std::uint8_t>(below(256)); });
        return in_block("noise", at, unit);
    case 2:
        if (at != other)
            std::swap_ranges(begin, end, second);
        return in_block("exchange", at, unit) + " with " + std::to_string(other / unit);
    case 3:
        if (at != other)
            std::copy(begin, end, second);
        return in_block("copy", other, unit) + " of " + std::to_string(at / unit);
    case 4:
        file.resize(at + below(unit));
        return in_block("end", at, unit);
    case 5:
    case 6:
        return flip_bits(file, at, unit);
    case 7:
        return store_number(file, at, unit);
    default:
        return break_headers(file, at);
    }
}

} // namespace vexlo_test
