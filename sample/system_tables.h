// The dictionary's own clusters and tables, with all their columns.
#pragma once

#include "model.h"

namespace sample {

// A cluster of the dictionary, keyed by one NUMBER column.
struct SystemCluster {
    std::string_view name;
    uint32_t objn;
    std::string_view key;
    bool full_only = false; // only in the full dictionary
};

// A table of the dictionary. `columns` lists name and type in the order of the stored row, which has a LONG
// last: n NUMBER, v<bytes> VARCHAR2, c<bytes> CHAR, r<bytes> RAW, d DATE, t TIMESTAMP, b BLOB, l LONG;
// "!" marks NOT NULL.
struct SystemTable {
    std::string_view name;
    uint32_t objn;
    std::string_view cluster; // empty for a heap table
    uint32_t tabno;
    std::string_view key; // column that is the cluster key
    std::string_view columns;
    bool in_bootstrap; // described by a statement of BOOTSTRAP$
    bool full_only = false;
    std::string_view columns_v12 = {}; // from 12c on; the same when empty
};

// Those that a dictionary has, in object number order; `columns` is right for its version.
std::vector<SystemCluster> system_clusters(const DictionaryLayout &layout);
std::vector<SystemTable> system_tables(const DictionaryLayout &layout);

// The columns that a `columns` text describes.
std::vector<ColumnDef> parse_columns(std::string_view text);

// Index in the model of a SYS table or cluster that was added from the lists above. Throws std::out_of_range.
size_t find_system_table(const Model &model, std::string_view name);
size_t find_system_cluster(const Model &model, std::string_view name);

} // namespace sample
