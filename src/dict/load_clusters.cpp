#include "dict/load_clusters.h"

#include <algorithm>
#include <numeric>

#include "allocate.h"
#include "dict/dict_file.h"
#include "dict_array.h"

namespace {

// The indexes of all tables, ordered by the cluster they belong to, then by their columns. A heap block; null
// after its message.
uint32_t *index_tables_by_cluster() {
    const std::span<TAB> tables = loaded(TAB_TABLE);
    uint32_t *index = allocate<uint32_t>(tables.size());
    if (index == nullptr)
        return nullptr;
    std::iota(index, index + tables.size(), 0U);
    std::sort(index, index + tables.size(), [&](uint32_t a, uint32_t b) {
        const TAB &left = tables[a], &right = tables[b];
        return left.objb != right.objb ? left.objb < right.objb : left.coff < right.coff;
    });
    return index;
}

std::span<const uint32_t> tables_of_cluster(std::span<const uint32_t> index, uint32_t objn) {
    const std::span<TAB> tables = loaded(TAB_TABLE);
    const auto first =
        std::partition_point(index.begin(), index.end(), [&](uint32_t t) { return tables[t].objb < objn; });
    const auto last =
        std::partition_point(first, index.end(), [&](uint32_t t) { return tables[t].objb == objn; });
    return {first, last};
}

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

// The key columns of a cluster, by their indexes in the loaded columns.
struct CLUSTER_COLUMNS {
    size_t first;
    size_t end;
    const uint32_t *next; // of index_next_numbers
};

// Marks the columns of one table that a cluster key names. The walk never goes back in the table: behind each
// match it goes on, and when the table's columns have run out the other key columns find nothing. Of key
// columns with one number in a row all match the same column, so that each number is looked for once.
void mark_key_columns(const CLUSTER_COLUMNS &key, std::span<COL> columns) {
    const std::span<COL> all = loaded(COL_TABLE);
    size_t m = 0;
    for (size_t k = key.first; k < key.end; k = key.next[k]) {
        while (m < columns.size() && columns[m].scid != all[k].scid)
            m++;
        if (m == columns.size())
            return;
        columns[m].flag |= COL_CLUSTER_KEY;
    }
}

// Marks the tables of a cluster. Tables that share their columns are marked once.
void mark_tables(const CLU &clu, const CLUSTER_COLUMNS &key, std::span<const uint32_t> members) {
    const COL *marked = nullptr;
    for (const uint32_t t : members) {
        TAB &tab = loaded(TAB_TABLE)[t];
        if ((clu.flag & CLU_ROW_DEPENDENCIES) != 0)
            tab.flag |= TAB_ROW_DEPENDENCIES;
        const std::span<COL> columns = table_columns(tab);
        if (columns.empty() || columns.data() == marked)
            continue;
        mark_key_columns(key, columns);
        marked = columns.data();
    }
}

// Makes one record of those with the same object number, which `clusters` lists side by side. The marks of a
// short key are among those of a longer one.
CLU merge_clusters(std::span<const CLU> clusters) {
    CLU merged = clusters.front();
    for (const CLU &clu : clusters) {
        merged.flag |= clu.flag;
        merged.ncol = std::max(merged.ncol, clu.ncol);
    }
    return merged;
}

// Marks the tables of all clusters, whose order changes.
int mark_all(std::span<CLU> clusters, const COL_RUNS &runs) {
    uint32_t *index = index_tables_by_cluster();
    uint32_t *next = index_next_numbers(runs.columns);
    const bool complete = index != nullptr && next != nullptr;
    const auto before = [](const CLU &a, const CLU &b) { return a.objn < b.objn; };
    if (complete)
        std::sort(clusters.begin(), clusters.end(), before);
    for (auto at = clusters.begin(); complete && at != clusters.end();) {
        const auto end = std::upper_bound(at, clusters.end(), *at, before);
        const CLU clu = merge_clusters({at, end});
        // The key may run on into the columns of the next object, but not past the array.
        const size_t first = find_run(runs, clu.objn, 0)->start;
        const CLUSTER_COLUMNS key{first, std::min<size_t>(runs.columns.size(), first + clu.ncol), next};
        mark_tables(clu, key, tables_of_cluster({index, loaded(TAB_TABLE).size()}, clu.objn));
        at = end;
    }
    free(next);
    free(index);
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
