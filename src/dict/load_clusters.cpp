#include "dict/load_clusters.h"

#include "allocate.h"
#include "dict/dict_file.h"
#include "dict_array.h"

#include <algorithm>
#include <numeric>

namespace {

// The indexes of all tables, ordered by the cluster they belong to, then by their columns. A heap block; null
// after its message.
uint32_t *index_tables_by_cluster() {
    const std::span<TAB> tables = loaded(TAB_SLOT);
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
    const std::span<TAB> tables = loaded(TAB_SLOT);
    const auto first =
        std::partition_point(index.begin(), index.end(), [&](uint32_t t) { return tables[t].objb < objn; });
    const auto last =
        std::partition_point(first, index.end(), [&](uint32_t t) { return tables[t].objb == objn; });
    return {first, last};
}

size_t most_columns(std::span<const uint32_t> members) {
    size_t most = 0;
    for (const uint32_t t : members)
        most = std::max(most, table_columns(loaded(TAB_SLOT)[t]).size());
    return most;
}

// Takes the segment column numbers of a cluster key, at most `most` of them, into `scids` and returns how
// many. A number that comes twice in a row counts once: the second one would be matched by the same column.
size_t take_key(std::span<const COL> key, size_t most, uint32_t *scids) {
    size_t count = 0;
    for (const COL &col : key) {
        if (count > 0 && scids[count - 1] == col.scid)
            continue;
        if (count == most)
            break;
        scids[count++] = col.scid;
    }
    return count;
}

// Marks the columns of one table that a cluster key names. The walk never goes back in the table: behind each
// match it goes on, and when the table's columns have run out the other key columns find nothing.
void mark_key_columns(std::span<const uint32_t> scids, std::span<COL> columns) {
    size_t m = 0;
    for (const uint32_t scid : scids) {
        while (m < columns.size() && columns[m].scid != scid)
            m++;
        if (m == columns.size())
            return;
        columns[m].flag |= COL_CLUSTER_KEY;
    }
}

// Marks the tables of a cluster. Tables that share their columns are marked once.
void mark_tables(const CLU &clu, std::span<const uint32_t> scids, std::span<const uint32_t> members) {
    const COL *marked = nullptr;
    for (const uint32_t t : members) {
        TAB &tab = loaded(TAB_SLOT)[t];
        if ((clu.flag & CLU_ROW_EXTRA) != 0)
            tab.flag |= TAB_ROW_EXTRA;
        const std::span<COL> columns = table_columns(tab);
        if (columns.empty() || columns.data() == marked)
            continue;
        mark_key_columns(scids, columns);
        marked = columns.data();
    }
}

int mark_cluster(const CLU &clu, const COL_RUNS &runs, std::span<const uint32_t> index) {
    const COL_RUN *own = find_run(runs, clu.objn, 0);
    if (own == nullptr) {
        report("cluster obj#=%d columns not found.\n", static_cast<int>(clu.objn));
        return -1;
    }
    const std::span<const uint32_t> members = tables_of_cluster(index, clu.objn);
    const size_t most = most_columns(members);
    uint32_t *scids = allocate<uint32_t>(most);
    if (scids == nullptr)
        return -1;
    // The key may run on into the columns of the next object, but not past the array.
    const size_t behind = runs.columns.size() - own->start;
    const std::span<const COL> key = runs.columns.subspan(own->start, std::min<size_t>(clu.ncol, behind));
    mark_tables(clu, {scids, take_key(key, most, scids)}, members);
    free(scids);
    return 0;
}

int mark_clusters(std::span<const CLU> clusters, const COL_RUNS &runs) {
    uint32_t *index = index_tables_by_cluster();
    int result = index == nullptr ? -1 : 0;
    for (size_t c = 0; result == 0 && c < clusters.size(); c++)
        result = mark_cluster(clusters[c], runs, {index, loaded(TAB_SLOT).size()});
    free(index);
    return result;
}

} // namespace

int load_clusters(const COL_RUNS &runs) {
    void *data = nullptr;
    int size = 0;
    int result = read_dict_data("cluster", &data, &size);
    if (result == 0)
        result = mark_clusters({static_cast<const CLU *>(data), records_in<CLU>(size)}, runs);
    free_records(data);
    return result;
}
