// Whole numbers of the dictionary.
#pragma once

#include <cstdint>

// The integer that the `len` bytes of an Oracle NUMBER at `p` stand for. Digits behind the decimal point are
// appended as further digits, values beyond 32 bits wrap. Zero or more for what it decodes; -1 for negative
// numbers, for numbers below 1 and for a value of no bytes.
int ora_number_to_int(const uint8_t *p, int len);

// The same for numbers of any sign and 64 bits: what stands behind the decimal point is cut off, a value
// beyond the range becomes the nearest that fits. 0 for a value of no bytes and for bytes that are no
// NUMBER.
int64_t ora_number_to_int64(const uint8_t *p, int len);
