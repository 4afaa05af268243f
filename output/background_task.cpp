#include "output/background_task.h"

#include <utility>

namespace vexlo {

BackgroundTask::~BackgroundTask() {
    if (!thread_.joinable())
        return;
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !task_; });
        stop_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void BackgroundTask::start(std::function<void()> task) {
    wait();
    if (!thread_.joinable())
        thread_ = std::thread([this] { run(); });
    {
        const std::lock_guard lock(mutex_);
        task_ = std::move(task);
    }
    changed_.notify_all();
}

void BackgroundTask::wait() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return !task_; });
    if (failure_)
        std::rethrow_exception(std::exchange(failure_, nullptr));
}

void BackgroundTask::run() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return task_ || stop_; });
        if (!task_)
            return;
        lock.unlock();
        std::exception_ptr failure;
        try {
            task_();
        } catch (...) {
            failure = std::current_exception();
        }
        lock.lock();
        failure_ = failure;
        task_ = nullptr;
        changed_.notify_all();
    }
}

} // namespace vexlo
