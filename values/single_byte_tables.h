// The built-in data of single-byte character sets, as the C library's iconv reads them. A build without
// shared libraries cannot load iconv's own.
#pragma once

#include <array>
#include <span>
#include <string_view>

namespace vexlo {

// The characters of 128 bytes; U+FFFD where a byte is none.
using SingleByteHalf = std::array<char16_t, 128>;

// A letter and a mark behind it that read as one character.
struct Composition {
    char16_t letter, mark, character;
};

struct SingleByteSource {
    std::string_view iconv; // iconv's name of the set
    const SingleByteHalf &low, &high;
    std::span<const Composition> compositions; // by letter, then mark; of most sets none
};

// Every set, in the order of the names.
std::span<const SingleByteSource> single_byte_sources();

} // namespace vexlo
