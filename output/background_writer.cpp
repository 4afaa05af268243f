#include "output/background_writer.h"

#include <unistd.h>

#include <cerrno>

namespace vexlo {

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

BackgroundWriter::BackgroundWriter(int fd, Digest *digest)
    : fd_(fd), digest_(digest), thread_([this] { run(); }) {}

BackgroundWriter::~BackgroundWriter() {
    wait();
    {
        const std::lock_guard lock(mutex_);
        stop_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

int BackgroundWriter::write(const char *data, size_t size) {
    if (const int error = wait())
        return error;
    {
        const std::lock_guard lock(mutex_);
        data_ = data;
        size_ = size;
    }
    changed_.notify_all();
    return 0;
}

int BackgroundWriter::wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return data_ == nullptr; });
    return error_;
}

void BackgroundWriter::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return data_ != nullptr || stop_; });
        if (data_ == nullptr)
            return;
        lock.unlock();
        const int error = write_all(fd_, data_, size_);
        if (digest_ != nullptr)
            digest_->add(data_, size_);
        lock.lock();
        if (error_ == 0)
            error_ = error;
        data_ = nullptr;
        changed_.notify_all();
    }
}

} // namespace vexlo
