#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console.h"
#include "data/dump_file.h"
#include "file_io.h"

// One write call ends at the next multiple of this in the file. File systems that back a long write with
// large pages of their cache spend two or three times the copying on finding them.
static constexpr size_t WRITE_SIZE = 65536;

int write_cache_error() {
    report("write cache data error: %s\n", strerror(errno));
    return -1;
}

int write_cache(ULDR *ul) {
    const size_t len = static_cast<size_t>(ul->clen);
    for (size_t at = 0, part; at < len; at += part) {
        part = std::min(len - at, WRITE_SIZE - (ul->data_ofs + at) % WRITE_SIZE);
        if (pwrite_all(ul->fd, ul->cache + at, part, ul->data_ofs + at) < 0)
            return write_cache_error();
    }
    ul->data_ofs += len;
    ul->clen = 0;
    return 0;
}
