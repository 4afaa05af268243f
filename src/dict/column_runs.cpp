#include "dict/column_runs.h"

#include <algorithm>

#include "allocate.h"
#include "column.h"

namespace {

uint32_t column_flag(const COL &col) {
    uint32_t flag = 0;
    if ((col.flag & COL_ENCRYPTED) != 0)
        flag |= TAB_HAS_ENCRYPTED;
    if (is_long(col))
        flag |= TAB_HAS_LONG;
    return flag;
}

bool starts_run(std::span<const COL> columns, size_t i) {
    return i == 0 || columns[i].objn != columns[i - 1].objn;
}

uint32_t count_runs(std::span<const COL> columns) {
    uint32_t count = 0;
    for (size_t i = 0; i < columns.size(); i++)
        count += starts_run(columns, i);
    return count;
}

} // namespace

COL_RUNS index_column_runs(std::span<const COL> columns) {
    const uint32_t count = count_runs(columns);
    COL_RUN *runs = allocate<COL_RUN>(count);
    if (runs == nullptr)
        return {columns, nullptr, 0};
    for (uint32_t i = 0, next = 0; i < columns.size(); i++) {
        if (starts_run(columns, i))
            runs[next++] = {i, 0, 0};
        COL_RUN &run = runs[next - 1];
        run.count++;
        run.flag |= column_flag(columns[i]);
    }
    std::sort(runs, runs + count, [&](const COL_RUN &a, const COL_RUN &b) {
        const uint32_t left = columns[a.start].objn, right = columns[b.start].objn;
        return left != right ? left < right : a.start < b.start;
    });
    return {columns, runs, count};
}

void free_column_runs(COL_RUNS *runs) {
    free(runs->runs);
    runs->runs = nullptr;
    runs->count = 0;
}

const COL_RUN *find_run(const COL_RUNS &runs, uint32_t objn, uint32_t from) {
    const COL_RUN *first = runs.runs, *end = first + runs.count;
    const COL_RUN *run = std::partition_point(first, end, [&](const COL_RUN &r) {
        const uint32_t have = runs.columns[r.start].objn;
        return have != objn ? have < objn : r.start < from;
    });
    return run != end && runs.columns[run->start].objn == objn ? run : nullptr;
}
