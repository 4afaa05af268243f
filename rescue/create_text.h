// The CREATE statements of bootstrap$: where the core tables of the dictionary are, and what columns they
// have in which order of storage.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vexlo {

struct CreateColumn {
    std::string name;
    std::string type; // first word of it, such as NUMBER
    uint32_t length = 0;
};

// A CREATE TABLE or CREATE CLUSTER statement.
struct CreateText {
    bool is_cluster = false;
    std::string name;
    std::vector<CreateColumn> columns; // in the order of storage
    uint32_t object = 0;               // OBJNO of the storage clause
    uint32_t file = 0;                 // of the segment header; 0 in a cluster
    uint32_t block = 0;
    std::string cluster; // the cluster that holds the table; empty when none does
    uint32_t cluster_table = 0;
    std::vector<std::string> key; // the table's columns that are the cluster key

    // Place of a column in the order of storage; nothing when there is no such column.
    std::optional<size_t> column(std::string_view column_name) const;
};

// Takes the statement apart; nothing for what is no CREATE TABLE or CREATE CLUSTER. A clause that cannot be
// read leaves what it would have told empty.
std::optional<CreateText> parse_create_text(std::string_view text);

} // namespace vexlo
