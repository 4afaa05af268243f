#include <cerrno>
#include <cstring>

#include "console.h"
#include "data/dump_file.h"
#include "file_io.h"
#include "format/byte_order.h"

int write_head(ULDR *ul, HEAD_INFO *head) {
    head->tab_cnt = to_be32(head->tab_cnt);
    if (pwrite_all(ul->fd, head, sizeof *head, 0) == 0)
        return 0;
    report("write file header: %s\n", strerror(errno));
    return -1;
}
