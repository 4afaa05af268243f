// Stored values as readable text, for assertions.
#pragma once

#include <cstdint>
#include <string>

#include "bytes.h"
#include "dump_reader.h"

namespace vexlo_test {

// A stored NUMBER as a plain decimal ("-12.5", "0", "1000"), or "~" and "-~" for the infinities. Throws
// std::invalid_argument when the bytes are no NUMBER.
std::string number_text(const bytes &value);

// A stored DATE (7 bytes) as "YYYY-MM-DD HH:MM:SS", the year with a "-" before Christ. Throws
// std::invalid_argument when the bytes are no DATE.
std::string date_text(const bytes &value);

// A stored TIMESTAMP (7 bytes, or 11 with nanoseconds) as date_text and, with 11 bytes, "." and nine digits.
std::string timestamp_text(const bytes &value);

// The bytes as they stand.
std::string char_text(const bytes &value);

// An entry of a column of type `ctyp` in one of the forms above; RAW and types without a form as
// hexadecimal. Entries without a value read "NULL", "<LOB>" and "<LONG>".
std::string entry_text(const dump_entry &entry, std::uint32_t ctyp);

// All columns of the row, separated by "|"; columns without an entry read "NULL".
std::string row_text(const dump_section &section, const dump_row &row);

// row_text of every row of the section.
std::vector<std::string> section_text(const dump_section &section);

// The bytes of the row's LONG value: its chunks joined.
bytes long_value(const dump_row &row);

} // namespace vexlo_test
