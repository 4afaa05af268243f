#include "output/background_writer.h"

namespace vexlo {

BackgroundWriter::BackgroundWriter(FileSink &sink) : sink_(sink), thread_([this] { run(); }) {}

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
        const int error = sink_.write(data_, size_);
        lock.lock();
        if (error_ == 0)
            error_ = error;
        data_ = nullptr;
        changed_.notify_all();
    }
}

} // namespace vexlo
