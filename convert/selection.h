// Which tables are converted: the patterns of --table and --exclude.
#pragma once

#include <set>
#include <string>
#include <vector>

#include "output/name_pattern.h"
#include "output/report.h"

namespace vexlo {

class TableSelection {
public:
    // Every table that one of `included` names, or any when it is empty, except those `excluded` names.
    // Throws UsageError.
    TableSelection(const std::vector<std::string> &included, const std::vector<std::string> &excluded);

    // Whether the table is to be converted; what has been asked for is remembered.
    bool selects(const std::string &owner, const std::string &table);

    // Reports the patterns that named no table, with the names that are most like them, and that patterns
    // left nothing.
    void report(Report &report) const;

private:
    struct Rule {
        NamePattern pattern;
        bool matched = false;
    };

    static bool match_any(std::vector<Rule> &rules, const std::string &owner, const std::string &table);
    std::string unmatched(const char *option, const NamePattern &pattern) const;

    std::vector<Rule> included_, excluded_;
    std::set<std::string> names_; // "OWNER.TABLE" of the tables seen
    bool selected_any_ = false;
};

} // namespace vexlo
