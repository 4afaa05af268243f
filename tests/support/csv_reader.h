// Reader of CSV as RFC 4180 has it, with the one addition that an empty field without quotes is NULL.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexlo_test {

using csv_row = std::vector<std::optional<std::string>>;

// All records, the header among them; lines end with LF or CR LF, the last one too. Throws
// std::invalid_argument, naming the offset, on anything else.
std::vector<csv_row> parse_csv(std::string_view text);

} // namespace vexlo_test
