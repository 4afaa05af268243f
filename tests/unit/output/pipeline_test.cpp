#include <atomic>
#include <chrono>
#include <numeric>
#include <stdexcept>

#include <gtest/gtest.h>

#include "output/pipeline.h"

namespace vexlo {
namespace {

struct Item {
    int number = -1;
    int result = 0;
};

// A source of the numbers from 0 to below `count`.
auto numbers(int count) {
    return [count, next = 0](Item &item) mutable {
        item.number = next++;
        return item.number < count;
    };
}

// Items whose work takes longer the earlier they come within each ten.
void work_unevenly(Item &item) {
    std::this_thread::sleep_for(std::chrono::microseconds(10 * (10 - item.number % 10)));
    item.result = 3 * item.number;
}

class PipelineThreads : public testing::TestWithParam<size_t> {};

TEST_P(PipelineThreads, TheSinkGetsEveryItemInTheOrderOfTheSource) {
    std::vector<int> given;
    run_pipeline<Item>(
        GetParam(), numbers(500), [](size_t, Item &item, auto) { work_unevenly(item); },
        [&](Item &item) { given.push_back(item.result); });
    std::vector<int> expected(500);
    for (int i = 0; i < 500; ++i)
        expected[static_cast<size_t>(i)] = 3 * i;
    EXPECT_EQ(given, expected);
}

TEST_P(PipelineThreads, NothingComesOfAnEmptySource) {
    int given = 0;
    run_pipeline<Item>(
        GetParam(), numbers(0), [](size_t, Item &, auto) {}, [&](Item &) { ++given; });
    EXPECT_EQ(given, 0);
}

TEST_P(PipelineThreads, TakesNoMoreItemsThanItsThreadsHaveRoomFor) {
    std::atomic<int> open = 0, most = 0;
    run_pipeline<Item>(
        GetParam(),
        [&, source = numbers(300)](Item &item) mutable {
            const int now = ++open;
            most = std::max<int>(most, now);
            return source(item);
        },
        [](size_t, Item &item, auto) { work_unevenly(item); },
        [&](Item &) {
            std::this_thread::sleep_for(std::chrono::microseconds(50));
            --open;
        });
    EXPECT_LE(most, static_cast<int>(2 * GetParam()));
}

TEST_P(PipelineThreads, AWorkerNumberBelongsToOneThreadAtATimeAndTheSinkToOne) {
    std::vector<std::atomic<int>> busy(GetParam());
    std::atomic<int> sinking = 0;
    std::atomic<bool> shared = false;
    run_pipeline<Item>(
        GetParam(), numbers(300),
        [&](size_t worker, Item &item, auto) {
            shared = shared || busy.at(worker)++ != 0;
            work_unevenly(item);
            --busy.at(worker);
        },
        [&](Item &) {
            shared = shared || sinking++ != 0;
            --sinking;
        });
    EXPECT_FALSE(shared);
}

TEST_P(PipelineThreads, AnExceptionOfTheWorkComesAfterTheItemsInFrontOfIt) {
    std::vector<int> given;
    const auto work = [](size_t, Item &item, auto) {
        work_unevenly(item);
        if (item.number == 100)
            throw std::runtime_error("item 100");
    };
    try {
        run_pipeline<Item>(GetParam(), numbers(500), work, [&](Item &item) { given.push_back(item.number); });
        FAIL() << "no exception";
    } catch (const std::runtime_error &error) {
        EXPECT_STREQ(error.what(), "item 100");
    }
    std::vector<int> expected(100);
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(given, expected);
}

TEST_P(PipelineThreads, AnExceptionOfTheSourceComesAfterTheItemsInFrontOfIt) {
    int given = 0;
    auto source = [next = 0](Item &item) mutable {
        item.number = next++;
        if (item.number == 50)
            throw std::runtime_error("source");
        return true;
    };
    EXPECT_THROW(run_pipeline<Item>(
                     GetParam(), source, [](size_t, Item &item, auto) { work_unevenly(item); },
                     [&](Item &) { ++given; }),
                 std::runtime_error);
    EXPECT_EQ(given, 50);
}

TEST_P(PipelineThreads, AnExceptionOfTheSinkEndsTheRun) {
    int given = 0;
    EXPECT_THROW(run_pipeline<Item>(
                     GetParam(), numbers(1 << 30), [](size_t, Item &, auto) {},
                     [&](Item &item) {
                         ++given;
                         if (item.number == 20)
                             throw std::runtime_error("sink");
                     }),
                 std::runtime_error);
    EXPECT_EQ(given, 21);
}

TEST_P(PipelineThreads, AnItemCanBeGivenInPartsInItsTurn) {
    std::vector<int> given;
    run_pipeline<Item>(
        GetParam(), numbers(200),
        [](size_t, Item &item, auto flush) {
            const int number = item.number;
            for (int part = 0; part < number % 4; ++part) {
                item.number = 10 * number + part;
                flush();
            }
            item.number = 10 * number + 9;
        },
        [&](Item &item) { given.push_back(item.number); });
    std::vector<int> expected;
    for (int number = 0; number < 200; ++number) {
        for (int part = 0; part < number % 4; ++part)
            expected.push_back(10 * number + part);
        expected.push_back(10 * number + 9);
    }
    EXPECT_EQ(given, expected);
}

TEST_P(PipelineThreads, AnExceptionOfTheSinkReachesItemsGivenInParts) {
    const auto work = [](size_t, Item &, auto flush) {
        for (int part = 0; part < 3; ++part)
            flush();
    };
    int given = 0;
    EXPECT_THROW(run_pipeline<Item>(GetParam(), numbers(100), work,
                                    [&](Item &item) {
                                        ++given;
                                        if (item.number == 2)
                                            throw std::runtime_error("sink");
                                    }),
                 std::runtime_error);
    EXPECT_EQ(given, 9);
}

INSTANTIATE_TEST_SUITE_P(Threads, PipelineThreads, testing::Values(1, 2, 4, 7));

} // namespace
} // namespace vexlo
