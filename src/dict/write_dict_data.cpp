#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "console.h"
#include "create_file.h"
#include "dict/dict_file.h"
#include "dict_path.h"
#include "file_io.h"

int write_dict_data(const char *name, const void *data, int size) {
    char path[PATH_SIZE];
    dict_path(path, name);
    if (g_ctx.fd == -1)
        g_ctx.fd = create_file(path);
    if (g_ctx.fd == -1) {
        report("open %s: %s\n", path, strerror(errno));
        return -1;
    }
    if (write_all(g_ctx.fd, data, static_cast<size_t>(size)) < 0) {
        report("write %s: %s\n", path, strerror(errno));
        close_dict_file();
        return -1;
    }
    return 0;
}

void close_dict_file() {
    if (g_ctx.fd != -1)
        close(g_ctx.fd);
    g_ctx.fd = -1;
}
