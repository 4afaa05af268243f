#include "output/file_handle.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "values/errors.h"

namespace vexlo {

FileHandle &FileHandle::operator=(FileHandle &&other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
}

int FileHandle::close() {
    const int fd = std::exchange(fd_, -1);
    return fd < 0 ? 0 : ::close(fd);
}

size_t read_at(int fd, void *buffer, size_t size, uint64_t offset, const std::string &path) {
    size_t done = 0;
    while (done < size) {
        const ssize_t got =
            pread(fd, static_cast<char *>(buffer) + done, size - done, static_cast<off_t>(offset + done));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            throw InputError(path + ": cannot be read: " + std::strerror(errno));
        if (got == 0)
            break;
        done += static_cast<size_t>(got);
    }
    return done;
}

} // namespace vexlo
