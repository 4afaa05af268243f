// Which tables are converted: the patterns of --table and --exclude.
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "output/report.h"

namespace vexlo {

// "TABLE" or "OWNER.TABLE". In each part "*" stands for any characters and "?" for one, and the case of
// letters does not matter; a part in double quotes is the name as it is, with "" for a quote in it.
class TablePattern {
public:
    // Throws UsageError when `text` is no pattern.
    explicit TablePattern(const std::string &text);

    const std::string &text() const { return text_; }
    bool matches(std::string_view owner, std::string_view table) const;

private:
    struct Part {
        std::string name;
        bool exact = false;
    };

    static Part parse_part(std::string_view &rest, const std::string &text);
    static bool part_matches(const Part &part, std::string_view name);

    std::string text_;
    Part owner_{"*", false};
    Part table_;
};

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
        TablePattern pattern;
        bool matched = false;
    };

    static bool match_any(std::vector<Rule> &rules, const std::string &owner, const std::string &table);
    std::string unmatched(const char *option, const TablePattern &pattern) const;

    std::vector<Rule> included_, excluded_;
    std::set<std::string> names_; // "OWNER.TABLE" of the tables seen
    bool selected_any_ = false;
};

} // namespace vexlo
