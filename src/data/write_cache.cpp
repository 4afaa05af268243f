#include "console.h"
#include "data/uldr.h"
#include "file_io.h"

#include <cerrno>
#include <cstring>

int write_cache_error() {
    report("write cache data error: %s\n", strerror(errno));
    return -1;
}

int write_cache(ULDR *ul) {
    const size_t len = static_cast<size_t>(ul->clen);
    if (pwrite_all(ul->fd, ul->cache, len, ul->data_ofs) < 0)
        return write_cache_error();
    ul->data_ofs += len;
    ul->clen = 0;
    return 0;
}
