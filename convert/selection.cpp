#include "convert/selection.h"

#include <algorithm>
#include <string_view>
#include <utility>

#include "output/console.h"

namespace vexlo {

namespace {

constexpr size_t NAMES_SEEN_MAX = 10000; // of the tables that a hint is chosen from
constexpr size_t HINTS = 5;

char upper(char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - ('a' - 'A')) : c;
}

std::string upper(std::string_view text) {
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(), [](char c) { return upper(c); });
    return result;
}

// Letters to change, insert or leave out to make one text of the other.
size_t distance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = std::exchange(row[0], i);
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t change = diagonal + (a[i - 1] != b[j - 1]);
            diagonal = row[j];
            row[j] = std::min({change, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

} // namespace

TableSelection::TableSelection(const std::vector<std::string> &included,
                               const std::vector<std::string> &excluded) {
    for (const std::string &text : included)
        included_.push_back({NamePattern(text)});
    for (const std::string &text : excluded)
        excluded_.push_back({NamePattern(text)});
}

bool TableSelection::match_any(std::vector<Rule> &rules, const std::string &owner, const std::string &table) {
    bool any = false;
    for (Rule &rule : rules) {
        const bool matched = rule.pattern.matches(owner, table);
        rule.matched |= matched;
        any |= matched;
    }
    return any;
}

bool TableSelection::selects(const std::string &owner, const std::string &table) {
    if (names_.size() < NAMES_SEEN_MAX)
        names_.insert(owner + "." + table);
    const bool included = match_any(included_, owner, table) || included_.empty();
    const bool excluded = match_any(excluded_, owner, table);
    const bool selected = included && !excluded;
    selected_any_ |= selected;
    return selected;
}

void TableSelection::report(Report &report) const {
    for (const Rule &rule : included_)
        if (!rule.matched)
            report.failure(unmatched("--table ", rule.pattern));
    for (const Rule &rule : excluded_)
        if (!rule.matched)
            report.note(unmatched("--exclude ", rule.pattern));
    if (!selected_any_ && !names_.empty() && report.exit_status() != EXIT_FAILED)
        report.failure("no table is selected");
}

std::string TableSelection::unmatched(const char *option, const NamePattern &pattern) const {
    std::string wanted = upper(pattern.text());
    std::erase(wanted, '"');
    const bool with_owner = wanted.find('.') != std::string::npos;
    std::vector<std::pair<size_t, std::string>> nearest;
    for (const std::string &name : names_)
        nearest.emplace_back(distance(wanted, upper(with_owner ? name : name.substr(name.find('.') + 1))),
                             name);
    std::sort(nearest.begin(), nearest.end());
    nearest.resize(std::min(nearest.size(), HINTS));
    std::string text = option + printable(pattern.text()) + ": no such table in the files";
    const char *separator = "; there is ";
    for (const auto &[far, name] : nearest)
        text += std::exchange(separator, ", ") + printable(name);
    return text + (names_.size() > HINTS ? ", ..." : "");
}

} // namespace vexlo
