#include "read_budget.h"

#include <unistd.h>

namespace {

constexpr uint64_t NO_LIMIT = UINT64_MAX;

// By seeking, because block devices have no size of their own. Blocks are read with positions given, never
// from here.
uint64_t file_size(const DATAFILE &df) {
    const off_t size = lseek(df.fd, 0, SEEK_END);
    return size > 0 ? static_cast<uint64_t>(size) : NO_LIMIT;
}

uint64_t all_sizes() {
    uint64_t sum = 0;
    for (uint32_t i = 0; i < g_ctx.sys.nf; i++) {
        const uint64_t size = file_size(g_ctx.df[i]);
        if (size == NO_LIMIT)
            return NO_LIMIT;
        sum += size;
    }
    return sum;
}

} // namespace

READ_BUDGET begin_budget(const DATAFILE *df) {
    return {0, df != nullptr ? file_size(*df) : 0, false};
}

bool spend(READ_BUDGET *budget, uint64_t bytes) {
    budget->taken += bytes;
    if (budget->taken > budget->granted && !budget->all_asked) {
        budget->granted = all_sizes();
        budget->all_asked = true;
    }
    return budget->taken <= budget->granted;
}
