#include "convert/selection.h"

#include <algorithm>
#include <utility>

#include "output/console.h"
#include "values/errors.h"

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

// Bytes of an UTF-8 character that begins with `c`.
size_t character_size(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

// `pattern` in upper case. After a mismatch the last "*" takes one character more.
bool wildcard_matches(std::string_view pattern, std::string_view name) {
    size_t p = 0, n = 0, star = std::string_view::npos, star_name = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            star_name = n;
        } else if (p < pattern.size() && pattern[p] == '?') {
            ++p;
            n = std::min(name.size(), n + character_size(name[n]));
        } else if (p < pattern.size() && pattern[p] == upper(name[n])) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            n = ++star_name;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
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

[[noreturn]] void refuse(const std::string &text, const char *why) {
    throw UsageError("\"" + printable(text) + "\" is no table: " + why);
}

} // namespace

TablePattern::TablePattern(const std::string &text) : text_(text) {
    std::string_view rest = text;
    table_ = parse_part(rest, text);
    if (rest.empty())
        return;
    rest.remove_prefix(1);
    owner_ = std::exchange(table_, parse_part(rest, text));
    if (!rest.empty())
        refuse(text, "it has more than one dot outside quotes");
}

// Takes the part up to the next dot from `rest`.
TablePattern::Part TablePattern::parse_part(std::string_view &rest, const std::string &text) {
    Part part;
    part.exact = rest.starts_with('"');
    if (!part.exact) {
        part.name = upper(rest.substr(0, rest.find('.')));
        rest.remove_prefix(part.name.size());
        if (part.name.find('"') != std::string::npos)
            refuse(text, "a quote inside a name");
    } else {
        for (;;) {
            rest.remove_prefix(1);
            const size_t quote = rest.find('"');
            if (quote == std::string_view::npos)
                refuse(text, "the quote is not closed");
            part.name += rest.substr(0, quote);
            rest.remove_prefix(quote + 1);
            if (!rest.starts_with('"'))
                break;
            part.name += '"';
        }
        if (!rest.empty() && rest[0] != '.')
            refuse(text, "text behind the closing quote");
    }
    if (part.name.empty())
        refuse(text, "a name is empty");
    return part;
}

bool TablePattern::part_matches(const Part &part, std::string_view name) {
    return part.exact ? part.name == name : wildcard_matches(part.name, name);
}

bool TablePattern::matches(std::string_view owner, std::string_view table) const {
    return part_matches(table_, table) && part_matches(owner_, owner);
}

TableSelection::TableSelection(const std::vector<std::string> &included,
                               const std::vector<std::string> &excluded) {
    for (const std::string &text : included)
        included_.push_back({TablePattern(text)});
    for (const std::string &text : excluded)
        excluded_.push_back({TablePattern(text)});
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

std::string TableSelection::unmatched(const char *option, const TablePattern &pattern) const {
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
