// Runs tasks on a thread of its own, one after the other, while the thread that starts them goes on.
#pragma once

#include <condition_variable>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>

namespace vexlo {

class BackgroundTask {
public:
    BackgroundTask() = default;
    // Waits for the task that runs.
    ~BackgroundTask();
    BackgroundTask(const BackgroundTask &) = delete;
    BackgroundTask &operator=(const BackgroundTask &) = delete;

    // Waits for the task before, as wait() does, then starts this one.
    void start(std::function<void()> task);
    // Waits until nothing runs. Throws what the task threw, once.
    void wait();

private:
    void run();

    std::mutex mutex_;
    std::condition_variable changed_;
    std::function<void()> task_; // empty when nothing runs
    std::exception_ptr failure_;
    bool stop_ = false;
    std::thread thread_; // from the first task on
};

} // namespace vexlo
