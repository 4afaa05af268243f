#include "datafile.h"

DATAFILE *get_datafile(uint32_t tsn, uint32_t rfn) {
    for (uint32_t i = 0; i < g_ctx.sys.nf; i++) {
        DATAFILE &df = g_ctx.df[i];
        if (df.tsn == tsn && ((df.flag & DF_BIGFILE) != 0 || df.rfn == rfn))
            return &df;
    }
    return nullptr;
}
