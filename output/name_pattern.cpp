#include "output/name_pattern.h"

#include "output/names.h"
#include "values/errors.h"

namespace vexlo {

namespace {

char folded(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c;
}

// Each * is first taken for nothing and, where the rest does not fit, for one character more; only the last *
// met can need that, so the time is bounded by the product of both lengths.
bool wildcard_match(std::string_view pattern, std::string_view name) {
    size_t p = 0, n = 0;
    size_t star = std::string_view::npos, retry = 0;
    while (n < name.size()) {
        if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            retry = n;
        } else if (p < pattern.size() && pattern[p] == '?') {
            ++p;
            n += character_size(name.substr(n));
        } else if (p < pattern.size() && folded(pattern[p]) == folded(name[n])) {
            ++p;
            ++n;
        } else if (star != std::string_view::npos) {
            p = star + 1;
            retry += character_size(name.substr(retry));
            n = retry;
        } else {
            return false;
        }
    }
    return pattern.find_first_not_of('*', p) == std::string_view::npos;
}

} // namespace

NamePattern::NamePattern(std::string_view text) : text_(text) {
    std::string_view rest = text;
    table_ = take_part(rest);
    if (rest.empty()) {
        owner_.text = "*";
        return;
    }
    rest.remove_prefix(1);
    owner_ = std::move(table_);
    table_ = take_part(rest);
    if (!rest.empty())
        throw UsageError("pattern \"" + text_ + "\" has more than one \".\" outside double quotes");
}

// Takes what stands before a "." or the end.
NamePattern::Part NamePattern::take_part(std::string_view &rest) const {
    Part part;
    if (rest.starts_with('"')) {
        part.exact = true;
        size_t at = 1;
        for (;; ++at) {
            if (at >= rest.size())
                throw UsageError("pattern \"" + text_ + "\" has a double quote without its end");
            if (rest[at] == '"' && !rest.substr(at + 1).starts_with('"'))
                break;
            at += rest[at] == '"';
            part.text += rest[at];
        }
        rest.remove_prefix(at + 1);
    } else {
        part.text = rest.substr(0, rest.find_first_of(".\""));
        rest.remove_prefix(part.text.size());
    }
    if (part.text.empty() || (!rest.empty() && rest[0] != '.'))
        throw UsageError("\"" + text_ + "\" is no pattern of the form OWNER.TABLE");
    return part;
}

bool NamePattern::part_matches(const Part &part, std::string_view name) {
    return part.exact ? part.text == name : wildcard_match(part.text, name);
}

bool NamePattern::matches(std::string_view owner, std::string_view table) const {
    return part_matches(owner_, owner) && part_matches(table_, table);
}

} // namespace vexlo
