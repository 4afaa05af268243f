// A parallel pipeline: items are taken from a source one after the other, worked on by several threads at
// once, and handed to a sink in the order in which the source gave them.
//
// Every thread does all three: it takes the next item under a lock, works on it without one, and then gives
// the sink every item whose turn has come. No thread waits for another as long as an item is free, and there
// are never more than ITEMS_A_THREAD items for each thread.
#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <map>
#include <mutex>
#include <thread>
#include <vector>

namespace vexlo {

template <class ITEM, class SOURCE, class WORK, class SINK>
class Pipeline {
public:
    static constexpr size_t ITEMS_A_THREAD = 2;

    // source(item) fills an item and returns false at the end; work(worker, item, flush) is called by thread
    // number `worker` (0 to threads - 1) alone; sink(item) is called by one thread at a time. All three must
    // outlive the pipeline. An item that grows too large calls flush() in the middle of its work: that waits
    // for its turn and gives the sink what the item holds so far.
    Pipeline(SOURCE &source, WORK &work, SINK &sink) : source_(source), work_(work), sink_(sink) {}

    // Runs with `threads` threads, the caller's among them, until the source has ended and the sink has
    // everything. The first exception of any of the three ends all threads and is thrown here; items behind
    // it are dropped, those in front of it have reached the sink when it came from the work on an item or
    // from the source.
    void run(size_t threads) {
        items_.resize(threads * ITEMS_A_THREAD);
        for (ITEM &item : items_)
            free_.push_back(&item);
        std::vector<std::jthread> others;
        for (size_t worker = 1; worker < threads; ++worker)
            others.emplace_back([this, worker] { run_worker(worker); });
        run_worker(0);
        others.clear();
        if (error_)
            std::rethrow_exception(error_);
    }

private:
    struct Done {
        ITEM *item;
        std::exception_ptr error; // of the work on it
    };

    void run_worker(size_t worker) {
        uint64_t number;
        while (ITEM *item = take(number)) {
            std::exception_ptr error;
            try {
                work_(worker, *item, [&] { flush(number, *item); });
            } catch (...) {
                error = std::current_exception();
            }
            put(number, {item, error});
        }
    }

    // The next item of the source, filled, and its number; null when there is nothing more to do.
    ITEM *take(uint64_t &number) {
        std::unique_lock reading(source_mutex_);
        ITEM *item = ended_ ? nullptr : take_free();
        if (item == nullptr)
            return nullptr;
        number = next_taken_++;
        try {
            ended_ = !source_(*item);
            return ended_ ? nullptr : item;
        } catch (...) {
            ended_ = true;
            put(number, {item, std::current_exception()});
        }
        return nullptr;
    }

    // An item that nobody holds; null once the pipeline has failed.
    ITEM *take_free() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !free_.empty() || failed_; });
        if (failed_)
            return nullptr;
        ITEM *item = free_.back();
        free_.pop_back();
        return item;
    }

    // Thrown through the work on an item whose results nobody will take.
    struct Cancelled {};

    // Gives the sink what an item holds when all items in front of it are done.
    void flush(uint64_t number, ITEM &item) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return failed_ || (next_given_ == number && !sinking_); });
        if (failed_)
            throw Cancelled();
        sinking_ = true;
        lock.unlock();
        const std::exception_ptr error = give(item);
        lock.lock();
        sinking_ = false;
        if (error)
            fail(error);
        if (failed_)
            throw Cancelled();
    }

    // Under the lock: ends all threads with this error.
    void fail(const std::exception_ptr &error) {
        error_ = error;
        failed_ = true;
        changed_.notify_all();
    }

    // Takes an item that is done, and gives the sink what is next, unless another thread is at it.
    void put(uint64_t number, Done done) {
        std::unique_lock lock(mutex_);
        done_.emplace(number, done);
        if (sinking_)
            return;
        sinking_ = true;
        while (!failed_ && !done_.empty() && done_.begin()->first == next_given_) {
            const Done next = done_.extract(done_.begin()).mapped();
            ++next_given_;
            lock.unlock();
            const std::exception_ptr error = next.error ? next.error : give(*next.item);
            lock.lock();
            free_.push_back(next.item);
            if (error)
                fail(error);
            changed_.notify_all();
        }
        sinking_ = false;
        changed_.notify_all();
    }

    std::exception_ptr give(ITEM &item) {
        try {
            sink_(item);
        } catch (...) {
            return std::current_exception();
        }
        return nullptr;
    }

    SOURCE &source_;
    WORK &work_;
    SINK &sink_;
    std::vector<ITEM> items_;

    std::mutex source_mutex_; // of the source, next_taken_ and ended_; taken before mutex_
    uint64_t next_taken_ = 0;
    bool ended_ = false;

    std::mutex mutex_; // of all below
    std::condition_variable changed_;
    std::vector<ITEM *> free_;
    std::map<uint64_t, Done> done_;
    uint64_t next_given_ = 0;
    bool sinking_ = false;
    bool failed_ = false;
    std::exception_ptr error_;
};

// Runs a pipeline of the three functions over items of type ITEM; see Pipeline.
template <class ITEM, class SOURCE, class WORK, class SINK>
void run_pipeline(size_t threads, SOURCE &&source, WORK &&work, SINK &&sink) {
    Pipeline<ITEM, SOURCE, WORK, SINK>(source, work, sink).run(threads);
}

} // namespace vexlo
