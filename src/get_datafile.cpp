#include "datafile.h"

namespace {

bool holds(const DATAFILE &df, uint32_t tsn, uint32_t rfn) {
    return df.tsn == tsn && ((df.flag & DF_BIGFILE) != 0 || df.rfn == rfn);
}

// Extents and row pieces ask for the same file again and again, and a large database lists thousands.
bool still_right(uint32_t tsn, uint32_t rfn) {
    return g_ctx.last_df.tsn == tsn && g_ctx.last_df.rfn == rfn && g_ctx.last_df.index < g_ctx.sys.nf &&
           holds(g_ctx.df[g_ctx.last_df.index], tsn, rfn);
}

} // namespace

DATAFILE *get_datafile(uint32_t tsn, uint32_t rfn) {
    if (still_right(tsn, rfn))
        return &g_ctx.df[g_ctx.last_df.index];
    for (uint32_t i = 0; i < g_ctx.sys.nf; i++) {
        if (holds(g_ctx.df[i], tsn, rfn)) {
            g_ctx.last_df = {tsn, rfn, i};
            return &g_ctx.df[i];
        }
    }
    return nullptr;
}
