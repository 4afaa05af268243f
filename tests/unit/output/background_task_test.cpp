#include <atomic>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "output/background_task.h"

namespace {

using vexlo::BackgroundTask;

TEST(BackgroundTask, TasksRunInTheirOrder) {
    std::vector<int> order;
    BackgroundTask tasks;
    for (int i = 0; i < 100; ++i)
        tasks.start([&order, i] { order.push_back(i); });
    tasks.wait();
    ASSERT_EQ(order.size(), 100u);
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(order[static_cast<size_t>(i)], i);
}

TEST(BackgroundTask, WhatATaskThrowsComesOutOnce) {
    BackgroundTask tasks;
    tasks.start([] { throw std::runtime_error("disk full"); });
    EXPECT_THROW(tasks.wait(), std::runtime_error);
    EXPECT_NO_THROW(tasks.wait());
    tasks.start([] { throw std::runtime_error("disk full"); });
    bool ran = false;
    EXPECT_THROW(tasks.start([&ran] { ran = true; }), std::runtime_error);
    tasks.wait();
    EXPECT_FALSE(ran);
}

TEST(BackgroundTask, TheEndWaitsForTheTaskThatRuns) {
    std::atomic<bool> ended = false;
    {
        BackgroundTask tasks;
        tasks.start([&ended] {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            ended = true;
        });
    }
    EXPECT_TRUE(ended);
}

TEST(BackgroundTask, WithoutATaskNothingIsWaitedFor) {
    BackgroundTask tasks;
    tasks.wait();
}

} // namespace
