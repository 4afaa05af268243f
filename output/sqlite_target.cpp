#include "output/sqlite_target.h"

#include <charconv>

#include <strings.h>

#include "output/create_table.h"

namespace vexlo {

namespace {

constexpr int REAL_DIGITS = 15;    // decimal digits that survive a double
constexpr int REAL_EXPONENT = 290; // powers of ten that surely stay inside its range
constexpr char KEPT_PREFIX[] = "sqlite_";

// Digits between the first and the last that is not zero.
int significant_digits(std::string_view digits) {
    int count = 0, zeros = 0;
    for (const char c : digits) {
        if (c < '0' || c > '9' || (c == '0' && count == 0))
            continue;
        ++count;
        zeros = c == '0' ? zeros + 1 : 0;
    }
    return count - zeros;
}

bool fits_integer(std::string_view text) {
    int64_t value;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
    return result.ec == std::errc() && result.ptr == text.data() + text.size();
}

} // namespace

SqliteStorage sqlite_storage(std::string_view text) {
    if (fits_integer(text))
        return SqliteStorage::integer;
    const size_t exponent_at = text.find('E');
    int exponent = 0;
    if (exponent_at != std::string_view::npos) {
        const char *from = text.data() + exponent_at + 1;
        std::from_chars(*from == '+' ? from + 1 : from, text.data() + text.size(), exponent);
    }
    const bool in_range = exponent >= -REAL_EXPONENT && exponent <= REAL_EXPONENT;
    return in_range && significant_digits(text.substr(0, exponent_at)) <= REAL_DIGITS ? SqliteStorage::real
                                                                                      : SqliteStorage::text;
}

const char *sqlite_column_type(const Column &column) {
    constexpr uint32_t BLOB_TYPE = 113;
    switch (column.kind) {
    case ColumnKind::number:
        return "/* NUMBER */";
    case ColumnKind::ready_integer:
        return "INTEGER";
    case ColumnKind::binary_float:
    case ColumnKind::binary_double:
        return "REAL";
    case ColumnKind::raw:
    case ColumnKind::long_raw:
        return "BLOB";
    case ColumnKind::lob:
        return column.ctyp == BLOB_TYPE ? "BLOB" : "TEXT";
    default:
        return "TEXT";
    }
}

std::string sqlite_create_table(const Table &table, const std::string &name) {
    return create_table_statement(table, name, sqlite_column_type);
}

std::string sqlite_table_name(const std::string &name) {
    return strncasecmp(name.c_str(), KEPT_PREFIX, sizeof KEPT_PREFIX - 1) == 0 ? "_" + name : name;
}

} // namespace vexlo
