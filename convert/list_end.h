// Where a column list ends whose last entries are damaged: the rows tell.
#pragma once

#include <cstdint>
#include <string>

#include "convert/salvage.h"

namespace vexlo {

// Adds to the list in the file `fd` the damaged entries behind it, up to where rows of its table begin that
// have entries for them. Its section ends at the file offset `end`; `path` is for messages. Nothing is added
// when rows begin right behind it, or nowhere. Throws InputError when the file cannot be read.
void add_damaged_end(int fd, const std::string &path, uint64_t end, FoundList &list);

} // namespace vexlo
