// The statements of BOOTSTRAP$, from which a reader learns where the core dictionary tables are.
#pragma once

#include "model.h"

namespace sample {

struct BootstrapRow {
    int32_t line;
    int32_t objn;
    std::string text;
};

// CREATE CLUSTER statement with the cluster's storage.
std::string create_cluster_statement(const ClusterEntry &cluster);

// CREATE TABLE statement: with the table's own storage, or for a member of a cluster with its number in it
// and the cluster's name.
std::string create_table_statement(const Model &model, const TableEntry &table);

// All rows: the version row, then clusters and tables with the indexes of the latter, by object number.
std::vector<BootstrapRow> bootstrap_rows(const Model &model);

} // namespace sample
