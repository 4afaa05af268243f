// The values that ECOL$ keeps for rows older than their column.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

#include "rescue/lob_reader.h"

namespace vexlo {

// Reads the BLOB with this locator, whose data is a value as its column stores it. Nothing when it is not
// whole or longer than any value. `segment` is that of the BLOB's column.
std::optional<std::vector<uint8_t>> read_default_value(std::string_view locator, LobReader &reader,
                                                       const LobSegment &segment);

} // namespace vexlo
