#include "vexlo.h"

ZUKCTX g_ctx;
char g_cfgname[DIR_SIZE];
char g_dbfile_list[DIR_SIZE];
