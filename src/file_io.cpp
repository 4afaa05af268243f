#include "file_io.h"

#include <unistd.h>

#include <cerrno>

// Calls transfer(done) until `len` bytes are through, it delivers nothing, or it fails. Returns the bytes
// transferred, or -1 with errno set.
template <class TRANSFER>
static ssize_t transfer_all(size_t len, TRANSFER &&transfer) {
    size_t done = 0;
    while (done < len) {
        const ssize_t n = transfer(done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return -1;
        if (n == 0)
            break;
        done += static_cast<size_t>(n);
    }
    return static_cast<ssize_t>(done);
}

// A write that takes nothing would be repeated for ever.
static int written_whole(ssize_t n, size_t len) {
    if (n >= 0 && static_cast<size_t>(n) < len)
        errno = EIO;
    return n == static_cast<ssize_t>(len) ? 0 : -1;
}

int write_all(int fd, const void *data, size_t len) {
    const char *from = static_cast<const char *>(data);
    return written_whole(transfer_all(len, [&](size_t done) { return write(fd, from + done, len - done); }),
                         len);
}

int pwrite_all(int fd, const void *data, size_t len, uint64_t offset) {
    const char *from = static_cast<const char *>(data);
    const auto transfer = [&](size_t done) {
        return pwrite(fd, from + done, len - done, static_cast<off_t>(offset + done));
    };
    return written_whole(transfer_all(len, transfer), len);
}

ssize_t read_all(int fd, void *data, size_t len) {
    char *to = static_cast<char *>(data);
    return transfer_all(len, [&](size_t done) { return read(fd, to + done, len - done); });
}

ssize_t pread_all(int fd, void *data, size_t len, uint64_t offset) {
    char *to = static_cast<char *>(data);
    return transfer_all(len, [&](size_t done) {
        return pread(fd, to + done, len - done, static_cast<off_t>(offset + done));
    });
}
