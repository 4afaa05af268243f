// Writes buffers to a descriptor on a thread of its own, so that converting goes on while the system copies.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

#include "output/digest.h"

namespace vexlo {

// Writes `size` bytes at `data` to `fd`; returns 0 or an errno.
int write_all(int fd, const char *data, size_t size);

class BackgroundWriter {
public:
    // `fd` must stay open as long as the writer lives. `digest`, which may be null, takes what is written.
    explicit BackgroundWriter(int fd, Digest *digest = nullptr);
    ~BackgroundWriter();
    BackgroundWriter(const BackgroundWriter &) = delete;
    BackgroundWriter &operator=(const BackgroundWriter &) = delete;

    // Waits until the buffer given before has been written, then starts to write `size` bytes at `data`,
    // which must not change until the next call. Returns 0, or the errno of a write that failed.
    int write(const char *data, size_t size);

    // Waits until everything has been written. Returns 0 or an errno.
    int wait();

private:
    void run();

    int fd_;
    Digest *digest_;
    std::mutex mutex_;
    std::condition_variable changed_;
    const char *data_ = nullptr; // null when there is nothing to write
    size_t size_ = 0;
    int error_ = 0;
    bool stop_ = false;
    std::thread thread_; // last: it uses the members above
};

} // namespace vexlo
