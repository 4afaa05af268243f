// The inner loops alone, from memory.
#include <random>
#include <vector>

#include <benchmark/benchmark.h>

#include "datafile.h"
#include "dict/selection_order.h"
#include "format/block.h"
#include "format/check_sum.h"
#include "format/number_to_int.h"
#include "value.h"

namespace {

constexpr int BLOCK_BYTES = 8192;
constexpr int BLOCKS = 512; // as many as one read of a table's unload delivers

std::vector<uint8_t> random_blocks() {
    std::mt19937 random(1);
    std::vector<uint8_t> bytes(size_t{BLOCK_BYTES} * BLOCKS);
    for (uint8_t &byte : bytes)
        byte = static_cast<uint8_t>(random());
    return bytes;
}

void copy_blocks(benchmark::State &state) {
    const std::vector<uint8_t> from = random_blocks();
    std::vector<uint8_t> to(from.size());
    for (auto _ : state) {
        memcpy(to.data(), from.data(), from.size());
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(from.size()));
}
BENCHMARK(copy_blocks);

// What reading the bytes at all costs: the least that a check value can cost.
void read_blocks(benchmark::State &state) {
    const std::vector<uint8_t> blocks = random_blocks();
    for (auto _ : state) {
        uint64_t fold = 0;
        for (size_t i = 0; i < blocks.size(); i += sizeof fold) {
            uint64_t word;
            memcpy(&word, &blocks[i], sizeof word);
            fold |= word;
        }
        benchmark::DoNotOptimize(fold);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(blocks.size()));
}
BENCHMARK(read_blocks);

void check_blocks(benchmark::State &state) {
    std::vector<uint8_t> blocks = random_blocks();
    for (auto _ : state) {
        int result = 0;
        for (int i = 0; i < BLOCKS; i++)
            result |= check_sum(&blocks[static_cast<size_t>(i) * BLOCK_BYTES], BLOCK_BYTES);
        benchmark::DoNotOptimize(result);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(blocks.size()));
}
BENCHMARK(check_blocks);

void decode_number(benchmark::State &state) {
    const uint8_t digits[] = {0xC3, 0x0B, 0x18, 0x22};
    for (auto _ : state)
        benchmark::DoNotOptimize(ora_number_to_int(digits, sizeof digits));
}
BENCHMARK(decode_number);

// Records as wide as those of columns, the key in front, with as many different keys as the second argument
// says.
struct RECORD {
    uint64_t key;
    char rest[48];
};

void order_records(benchmark::State &state) {
    const auto n = static_cast<uint32_t>(state.range(0));
    std::mt19937 random(1);
    std::vector<RECORD> records(n);
    for (RECORD &record : records)
        record.key = random() % static_cast<uint64_t>(state.range(1));
    std::vector<uint32_t> scratch(static_cast<size_t>(selection_scratch(n)));
    for (auto _ : state) {
        state.PauseTiming();
        std::vector<RECORD> work = records;
        state.ResumeTiming();
        selection_order(
            work.data(), n, [](const RECORD &r) { return r.key; }, scratch.data());
    }
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations()) * n);
}
BENCHMARK(order_records)
    ->ArgsProduct({{10000, 100000, 1000000}, {100, 1 << 30}})
    ->Unit(benchmark::kMillisecond);

} // namespace
