// Fractions of a second in microseconds, for targets that have no finer ones.
#pragma once

#include <cstdint>

namespace vexlo {

constexpr uint32_t NANOS_PER_MICRO = 1000, MICROS_PER_SECOND = 1000000;

// The microseconds next to `nanos`, an even number of two that are as near: MICROS_PER_SECOND when that is
// the next second.
constexpr uint32_t rounded_micros(uint32_t nanos) {
    const uint32_t micros = nanos / NANOS_PER_MICRO, rest = nanos % NANOS_PER_MICRO;
    return micros + (2 * rest > NANOS_PER_MICRO || (2 * rest == NANOS_PER_MICRO && micros % 2 != 0));
}

} // namespace vexlo
