#include "dict/load_clusters.h"

#include "console.h"
#include "dict/dict_file.h"
#include "dict_array.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <numeric>

namespace {

// The indexes of all tables, ordered by the cluster they belong to. A heap block; null after its message.
uint32_t *index_tables_by_cluster() {
    const std::span<TAB> tables = loaded(TAB_SLOT);
    const size_t bytes = tables.size() * sizeof(uint32_t);
    uint32_t *index = static_cast<uint32_t *>(malloc(bytes + 1));
    if (index == nullptr) {
        report("allocate memory %d bytes error: %s\n", static_cast<int>(bytes), strerror(errno));
        return nullptr;
    }
    std::iota(index, index + tables.size(), 0U);
    std::stable_sort(index, index + tables.size(),
                     [&](uint32_t a, uint32_t b) { return tables[a].objb < tables[b].objb; });
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

// Marks the columns of one table whose segment column numbers are those of the cluster's first columns. The
// walk never goes back in the table: a matched column stays current for the next key column, and when the
// table's columns have run out the other key columns find nothing. The key may run on into the columns of the
// next object, but not past the array.
void mark_key_columns(std::span<const COL> key, std::span<COL> columns) {
    size_t m = 0;
    for (const COL &k : key) {
        while (m < columns.size() && columns[m].scid != k.scid)
            m++;
        if (m == columns.size())
            return;
        columns[m].flag |= COL_CLUSTER_KEY;
    }
}

int mark_cluster(const CLU &clu, const COL_RUNS &runs, std::span<const uint32_t> index) {
    const COL_RUN *own = find_run(runs, clu.objn, 0);
    if (own == nullptr) {
        report("cluster obj#=%d columns not found.\n", static_cast<int>(clu.objn));
        return -1;
    }
    const size_t most = runs.columns.size() - own->start;
    const std::span<const COL> key = runs.columns.subspan(own->start, std::min<size_t>(clu.ncol, most));
    for (const uint32_t t : tables_of_cluster(index, clu.objn)) {
        TAB &tab = loaded(TAB_SLOT)[t];
        if ((clu.flag & CLU_ROW_EXTRA) != 0)
            tab.flag |= TAB_ROW_EXTRA;
        mark_key_columns(key, table_columns(tab));
    }
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
