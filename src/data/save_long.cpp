#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "console.h"
#include "create_file.h"
#include "data/long_value.h"
#include "file_io.h"

namespace {

int open_long(ULDR *ul) {
    char path[PATH_SIZE];
    snprintf(path, sizeof path, "%s/long_tmp.dat", g_ctx.par.data_dir);
    // Write-only on purpose: a value that needs the file cannot be read back, and its table ends there.
    ul->lfd = create_file(path, ul->fd);
    if (ul->lfd != -1)
        return 0;
    report("open %s: %s\n", path, strerror(errno));
    return -1;
}

// Moves what lbuf holds to the temporary file.
int spill_long(ULDR *ul) {
    if (ul->lfd == -1 && open_long(ul) < 0)
        return -1;
    const int result = write_all(ul->lfd, ul->lbuf, static_cast<size_t>(ul->lsz));
    ul->lsz = 0;
    if (result == 0)
        return 0;
    report("write long data error: %s\n", strerror(errno));
    close_long(ul);
    return -1;
}

} // namespace

int save_long(ULDR *ul, const uint8_t *data, uint32_t len, bool flush) {
    if ((flush || static_cast<uint32_t>(ul->lsz) + len > LONG_SIZE) && spill_long(ul) < 0)
        return -1;
    if (flush)
        return 0;
    memcpy(ul->lbuf + ul->lsz, data, len);
    ul->lsz += static_cast<int32_t>(len);
    return 0;
}

void close_long(ULDR *ul) {
    if (ul->lfd != -1)
        close(ul->lfd);
    ul->lfd = -1;
}
