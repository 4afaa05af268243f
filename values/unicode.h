// Facts of Unicode that several decoders of text share.
#pragma once

#include <cstdint>
#include <string_view>

namespace vexlo {

// U+FFFD in UTF-8: what stands for a character that is not valid.
constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

constexpr bool is_high_surrogate(uint32_t unit) {
    return (unit & 0xFC00) == 0xD800;
}

constexpr bool is_low_surrogate(uint32_t unit) {
    return (unit & 0xFC00) == 0xDC00;
}

} // namespace vexlo
