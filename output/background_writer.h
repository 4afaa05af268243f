// Writes buffers to a descriptor on a thread of its own, so that converting goes on while the system copies.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

#include "output/file_sink.h"

namespace vexlo {

class BackgroundWriter {
public:
    // `sink` must outlive the writer, and nobody else uses it before wait().
    explicit BackgroundWriter(FileSink &sink);
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

    FileSink &sink_;
    std::mutex mutex_;
    std::condition_variable changed_;
    const char *data_ = nullptr; // null when there is nothing to write
    size_t size_ = 0;
    int error_ = 0;
    bool stop_ = false;
    std::thread thread_; // last: it uses the members above
};

} // namespace vexlo
