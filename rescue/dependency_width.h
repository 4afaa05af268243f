// The width of the SCN that head pieces carry in tables with row dependencies.
#pragma once

#include <cstdint>

#include "format/block.h"

namespace vexlo {

constexpr uint32_t DEPENDENCY_NARROW = 6;
constexpr uint32_t DEPENDENCY_WIDE = 8; // databases of a compatibility version from 12.2 on

// The width under which the rows of the block can be read: each ends where another one begins, or in front of
// it. Where both widths do as well, the one of the compatibility version. With `may_be_none` it is 0 unless a
// width does better.
uint32_t find_dependency_width(const ROW_AREA &area, uint32_t tabn, uint32_t compatibility, bool may_be_none);

} // namespace vexlo
