// Column values in Oracle's internal formats.
#pragma once

#include <cstdint>

/// The integer that the `len` bytes of an Oracle NUMBER at `p` stand for. Digits behind the decimal point are
/// appended as further digits, values beyond 32 bits wrap. Zero or more for what it decodes; -1 for negative
/// numbers, for numbers below 1 and for a value of no bytes.
int ora_number_to_int(const uint8_t *p, int len);

/// The type text of a column with the given COL.flag, COL.ctyp and COL.clen. The text lives in one static
/// buffer until the next call.
char *type_string(int flag, int ctyp, int clen);

/// The position behind `ncol` encoded column values at `p`, or null when one of them leaves [p, end). With
/// `ncol` of 0 or less `p` itself.
const uint8_t *skip_columns(const uint8_t *p, const uint8_t *end, int32_t ncol);
