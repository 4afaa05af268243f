#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console.h"
#include "data/dump_file.h"
#include "file_io.h"

int write_blank(int fd, int64_t n) {
    static constexpr char zeros[1024] = {};
    for (; n > 0; n -= sizeof zeros) {
        if (write_all(fd, zeros, static_cast<size_t>(std::min<int64_t>(n, sizeof zeros))) < 0) {
            report("write blank data error: %s\n", strerror(errno));
            return -1;
        }
    }
    return 0;
}
