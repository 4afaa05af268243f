// BINARY_FLOAT and BINARY_DOUBLE: IEEE numbers, big-endian, with the bits turned so that they sort as bytes.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

constexpr size_t FLOAT_TEXT_MAX = 40; // room format_binary_*() need at most

// Decode the value at `data` (4 or 8 bytes). False when `size` is not the type's.
bool decode_binary_float(const uint8_t *data, size_t size, float &value);
bool decode_binary_double(const uint8_t *data, size_t size, double &value);

// Write the shortest text that reads back as the same value and return its end; "Infinity", "-Infinity" and
// "NaN" for what is no number.
char *format_float(float value, char *out);
char *format_double(double value, char *out);

} // namespace vexlo
