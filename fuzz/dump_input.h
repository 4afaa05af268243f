// Dump files that are in memory alone, and the reading of all their tables.
#pragma once

#include <cstddef>
#include <cstdint>

#include "convert/dump_file.h"
#include "values/errors.h"

namespace fuzz {

// A file without a name that holds the `size` bytes at `data`.
vexlo::FileHandle memory_dump(const uint8_t *data, size_t size);

// Reads every table that can be read to its end and decodes all its values. Rows that do not come in the
// order of their offsets are a finding.
void decode_tables(const vexlo::DumpFile &dump);

} // namespace fuzz
