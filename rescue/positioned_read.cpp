#include "rescue/positioned_read.h"

#include <unistd.h>

#include <cerrno>

namespace vexlo {

size_t read_fully(int fd, uint8_t *to, size_t size, uint64_t offset, int &error) {
    size_t done = 0;
    error = 0;
    while (done < size) {
        const ssize_t n = pread(fd, to + done, size - done, static_cast<off_t>(offset + done));
        if (n > 0) {
            done += static_cast<size_t>(n);
        } else if (n == 0) {
            break;
        } else if (errno != EINTR) {
            error = errno;
            break;
        }
    }
    return done;
}

} // namespace vexlo
