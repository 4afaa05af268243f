// Finds the tables of a dump without its directory.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "convert/column_list.h"

namespace vexlo {

constexpr size_t DAMAGED_MAX = 4; // entries of a column list, side by side, that are made up for

// A column list somewhere in a file.
struct FoundList {
    uint64_t offset;
    std::vector<ColumnInfo> columns;
    size_t damaged = 0; // entries of these that are no sound ones
};

// The column lists between `begin` and `end` of the file `fd`, in the order of their offsets; `path` is for
// messages. A list is a run of column entries; a few damaged ones belong to it where it must begin before
// them: at `begin`, behind the end mark of a table, or where a list was broken off. Throws InputError when
// the file cannot be read.
std::vector<FoundList> find_column_lists(int fd, const std::string &path, uint64_t begin, uint64_t end);

} // namespace vexlo
