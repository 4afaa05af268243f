#include "values/single_byte.h"

#include <strings.h>

#include <algorithm>
#include <utility>

namespace vexlo {

bool same_charset_name(std::string_view a, std::string_view b) {
    return a.size() == b.size() && strncasecmp(a.data(), b.data(), a.size()) == 0;
}

std::optional<SingleByteSet> single_byte_set(std::string_view iconv_name) {
    for (const SingleByteSource &source : single_byte_sources()) {
        if (!same_charset_name(source.iconv, iconv_name))
            continue;
        SingleByteSet set{{}, source.compositions};
        std::ranges::copy(source.low, set.characters.begin());
        std::ranges::copy(source.high, set.characters.begin() + source.low.size());
        return set;
    }
    return std::nullopt;
}

char16_t composed(std::span<const Composition> compositions, char16_t letter, char16_t mark) {
    const auto key = [](const Composition &c) { return std::pair(c.letter, c.mark); };
    const auto found = std::ranges::lower_bound(compositions, std::pair(letter, mark), {}, key);
    return found != compositions.end() && key(*found) == std::pair(letter, mark) ? found->character : u'\0';
}

} // namespace vexlo
