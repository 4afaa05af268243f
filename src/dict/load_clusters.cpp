#include "dict/load_clusters.h"

#include <algorithm>
#include <numeric>

#include "allocate.h"
#include "dict/dict_file.h"
#include "dict_array.h"

namespace {

// The key of a cluster on its way through the columns of a table.
struct TABLE_KEY {
    uint32_t coff; // the table's columns
    uint32_t tcol;
    uint32_t first; // the key's first column, by its index in the loaded columns
    uint32_t end;   // the index behind its last one
    uint32_t at;    // the table's column that the key has come to
};

// The columns of a table, and their indexes ordered by segment column number, then by place.
struct NUMBERED_COLUMNS {
    std::span<COL> columns;
    std::span<uint32_t> order;
};

// For every column the index of the next one with another segment column number. A heap block; null after its
// message.
uint32_t *index_next_numbers(std::span<const COL> columns) {
    uint32_t *next = allocate<uint32_t>(columns.size());
    for (size_t i = columns.size(); next != nullptr && i-- > 0;) {
        const bool last = i + 1 == columns.size() || columns[i + 1].scid != columns[i].scid;
        next[i] = last ? static_cast<uint32_t>(i + 1) : next[i + 1];
    }
    return next;
}

// Orders the clusters by object number and makes one record of those that share it. The marks of a short key
// are among those of a longer one.
std::span<const CLU> merge_clusters(std::span<CLU> clusters) {
    std::sort(clusters.begin(), clusters.end(), [](const CLU &a, const CLU &b) { return a.objn < b.objn; });
    size_t count = 0;
    for (const CLU &clu : clusters) {
        if (count > 0 && clusters[count - 1].objn == clu.objn) {
            CLU &merged = clusters[count - 1];
            merged.flag |= clu.flag;
            merged.ncol = std::max(merged.ncol, clu.ncol);
        } else {
            clusters[count++] = clu;
        }
    }
    return clusters.first(count);
}

const CLU *find_cluster(std::span<const CLU> clusters, uint32_t objn) {
    const auto found = std::partition_point(clusters.begin(), clusters.end(),
                                            [&](const CLU &clu) { return clu.objn < objn; });
    return found != clusters.end() && found->objn == objn ? &*found : nullptr;
}

// The key of a cluster in front of the columns of one of its tables. It may run on into the columns of the
// next object, but not past the array.
TABLE_KEY table_key(const TAB &tab, const CLU &clu, const COL_RUNS &runs) {
    const uint32_t first = find_run(runs, clu.objn, 0)->start;
    const size_t rest = runs.columns.size() - first;
    return {tab.coff, tab.tcol, first, first + static_cast<uint32_t>(std::min<size_t>(rest, clu.ncol)), 0};
}

// Carries the flag of the clusters to their tables, and lists the keys of those that have columns, ordered by
// these, which tables may share, then by where the keys begin. Returns how many keys there are.
size_t list_keys(std::span<const CLU> clusters, const COL_RUNS &runs, TABLE_KEY *keys) {
    size_t count = 0;
    for (TAB &tab : loaded(TAB_TABLE)) {
        const CLU *clu = find_cluster(clusters, tab.objb);
        if (clu == nullptr)
            continue;
        if ((clu->flag & CLU_ROW_DEPENDENCIES) != 0)
            tab.flag |= TAB_ROW_DEPENDENCIES;
        if (clu->ncol != 0 && !table_columns(tab).empty())
            keys[count++] = table_key(tab, *clu, runs);
    }
    std::sort(keys, keys + count, [](const TABLE_KEY &a, const TABLE_KEY &b) {
        return a.coff != b.coff ? a.coff < b.coff : a.first < b.first;
    });
    return count;
}

NUMBERED_COLUMNS index_numbers(std::span<COL> columns, uint32_t *order) {
    std::iota(order, order + columns.size(), 0U);
    std::sort(order, order + columns.size(), [&](uint32_t a, uint32_t b) {
        return columns[a].scid != columns[b].scid ? columns[a].scid < columns[b].scid : a < b;
    });
    return {columns, {order, columns.size()}};
}

// The first column of the number `scid` at index `from` or behind; null when there is none.
const uint32_t *find_number(const NUMBERED_COLUMNS &table, uint32_t scid, uint32_t from) {
    const auto found = std::partition_point(table.order.begin(), table.order.end(), [&](uint32_t i) {
        const uint32_t have = table.columns[i].scid;
        return have != scid ? have < scid : i < from;
    });
    return found != table.order.end() && table.columns[*found].scid == scid ? &*found : nullptr;
}

// Marks the columns of number `scid` that the keys come to next; `next` is the key column behind that number.
// The way never goes back in the table: a key that finds no such column has come to its end. Keys that meet
// go on as one, the longer one. Of two keys that which began earlier is never behind, so that those that meet
// stand side by side. Returns the number of keys that go on, which are moved to the front.
size_t mark_number(const NUMBERED_COLUMNS &table, uint32_t scid, uint32_t next, std::span<TABLE_KEY> keys) {
    size_t count = 0;
    for (TABLE_KEY key : keys) {
        const uint32_t *at = find_number(table, scid, key.at);
        if (at == nullptr)
            continue;
        table.columns[*at].flag |= COL_CLUSTER_KEY;
        key.at = *at;
        if (count > 0 && keys[count - 1].at == key.at)
            keys[count - 1].end = std::max(keys[count - 1].end, key.end);
        else if (key.end > next)
            keys[count++] = key;
    }
    return count;
}

// Marks the columns of one table that the keys name. The keys, of which a sound dictionary has one, go
// through the loaded columns together, each from its first one on. Of key columns with one number in a row
// all match the same column, so that each number is looked for once.
void mark_columns(const NUMBERED_COLUMNS &table, std::span<TABLE_KEY> keys, const uint32_t *next) {
    const std::span<COL> all = loaded(COL_TABLE);
    size_t begun = 0, going = 0;
    for (uint32_t k = 0; going > 0 || begun < keys.size(); k = next[k]) {
        if (going == 0)
            k = keys[begun].first;
        for (; begun < keys.size() && keys[begun].first < next[k]; begun++)
            keys[going++] = keys[begun];
        going = mark_number(table, all[k].scid, next[k], keys.first(going));
    }
}

// Marks the tables of all clusters, whose records change.
int mark_all(std::span<CLU> clusters, const COL_RUNS &runs) {
    uint32_t *next = index_next_numbers(runs.columns);
    uint32_t *order = next != nullptr ? allocate<uint32_t>(runs.columns.size()) : nullptr;
    TABLE_KEY *keys = order != nullptr ? allocate<TABLE_KEY>(loaded(TAB_TABLE).size()) : nullptr;
    const bool complete = keys != nullptr;
    const size_t count = complete ? list_keys(merge_clusters(clusters), runs, keys) : 0;
    for (TABLE_KEY *at = keys, *end = nullptr; at != keys + count; at = end) {
        end = std::find_if(at, keys + count, [&](const TABLE_KEY &key) { return key.coff != at->coff; });
        const std::span<COL> columns = loaded(COL_TABLE).subspan(at->coff, at->tcol);
        mark_columns(index_numbers(columns, order), {at, end}, next);
    }
    free(keys);
    free(order);
    free(next);
    return complete ? 0 : -1;
}

// Marks the tables of the clusters before the first one that has no columns of its own, which ends the load.
int mark_clusters(std::span<CLU> clusters, const COL_RUNS &runs) {
    const auto lost = std::find_if(clusters.begin(), clusters.end(),
                                   [&](const CLU &clu) { return find_run(runs, clu.objn, 0) == nullptr; });
    const bool complete = lost == clusters.end();
    const uint32_t objn = complete ? 0 : lost->objn;
    if (mark_all({clusters.begin(), lost}, runs) < 0)
        return -1;
    if (complete)
        return 0;
    report("cluster obj#=%d columns not found.\n", static_cast<int>(objn));
    return -1;
}

} // namespace

int load_clusters(const COL_RUNS &runs) {
    void *data = nullptr;
    int size = 0;
    int result = read_dict_data(CLU_TABLE.file, &data, &size);
    if (result == 0)
        result = mark_clusters({static_cast<CLU *>(data), records_in<CLU>(size)}, runs);
    free_records(data);
    return result;
}
