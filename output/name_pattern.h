// Patterns that select tables by owner and name.
#pragma once

#include <string>
#include <string_view>

namespace vexlo {

// "OWNER.TABLE" or "TABLE", which stands for any owner. In each part * stands for any characters and ? for
// one, and letters match in either case (of ASCII); a part in double quotes is taken as it stands, with two
// double quotes for one.
class NamePattern {
public:
    // Throws UsageError for a text that is no pattern.
    explicit NamePattern(std::string_view text);

    // Whether the pattern selects the table; both names are UTF-8.
    bool matches(std::string_view owner, std::string_view table) const;
    // The same of a table whose owner is not known.
    bool matches_table(std::string_view table) const { return part_matches(table_, table); }

    // As the user wrote it.
    const std::string &text() const { return text_; }

private:
    struct Part {
        std::string text;
        bool exact = false;
    };

    Part take_part(std::string_view &rest) const;
    static bool part_matches(const Part &part, std::string_view name);

    std::string text_;
    Part owner_, table_;
};

} // namespace vexlo
