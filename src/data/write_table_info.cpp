#include <cerrno>
#include <cstring>

#include "console.h"
#include "data/dump_file.h"
#include "file_io.h"
#include "format/byte_order.h"

int write_tab_info(ULDR *ul) {
    const size_t count = static_cast<size_t>(ul->ntab);
    for (TAB_INFO &info : std::span(ul->tinf, count)) {
        info.flag = to_be32(info.flag);
        info.ncol = to_be32(info.ncol);
        info.nlob = to_be32(info.nlob);
        info.nrows = to_be32(info.nrows);
        info.offset = to_be64(info.offset);
    }
    if (pwrite_all(ul->fd, ul->tinf, count * sizeof(TAB_INFO), HEAD_SPACE) == 0)
        return 0;
    report("write table information: %s\n", strerror(errno));
    return -1;
}
