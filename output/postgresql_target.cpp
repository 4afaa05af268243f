#include "output/postgresql_target.h"

#include <algorithm>

#include "values/errors.h"

namespace vexlo {

namespace {

constexpr uint64_t VALUE_MAX = 1000000000; // bytes as they are written, a little below what the server takes
constexpr size_t COLUMNS_MAX = 1600;
constexpr size_t ROW_SIZE_MAX = 8160; // what a page has for a row
constexpr size_t ROW_HEAD_SIZE = 23;  // without the bits that tell NULLs
constexpr size_t ROW_ALIGNMENT = 8;
constexpr size_t POINTER_SIZE = 18;    // of a value that stands elsewhere
constexpr size_t INLINE_SIZE_MAX = 21; // of a value with its length that stands in the row in any case
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

size_t aligned(size_t size, size_t alignment) {
    return (size + alignment - 1) / alignment * alignment;
}

// What a row has of a value of `size` bytes at least.
size_t stored_size(size_t size) {
    return size + 1 <= INLINE_SIZE_MAX ? size + 1 : POINTER_SIZE;
}

// The bytes of a numeric without its length: two, and two for each four digits.
size_t numeric_size(std::string_view text) {
    const std::string_view mantissa = text.substr(0, text.find_first_of("eE"));
    const size_t first = mantissa.find_first_of("123456789");
    if (first == std::string_view::npos)
        return 2;
    const size_t last = mantissa.find_last_of("123456789");
    const std::string_view digits = mantissa.substr(first, last - first + 1);
    const size_t count = digits.size() - (digits.find('.') != std::string_view::npos);
    return 2 + 2 * ((count + 3) / 4);
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

void check_postgresql_columns(const Table &table) {
    if (table.columns.size() > COLUMNS_MAX)
        throw OutputError("table \"" + printable(table.name) + "\": " + std::to_string(table.columns.size()) +
                          " columns are more than the " + std::to_string(COLUMNS_MAX) +
                          " that the server takes");
}

PostgresqlRowSize::PostgresqlRowSize(size_t columns)
    : bitmap_((columns + 7) / 8), can_be_too_large_(columns > ROW_SIZE_MAX / INLINE_SIZE_MAX) {}

void PostgresqlRowSize::add(const Column &column, const Cell &cell) {
    if (!can_be_too_large_)
        return;
    if (cell.kind == CellKind::null) {
        has_null_ = true;
        return;
    }
    switch (column.kind) {
    case ColumnKind::date:
    case ColumnKind::timestamp:
    case ColumnKind::timestamp_tz:
    case ColumnKind::timestamp_ltz:
    case ColumnKind::binary_double:
        return add_aligned(8, 8);
    case ColumnKind::interval_ym:
    case ColumnKind::interval_ds:
        return add_aligned(16, 8);
    case ColumnKind::binary_float:
        return add_aligned(4, 4);
    case ColumnKind::number:
        return add_aligned(stored_size(numeric_size(cell.view())), 1);
    default:
        return add_aligned(cell.stream != nullptr ? POINTER_SIZE : stored_size(cell.size), 1);
    }
}

void PostgresqlRowSize::add_aligned(size_t size, size_t alignment) {
    size_ = aligned(size_, alignment) + size;
}

std::string PostgresqlRowSize::refusal() {
    const size_t head = aligned(ROW_HEAD_SIZE + (has_null_ ? bitmap_ : 0), ROW_ALIGNMENT);
    const size_t size = aligned(head + size_, ROW_ALIGNMENT);
    has_null_ = false;
    size_ = 0;
    return size <= ROW_SIZE_MAX
               ? ""
               : "the row needs " + std::to_string(size) + " bytes at least, more than the " +
                     std::to_string(ROW_SIZE_MAX) + " that the server has for one";
}

PostgresqlCheck::PostgresqlCheck(const CellDecoder &decoder)
    : decoder_(decoder), row_size_(decoder.table().columns.size()) {}

std::string PostgresqlCheck::cell_refusal(const Column &column, const Cell &cell) {
    row_size_.add(column, cell);
    std::string refusal = postgresql_refusal(column, cell);
    if (!refusal.empty())
        row_size_.refusal(); // the next cell is one of another row
    return refusal;
}

std::string PostgresqlCheck::refusal(const Row &row) {
    if (!twin_)
        twin_ = decoder_.twin(POSTGRESQL_STYLE);
    const std::vector<Column> &columns = decoder_.table().columns;
    RowLosses known;
    for (size_t i = 0; i < columns.size(); ++i) {
        std::string refusal = cell_refusal(columns[i], twin_->decode(row, i, scratch_, known));
        if (!refusal.empty())
            return refusal;
    }
    return row_refusal();
}

} // namespace vexlo
