#include "output/postgresql_target.h"

#include <algorithm>
#include <cstring>

namespace vexlo {

namespace {

// Characters of a UTF-8 text: the bytes that do not continue one.
size_t count_characters(std::string_view utf8) {
    return static_cast<size_t>(std::count_if(
        utf8.begin(), utf8.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}

std::string text_fault(const Column &column, std::string_view utf8) {
    if (!utf8.empty() && std::memchr(utf8.data(), 0, utf8.size()) != nullptr)
        return "the server has no place for NUL in a text";
    const size_t limit = postgresql_text_limit(column);
    if (limit == 0 || utf8.size() <= limit)
        return "";
    const size_t characters = count_characters(utf8);
    return characters <= limit ? ""
                               : std::to_string(characters) + " characters are more than the " +
                                     std::to_string(limit) + " declared";
}

std::string moment_fault(const Cell &cell) {
    if ((cell.facts & JULIAN_ONLY) != 0)
        return std::string(cell.view()) + " is a day that the calendar of the server lacks";
    if ((cell.facts & WIDE_MONTHS) != 0)
        return std::string(cell.view()) + " is beyond the intervals of the server";
    return "";
}

} // namespace

std::string postgresql_refusal(const Column &column, const Cell &cell) {
    std::string fault;
    if (cell.kind == CellKind::text)
        fault = text_fault(column, cell.view());
    else if (cell.facts != 0)
        fault = moment_fault(cell);
    return fault.empty() ? fault : "column \"" + printable(column.name) + "\": " + fault;
}

} // namespace vexlo
