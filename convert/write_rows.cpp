#include "convert/write_rows.h"

#include <algorithm>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

#include "convert/row_group.h"
#include "output/pipeline.h"

namespace vexlo {

namespace {

constexpr size_t BATCH_LIMIT = 2 << 20;   // bytes of output that one group of rows may hold back
constexpr uint64_t SMALL_TABLE = 4 << 20; // bytes; is converted before another thread has got under way
constexpr uint64_t LARGE_ROW = 1 << 20;   // every thread holds some
constexpr size_t THREADS_MAX = 4;         // reading goes on one thread at a time, and so does writing

struct Item {
    RowGroup rows;
    RowBatch batch;
};

// What one thread formats with.
struct Worker {
    std::unique_ptr<CellDecoder> own; // of all but the first thread
    std::unique_ptr<RowFormatter> formatter;
};

std::vector<Worker> make_workers(CellDecoder &decoder, const TableWriter &writer, size_t threads) {
    std::vector<Worker> workers(threads);
    for (size_t i = 0; i < threads; ++i) {
        if (i > 0)
            workers[i].own = decoder.twin({});
        workers[i].formatter = writer.formatter(i > 0 ? *workers[i].own : decoder);
    }
    return workers;
}

template <class FLUSH>
void format_rows(Item &item, RowFormatter &formatter, FLUSH &&flush) {
    RowBatch &batch = item.batch;
    batch.spill = [&](RowBatch &) { flush(); };
    item.rows.for_each(
        [&](const Row &row) {
            formatter.format(row, batch);
            if (batch.bytes.size() + batch.rejected.size() >= BATCH_LIMIT)
                flush();
        },
        [&](Damage &&damage) { batch.losses.add(damage.row, damage.offset, std::move(damage.text)); });
    item.rows.release();
}

size_t processors() {
    return std::max(std::thread::hardware_concurrency(), 1U);
}

// Threads for each of so many tables that none is too small or too large for.
size_t threads_for_each(size_t tables) {
    return std::clamp<size_t>(processors() / tables, 1, THREADS_MAX);
}

} // namespace

std::string write_rows(DumpReader &reader, CellDecoder &decoder, TableWriter &writer, TableReport &report,
                       size_t threads, const RowsProgress &progress) {
    std::vector<Worker> workers = make_workers(decoder, writer, threads);
    std::string fault;
    const auto source = [&](Item &item) {
        if (!fault.empty())
            return false;
        const bool any = item.rows.read(reader);
        fault = item.rows.fault();
        return any;
    };
    const auto work = [&](size_t worker, Item &item, auto &&flush) {
        format_rows(item, *workers[worker].formatter, flush);
    };
    const auto sink = [&](Item &item) {
        item.batch.losses.tell(report);
        writer.write(item.batch);
        progress(item.rows.rows(), item.rows.position());
    };
    run_pipeline<Item>(threads, source, work, sink);
    for (Worker &worker : workers)
        if (worker.own != nullptr)
            decoder.merge(std::move(*worker.own));
    return fault;
}

size_t threads_for(uint64_t bytes, uint64_t row_size, size_t tables) {
    return bytes < SMALL_TABLE || row_size > LARGE_ROW ? 1 : threads_for_each(tables);
}

bool take_all_processors(size_t tables) {
    return tables * threads_for_each(tables) >= processors();
}

} // namespace vexlo
