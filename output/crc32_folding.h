// CRC-32 by carry-less multiplication, where the processor has it: several times as fast as tables.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

// Of the CRC, reflected and without its highest power.
constexpr uint32_t CRC32_POLYNOMIAL = 0xEDB88320;

// Bytes that fold_crc32() takes at least.
constexpr size_t FOLDED_LEAST = 64;

// Whether this processor can fold.
bool can_fold_crc32();

// Takes the first bytes of `data`, of which there are at least FOLDED_LEAST, all but fewer than 16 at their
// end, and returns how many. `rest` becomes 16 bytes whose CRC, begun with a state of 0, is the state behind
// them; `state` is that in front of them.
size_t fold_crc32(const uint8_t *data, size_t size, uint32_t state, uint8_t (&rest)[16]);

} // namespace vexlo
