// Character sets of one byte a character, without the C library's iconv.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string_view>

#include "values/single_byte_tables.h"

namespace vexlo {

// Names of character sets are compared without regard to case.
bool same_charset_name(std::string_view a, std::string_view b);

struct SingleByteSet {
    std::array<char16_t, 256> characters; // U+FFFD where a byte is none
    std::span<const Composition>
        compositions; // marks that combine with the letter before them; of most sets none
};

// The set of iconv's name, compared without regard to case; nothing when it is not built in.
std::optional<SingleByteSet> single_byte_set(std::string_view iconv_name);

// The character that letter and mark make, 0 when they stand each for itself. A character so made may take a
// further mark.
char16_t composed(std::span<const Composition> compositions, char16_t letter, char16_t mark);

} // namespace vexlo
