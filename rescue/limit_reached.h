// Limits that the rows of a segment share.
#pragma once

#include <cstdint>

namespace vexlo {

// Thrown when the rows of a segment have together reached a limit while several threads read them: which rows
// lie behind it depends on who came first, so that they have to be read again in their order.
struct LimitReached {};

// How the rows that share a limit are read.
enum class RowOrder : uint8_t { kept, any };

} // namespace vexlo
