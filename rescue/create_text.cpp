#include "rescue/create_text.h"

#include <algorithm>
#include <charconv>

namespace vexlo {

namespace {

constexpr std::string_view WHITE_SPACE = " \t\r\n";

// Reads words, names and parentheses of a statement from the front. At its end everything read is empty.
class Scanner {
public:
    explicit Scanner(std::string_view text) : left_(text) { skip_space(); }

    bool at_end() const { return left_.empty(); }
    char front() const { return left_.empty() ? '\0' : left_.front(); }

    // Passes over `word` when it stands next as a whole word.
    bool take_word(std::string_view word) {
        if (!left_.starts_with(word) || (left_.size() > word.size() && is_word(left_[word.size()])))
            return false;
        drop(word.size());
        return true;
    }

    bool take_char(char c) {
        if (front() != c || at_end())
            return false;
        drop(1);
        return true;
    }

    // A name, in double quotes or not.
    std::string name() {
        if (front() == '"') {
            const size_t end = left_.find('"', 1);
            const std::string_view found = left_.substr(1, end == std::string_view::npos ? end : end - 1);
            drop(end == std::string_view::npos ? left_.size() : end + 1);
            return std::string(found);
        }
        return std::string(word());
    }

    std::string_view word() {
        const size_t size =
            static_cast<size_t>(std::find_if_not(left_.begin(), left_.end(), is_word) - left_.begin());
        const std::string_view found = left_.substr(0, size);
        drop(size);
        return found;
    }

    uint32_t number() {
        uint32_t value = 0;
        const std::string_view digits = word();
        std::from_chars(digits.data(), digits.data() + digits.size(), value);
        return value;
    }

    // Passes over everything up to a "," or ")" of this level.
    void skip_definition() {
        int depth = 0;
        while (!at_end() && (depth > 0 || (front() != ',' && front() != ')'))) {
            depth += front() == '(' ? 1 : front() == ')' ? -1 : 0;
            drop(1);
        }
    }

    // Goes behind the ")" that belongs to a "(" taken before.
    void leave_parentheses() {
        skip_definition();
        while (take_char(','))
            skip_definition();
        take_char(')');
    }

    // Goes to the next word `key` anywhere in what is left and behind it; false when there is none.
    bool find_word(std::string_view key) {
        for (size_t at = left_.find(key); at != std::string_view::npos; at = left_.find(key, at + 1)) {
            const size_t end = at + key.size();
            if ((at > 0 && is_word(left_[at - 1])) || (end < left_.size() && is_word(left_[end])))
                continue;
            drop(end);
            return true;
        }
        return false;
    }

private:
    static bool is_word(char c) {
        return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '_' ||
               c == '$' || c == '#' || static_cast<unsigned char>(c) >= 0x80;
    }
    void skip_space() { left_.remove_prefix(std::min(left_.find_first_not_of(WHITE_SPACE), left_.size())); }
    void drop(size_t size) {
        left_.remove_prefix(size);
        skip_space();
    }

    std::string_view left_;
};

void read_columns(Scanner &scanner, CreateText &create) {
    if (!scanner.take_char('('))
        return;
    do {
        CreateColumn column;
        column.name = scanner.name();
        column.type = scanner.word();
        if (scanner.take_char('(')) {
            column.length = scanner.number();
            scanner.leave_parentheses();
        }
        scanner.skip_definition();
        if (!column.name.empty())
            create.columns.push_back(std::move(column));
    } while (scanner.take_char(','));
    scanner.take_char(')');
}

uint32_t number_behind(Scanner scanner, std::string_view key) {
    return scanner.find_word(key) ? scanner.number() : 0;
}

void read_storage(Scanner scanner, CreateText &create) {
    if (!scanner.find_word("STORAGE"))
        return;
    create.object = number_behind(scanner, "OBJNO");
    create.cluster_table = number_behind(scanner, "TABNO");
    create.file = number_behind(scanner, "FILE");
    create.block = number_behind(scanner, "BLOCK");
}

void read_cluster(Scanner scanner, CreateText &create) {
    if (create.is_cluster || !scanner.find_word("CLUSTER"))
        return;
    create.cluster = scanner.name();
    if (!scanner.take_char('('))
        return;
    do
        create.key.push_back(scanner.name());
    while (scanner.take_char(','));
}

} // namespace

std::optional<size_t> CreateText::column(std::string_view column_name) const {
    const auto it = std::find_if(columns.begin(), columns.end(),
                                 [&](const CreateColumn &column) { return column.name == column_name; });
    if (it == columns.end())
        return std::nullopt;
    return static_cast<size_t>(it - columns.begin());
}

std::optional<CreateText> parse_create_text(std::string_view text) {
    Scanner scanner(text);
    CreateText create;
    if (!scanner.take_word("CREATE"))
        return std::nullopt;
    create.is_cluster = scanner.take_word("CLUSTER");
    if (!create.is_cluster && !scanner.take_word("TABLE"))
        return std::nullopt;
    create.name = scanner.name();
    if (create.name.empty())
        return std::nullopt;
    read_columns(scanner, create);
    read_storage(scanner, create);
    read_cluster(scanner, create);
    return create;
}

} // namespace vexlo
