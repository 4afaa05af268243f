// The way of a table's rows from a dump to their output.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "convert/dump_reader.h"
#include "output/format.h"
#include "output/report.h"

namespace vexlo {

// Is told, by one thread at a time, how many rows have been written and up to which file offset.
using RowsProgress = std::function<void(uint64_t rows, uint64_t position)>;

// Formats the rows of `reader` on `threads` threads and gives them to `writer` in their order: neither the
// output nor what is told depends on the number of threads. `decoder` has all their counts afterwards.
// Returns why the file cannot be read to the end of the table, the rows before that place being written;
// otherwise nothing. Throws OutputError, and InputError when the file cannot be read in the middle of a row.
std::string write_rows(DumpReader &reader, CellDecoder &decoder, TableWriter &writer, TableReport &report,
                       size_t threads, const RowsProgress &progress);

// How many threads a table is worth that takes `bytes` in its dump, in rows of up to `row_size`, when
// `tables` of them are converted at the same time: one where it is small or its rows would fill the memory,
// otherwise the processors, as far as they help.
size_t threads_for(uint64_t bytes, uint64_t row_size, size_t tables);

// Whether `tables` tables that are converted at the same time, none of them small, take all processors.
bool take_all_processors(size_t tables);

} // namespace vexlo
