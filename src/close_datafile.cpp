#include <unistd.h>

#include "datafile.h"

int close_datafile() {
    for (uint32_t i = 0; i < g_ctx.sys.nf; i++) {
        DATAFILE &df = g_ctx.df[i];
        if (df.fd != -1)
            close(df.fd);
        df.fd = -1;
    }
    return 0;
}
