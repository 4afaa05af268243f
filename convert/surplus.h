// Rows with more entries than their table has columns: a stored column that the column list leaves out has
// its values in the rows all the same.
#pragma once

#include <optional>
#include <string>

#include "convert/dump_file.h"

namespace vexlo {

// Looks at rows of the table in the file `fd`. When they have more entries than there are columns, or their
// types say so, finds which entry belongs to which column by the types and lengths of the values, and puts
// that into the table. Where several ways fit, the last entries become columns EXTRA_n. `path` is for
// messages. What cannot be read is not looked at.
void find_surplus(int fd, const std::string &path, TableInfo &table);

// The same for a table in which rows with more entries have been met at the file offset `place`, behind rows
// that seemed to have none. Nothing when the rows there do not speak for it.
std::optional<TableInfo> find_late_surplus(int fd, const std::string &path, const TableInfo &table,
                                           uint64_t place);

// Gives columns without a type, 0, the first type that the values of the first rows are all of.
void infer_types(int fd, const std::string &path, TableInfo &table);

} // namespace vexlo
