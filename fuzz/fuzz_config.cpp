// The configuration file and the datafile list. Input: the text of the one, a NUL, the text of the other.
#include <algorithm>
#include <cstdio>
#include <cstring>

#include "datafile.h"
#include "harness.h"
#include "load_config.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::MemoryFile config, list;
    const uint8_t *end = std::find(data, data + size, uint8_t{0});
    config.assign({data, end});
    list.assign({end, data + size});

    const fuzz::Run run;
    snprintf(g_cfgname, DIR_SIZE, "%s", config.path().c_str());
    load_config();
    for (const char *text : {g_ctx.par.dict_dir, g_ctx.par.data_dir, g_dbfile_list})
        fuzz::require(memchr(text, '\0', DIR_SIZE) != nullptr, "configured path without an end");
    // Whatever file the configuration names, this is the one to be read.
    snprintf(g_dbfile_list, DIR_SIZE, "%s", list.path().c_str());
    if (load_datafile() == 0)
        fuzz::require(g_ctx.df != nullptr, "no catalogue");
    close_datafile();
    return 0;
}
