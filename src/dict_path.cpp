#include "dict_path.h"

#include <cstdio>

void dict_path(char (&path)[PATH_SIZE], const char *name) {
    snprintf(path, sizeof path, "%s/%s.dat", g_ctx.par.dict_dir, name);
}
