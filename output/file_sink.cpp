#include "output/file_sink.h"

#include <unistd.h>

#include <cerrno>

namespace vexlo {

namespace {

int write_all(int fd, const char *data, size_t size) {
    while (size > 0) {
        const ssize_t n = ::write(fd, data, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return errno;
        data += n;
        size -= static_cast<size_t>(n);
    }
    return 0;
}

} // namespace

FileSink::FileSink(int fd, Digest *digest, Compression compression)
    : fd_(fd), digest_(digest), compressor_(make_compressor(compression)) {}

int FileSink::write(const char *data, size_t size) {
    if (!compressor_)
        return write_through(data, size);
    return compressor_->add(data, size, packed_) ? write_packed() : EIO;
}

int FileSink::finish() {
    if (!compressor_)
        return 0;
    return compressor_->end(packed_) ? write_packed() : EIO;
}

int FileSink::write_packed() {
    const int error = write_through(packed_.data(), packed_.size());
    packed_.clear();
    return error;
}

int FileSink::write_through(const char *data, size_t size) {
    const int error = write_all(fd_, data, size);
    if (digest_ != nullptr)
        digest_->add(data, size);
    return error;
}

} // namespace vexlo
