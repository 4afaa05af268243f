#include "csv_reader.h"

#include <algorithm>
#include <stdexcept>

namespace vexlo_test {

namespace {

class csv_parser {
public:
    explicit csv_parser(std::string_view text) : text_(text) {}

    std::vector<csv_row> parse() {
        std::vector<csv_row> rows;
        while (at_ < text_.size())
            rows.push_back(row());
        return rows;
    }

private:
    csv_row row() {
        csv_row fields{field()};
        while (take(','))
            fields.push_back(field());
        take('\r');
        if (!take('\n'))
            fail("field or line does not end");
        return fields;
    }

    std::optional<std::string> field() {
        if (take('"'))
            return quoted();
        const size_t end = std::min(text_.find_first_of(",\"\r\n", at_), text_.size());
        const std::string_view value = text_.substr(at_, end - at_);
        at_ = end;
        if (value.empty())
            return std::nullopt;
        return std::string(value);
    }

    std::string quoted() {
        std::string value;
        do {
            const size_t end = text_.find('"', at_);
            if (end == text_.npos)
                fail("quotes do not end");
            value += text_.substr(at_, end - at_);
            at_ = end + 1;
            if (at_ < text_.size() && text_[at_] == '"')
                value += '"';
        } while (take('"'));
        return value;
    }

    bool take(char c) {
        if (at_ >= text_.size() || text_[at_] != c)
            return false;
        at_++;
        return true;
    }

    [[noreturn]] void fail(const char *what) const {
        throw std::invalid_argument("CSV: " + std::string(what) + ", offset " + std::to_string(at_));
    }

    std::string_view text_;
    size_t at_ = 0;
};

} // namespace

std::vector<csv_row> parse_csv(std::string_view text) {
    return csv_parser(text).parse();
}

} // namespace vexlo_test
