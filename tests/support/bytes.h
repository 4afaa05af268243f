// Raw bytes as the tests hold them.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace vexlo_test {

using bytes = std::vector<std::uint8_t>;

// The characters of `text` as bytes, without a terminating NUL.
bytes to_bytes(std::string_view text);

// The bytes of hexadecimal digits, between which blanks may stand.
bytes from_hex(std::string_view hex);

// Upper-case hexadecimal digits of `data`, two a byte, nothing between.
std::string to_hex(const bytes &data);

} // namespace vexlo_test
