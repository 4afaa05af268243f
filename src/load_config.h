#pragma once

// Reads the configuration file g_cfgname into g_ctx.par and g_dbfile_list. Returns 0, or -1 after
// "open %s: %s\n", "read %s: %s\n" or "parameter format error: %s\n".
int load_config();
