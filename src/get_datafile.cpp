#include "datafile.h"

namespace {

bool holds(const DATAFILE &df, uint32_t tsn, uint32_t rfn) {
    return df.tsn == tsn && ((df.flag & DF_BIGFILE) != 0 || df.rfn == rfn);
}

// The last answer, by index. Extents and row pieces ask for the same file again and again, and a large
// database lists thousands.
struct LAST_ANSWER {
    uint32_t tsn;
    uint32_t rfn;
    uint32_t index;
};

LAST_ANSWER last;

bool still_right(uint32_t tsn, uint32_t rfn) {
    return last.tsn == tsn && last.rfn == rfn && last.index < g_ctx.sys.nf &&
           holds(g_ctx.df[last.index], tsn, rfn);
}

} // namespace

DATAFILE *get_datafile(uint32_t tsn, uint32_t rfn) {
    if (still_right(tsn, rfn))
        return &g_ctx.df[last.index];
    for (uint32_t i = 0; i < g_ctx.sys.nf; i++) {
        if (holds(g_ctx.df[i], tsn, rfn)) {
            last = {tsn, rfn, i};
            return &g_ctx.df[i];
        }
    }
    return nullptr;
}
