#include "output/sqlite_target.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace vexlo {

namespace {

constexpr int REAL_DIGITS = 15;    // decimal digits that survive a double
constexpr int REAL_EXPONENT = 290; // powers of ten that surely stay inside its range

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

// Up to fifteen digits without an exponent, at most four of them behind a point: the quotient of two such
// whole numbers is rounded right even where it is computed in 64 bits of mantissa first.
bool is_short_literal(std::string_view text) {
    constexpr size_t DECIMALS_MAX = 4;
    if (text.find_first_of("Ee") != std::string_view::npos)
        return false;
    const size_t point = text.find('.');
    const size_t decimals = point == std::string_view::npos ? 0 : text.size() - point - 1;
    return point != std::string_view::npos && decimals <= DECIMALS_MAX && text.size() <= REAL_DIGITS;
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

std::string sqlite_real_expression(std::string_view text) {
    constexpr int MANTISSA_BITS = 53, STEP_BITS = 62;
    if (is_short_literal(text))
        return std::string(text);
    double value = 0;
    std::from_chars(text.data(), text.data() + text.size(), value);
    int exponent;
    const double fraction = std::frexp(value, &exponent);
    auto whole = static_cast<int64_t>(std::ldexp(fraction, MANTISSA_BITS));
    exponent -= MANTISSA_BITS;
    if (whole == 0)
        return std::signbit(value) ? "-0.0" : "0.0";
    for (; whole % 2 == 0; whole /= 2)
        ++exponent;
    std::string expression = std::to_string(whole) + "*1.0";
    for (int left = std::abs(exponent); left > 0; left -= STEP_BITS)
        expression += (exponent < 0 ? "/" : "*") + std::to_string(int64_t{1} << std::min(left, STEP_BITS));
    return expression;
}

bool fits_sqlite(uint64_t size, uint64_t most, const Row &row, const Column &column, RowLosses &losses) {
    if (size <= most)
        return true;
    losses.add_null(row.number, row.offset,
                    "column \"" + printable(column.name) + "\": " + std::to_string(size) +
                        " bytes are more than SQLite takes, taken as NULL");
    return false;
}

} // namespace vexlo
