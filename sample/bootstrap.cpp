#include "bootstrap.h"

#include <algorithm>
#include <stdexcept>

#include "system_tables.h"
#include "vexlo.h"

namespace sample {

namespace {

// The storage clause names every dictionary segment's first extent by its header block.
std::string storage_clause(const SegmentPlace &place) {
    return "STORAGE (  INITIAL 64K NEXT 1024K MINEXTENTS 1 MAXEXTENTS 2147483645 PCTINCREASE 0 OBJNO " +
           std::to_string(place.objn) + " EXTENTS (FILE " + std::to_string(place.file) + " BLOCK " +
           std::to_string(place.block) + "))";
}

constexpr char SPACE_CLAUSE[] = " PCTFREE 10 PCTUSED 40 INITRANS 1 MAXTRANS 255 ";

std::string type_text(const ColumnDef &c) {
    switch (c.type) {
    case TYPE_NUMBER:
        return "NUMBER";
    case TYPE_DATE:
        return "DATE";
    case TYPE_LONG:
        return "LONG";
    case TYPE_TIMESTAMP:
        return "TIMESTAMP(6)";
    case TYPE_RAW:
        return "RAW(" + std::to_string(c.length) + ")";
    case TYPE_VARCHAR2:
        return "VARCHAR2(" + std::to_string(c.length) + ")";
    default:
        throw std::invalid_argument("no dictionary table has a column of type " + std::to_string(c.type));
    }
}

std::string column_list(const std::vector<ColumnDef> &columns) {
    std::string list;
    for (const ColumnDef &c : columns) {
        if (!list.empty())
            list += ',';
        list += '"' + c.name + "\" " + type_text(c) + (c.nullable ? "" : " NOT NULL");
    }
    return '(' + list + ')';
}

std::string create_index_statement(const Model &model, const IndexEntry &index) {
    const TableEntry &table = model.tables.at(index.def.table);
    return "CREATE UNIQUE INDEX " + index.def.name + " ON " + table.def.name + "(" +
           table.def.columns.front().name + ")" + SPACE_CLAUSE + storage_clause(index.place);
}

} // namespace

std::string create_cluster_statement(const ClusterEntry &cluster) {
    return "CREATE CLUSTER " + cluster.def.name + column_list(cluster.def.key) +
           " PCTFREE 5 PCTUSED 40 INITRANS 2 MAXTRANS 255 " + storage_clause(cluster.place) + " SIZE 800";
}

std::string create_table_statement(const Model &model, const TableEntry &table) {
    std::string statement = "CREATE TABLE " + table.def.name + column_list(table.def.columns);
    if (!table.def.cluster)
        return statement + SPACE_CLAUSE + storage_clause(table.place);
    const ClusterEntry &cluster = model.clusters.at(*table.def.cluster);
    statement += " STORAGE (  OBJNO " + std::to_string(table.place.objn) + " TABNO " +
                 std::to_string(table.tabno) + ") CLUSTER " + cluster.def.name + "(";
    for (const std::string &key : table.def.key_columns)
        statement += (&key == &table.def.key_columns.front() ? "" : ",") + key;
    return statement + ")";
}

std::vector<BootstrapRow> bootstrap_rows(const Model &model) {
    std::vector<BootstrapRow> rows;
    auto add = [&](const SegmentPlace &place, std::string text) {
        rows.push_back({static_cast<int32_t>(place.objn), static_cast<int32_t>(place.objn), std::move(text)});
    };
    for (const SystemCluster &c : system_clusters(model.layout)) {
        const ClusterEntry &cluster = model.clusters[find_system_cluster(model, c.name)];
        add(cluster.place, create_cluster_statement(cluster));
    }
    for (const SystemTable &t : system_tables(model.layout)) {
        if (!t.in_bootstrap)
            continue;
        size_t index = find_system_table(model, t.name);
        add(model.tables[index].place, create_table_statement(model, model.tables[index]));
        for (const IndexEntry &i : model.indexes)
            if (i.def.table == index)
                add(i.place, create_index_statement(model, i));
    }
    std::sort(rows.begin(), rows.end(),
              [](const BootstrapRow &a, const BootstrapRow &b) { return a.objn < b.objn; });
    rows.insert(rows.begin(), {-1, -1, "8.0.0.0.0"});
    return rows;
}

} // namespace sample
