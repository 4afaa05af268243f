// The tables of the dictionary that are read: where they are and in which order their columns are stored.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rescue/create_text.h"
#include "rescue/segment.h"

namespace vexlo {

// A dictionary table as a reader of its rows needs it.
struct SystemTable {
    std::string name;
    SegmentRef segment;
    uint32_t cluster_table = 0;       // number in its cluster; 0 outside one
    std::vector<std::string> key;     // columns of the cluster key
    std::vector<std::string> columns; // the others, in the order of storage
};

// What is known of a dictionary table when the database itself does not tell: the core tables have had the
// same object numbers and the same first columns since Oracle 9.
struct CoreTable {
    std::string_view name;
    uint32_t object;
    std::string_view cluster; // empty outside one
    uint32_t cluster_object;
    uint32_t cluster_table;
    std::string_view key;
    std::string_view columns; // separated by blanks, in the order of storage without the key
};

// The core table of that name; null when there is none.
const CoreTable *find_core_table(std::string_view name);

// The definition that a CREATE statement gives, the segment of a clustered table being its cluster's. Nothing
// when the statement of the cluster is not among `texts`, or a place is missing.
std::optional<SystemTable> define_table(const CreateText &text, std::span<const CreateText> texts,
                                        uint32_t tablespace);

// The definition of a core table whose statement is lost. Its segment has no header: its blocks are found by
// their data object number, unless the statement of its cluster is among `texts`.
SystemTable define_table(const CoreTable &core, std::span<const CreateText> texts, uint32_t tablespace);

} // namespace vexlo
