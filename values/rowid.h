// ROWID and UROWID: the addresses of rows.
//
// A ROWID is the data object (4 bytes), the block address (4 bytes: 10 bits of file, 22 of block) and the row
// (2 bytes); the restricted one of six bytes lacks the object. A UROWID that is an address of this kind
// starts with the byte 1 and has file (2 bytes) and block (4 bytes) apart.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

constexpr size_t ROWID_TEXT_MAX = 24; // room the functions below need at most

// Writes the address in a ROWID as Oracle shows it (AAAR3sAAEAAAACXAAA; 00000097.0000.0004 for a restricted
// one) and returns the end, or null when the bytes are none.
char *format_rowid(const uint8_t *data, size_t size, char *out);
// The same of a UROWID, which can also be the key of a row in an index and as long as a ROWID then.
char *format_urowid(const uint8_t *data, size_t size, char *out);

} // namespace vexlo
