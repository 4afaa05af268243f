#include "output/postgresql_target.h"

#include <algorithm>

namespace vexlo {

namespace {

constexpr uint64_t VALUE_MAX = 1000000000; // bytes as they are written, a little below what the server takes
constexpr const char *NUL_FAULT = "the server has no place for NUL in a text";

bool holds_nul(std::string_view text) {
    return text.find('\0') != std::string_view::npos;
}

// Characters of a UTF-8 text: the bytes that do not continue one.
size_t count_characters(std::string_view utf8) {
    return static_cast<size_t>(std::count_if(
        utf8.begin(), utf8.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xC0) != 0x80; }));
}

std::string text_fault(const Column &column, std::string_view utf8) {
    if (holds_nul(utf8))
        return NUL_FAULT;
    const size_t limit = postgresql_text_limit(column);
    if (limit == 0 || utf8.size() <= limit)
        return "";
    const size_t characters = count_characters(utf8);
    return characters <= limit ? ""
                               : std::to_string(characters) + " characters are more than the " +
                                     std::to_string(limit) + " declared";
}

// The columns of streams have no declared length.
std::string stream_fault(const Cell &cell) {
    const bool is_text = cell.kind == CellKind::text_stream;
    uint64_t size = 0;
    bool nul = false;
    cell.stream->for_each_piece([&](std::span<const uint8_t> piece) {
        size += is_text ? piece.size() : 2 * piece.size();
        nul |= is_text && holds_nul({reinterpret_cast<const char *>(piece.data()), piece.size()});
    });
    if (nul)
        return NUL_FAULT;
    return size <= VALUE_MAX ? "" : std::to_string(size) + " bytes are more than the server takes";
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
    else if (cell.stream != nullptr)
        fault = stream_fault(cell);
    else if (cell.facts != 0)
        fault = moment_fault(cell);
    return fault.empty() ? fault : "column \"" + printable(column.name) + "\": " + fault;
}

std::string PostgresqlCheck::refusal(const Row &row) {
    if (!twin_)
        twin_ = decoder_.twin(POSTGRESQL_STYLE);
    const std::vector<Column> &columns = decoder_.table().columns;
    RowLosses known;
    for (size_t i = 0; i < columns.size(); ++i) {
        std::string refusal = postgresql_refusal(columns[i], twin_->decode(row, i, scratch_, known));
        if (!refusal.empty())
            return refusal;
    }
    return "";
}

} // namespace vexlo
