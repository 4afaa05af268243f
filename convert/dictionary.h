// The dictionary files of `vexlo`: what a dump without its directory does not say.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "convert/column_list.h"

namespace vexlo {

class Dictionary {
public:
    struct Table {
        std::string owner, name;
        std::vector<ColumnInfo> columns;
    };

    // Reads the files in `directory`; throws InputError when one is missing or cannot be read.
    explicit Dictionary(const std::string &directory);

    // The one table with these column names, of `owner` unless that is empty; null when there is none or
    // several.
    const Table *find(const std::vector<ColumnInfo> &columns, const std::string &owner) const;
    // The value of a database property, empty when there is none.
    std::string property(const std::string &name) const;

private:
    std::vector<Table> tables_;
    std::multimap<std::string, size_t> by_columns_;
    std::map<std::string, std::string> properties_;
};

} // namespace vexlo
