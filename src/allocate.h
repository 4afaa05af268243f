// Heap memory that may be short.
#pragma once

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "console.h"

// A heap block for `count` records, which free releases; one for no records is a block too. Null after
// "allocate memory %d bytes error: %s\n".
template <class REC>
REC *allocate(size_t count) {
    const size_t bytes = count * sizeof(REC);
    void *block = malloc(bytes > 0 ? bytes : 1);
    if (block == nullptr)
        report("allocate memory %d bytes error: %s\n", static_cast<int>(bytes), strerror(errno));
    return static_cast<REC *>(block);
}
