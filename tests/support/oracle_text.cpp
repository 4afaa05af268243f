#include "oracle_text.h"

#include <cstdio>
#include <stdexcept>

namespace vexlo_test {
namespace {

[[noreturn]] void refuse(const std::string &type, const bytes &value) {
    throw std::invalid_argument("not a " + type + ": " + to_hex(value));
}

// Base-100 digits of a NUMBER, most significant first, as two decimal characters each. A positive number
// stores digit + 1; a negative one 101 - digit and, when there is room, a closing byte 102.
std::string digit_pairs(const bytes &value, bool negative) {
    std::size_t end = value.size();
    if (negative && value.back() == 102)
        --end;
    std::string pairs;
    for (std::size_t i = 1; i < end; ++i) {
        const int digit = negative ? 101 - value[i] : value[i] - 1;
        if (digit < 0 || digit > 99)
            refuse("NUMBER", value);
        pairs += static_cast<char>('0' + digit / 10);
        pairs += static_cast<char>('0' + digit % 10);
    }
    if (pairs.empty())
        refuse("NUMBER", value);
    return pairs;
}

// Places the decimal point after `point` characters of `digits` and drops the zeros that carry no value.
std::string decimal(std::string digits, int point) {
    if (point < 0) {
        digits.insert(0, static_cast<std::size_t>(-point), '0');
        point = 0;
    }
    const auto whole_size = static_cast<std::size_t>(point);
    if (digits.size() < whole_size)
        digits.resize(whole_size, '0');
    std::string whole = digits.substr(0, whole_size);
    std::string fraction = digits.substr(whole_size);
    whole.erase(0, whole.find_first_not_of('0'));
    fraction.erase(fraction.find_last_not_of('0') + 1);
    if (whole.empty())
        whole = "0";
    return fraction.empty() ? whole : whole + "." + fraction;
}

std::uint32_t big_endian(const bytes &value, std::size_t at) {
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < 4; ++i)
        number = number << 8 | value[at + i];
    return number;
}

bool within(int x, int low, int high) {
    return low <= x && x <= high;
}

// Century and year lie 100 above their value, hour, minute and second 1 above.
std::string seconds_text(const bytes &value, const std::string &type) {
    const int year = (value[0] - 100) * 100 + (value[1] - 100);
    const int hour = value[4] - 1;
    const int minute = value[5] - 1;
    const int second = value[6] - 1;
    if (!within(value[2], 1, 12) || !within(value[3], 1, 31) || !within(hour, 0, 23) ||
        !within(minute, 0, 59) || !within(second, 0, 59))
        refuse(type, value);
    char text[64];
    std::snprintf(text, sizeof text, "%s%04d-%02d-%02d %02d:%02d:%02d", year < 0 ? "-" : "",
                  year < 0 ? -year : year, value[2], value[3], hour, minute, second);
    return text;
}

std::string value_text(const bytes &value, std::uint32_t ctyp) {
    switch (ctyp) {
    case 1:
    case 96:
        return char_text(value);
    case 2:
        return number_text(value);
    case 12:
        return date_text(value);
    case 180:
        return timestamp_text(value);
    default:
        return to_hex(value);
    }
}

} // namespace

std::string number_text(const bytes &value) {
    if (value.empty())
        refuse("NUMBER", value);
    const int first = value[0];
    if (value.size() == 1 && first == 0x80)
        return "0";
    if (value == bytes{0xFF, 0x65})
        return "~";
    if (value == bytes{0x00})
        return "-~";
    if (first >= 0x80)
        return decimal(digit_pairs(value, false), 2 * (first - 0xC0));
    return "-" + decimal(digit_pairs(value, true), 2 * (0x3F - first));
}

std::string date_text(const bytes &value) {
    if (value.size() != 7)
        refuse("DATE", value);
    return seconds_text(value, "DATE");
}

std::string timestamp_text(const bytes &value) {
    if (value.size() != 7 && value.size() != 11)
        refuse("TIMESTAMP", value);
    const std::string seconds = seconds_text(value, "TIMESTAMP");
    if (value.size() == 7)
        return seconds;
    const std::string fraction = std::to_string(big_endian(value, 7));
    if (fraction.size() > 9)
        refuse("TIMESTAMP", value);
    return seconds + "." + std::string(9 - fraction.size(), '0') + fraction;
}

std::string char_text(const bytes &value) {
    return std::string(value.begin(), value.end());
}

std::string entry_text(const dump_entry &entry, std::uint32_t ctyp) {
    switch (entry.kind) {
    case entry_kind::null:
        return "NULL";
    case entry_kind::lob:
        return "<LOB>";
    case entry_kind::long_marker:
        return "<LONG>";
    case entry_kind::value:
        break;
    }
    return value_text(entry.value, ctyp);
}

std::string row_text(const dump_section &section, const dump_row &row) {
    std::string text;
    for (std::size_t i = 0; i < section.columns.size(); ++i) {
        text += i == 0 ? "" : "|";
        text += i < row.entries.size() ? entry_text(row.entries[i], section.columns[i].ctyp) : "NULL";
    }
    return text;
}

std::vector<std::string> section_text(const dump_section &section) {
    std::vector<std::string> rows;
    for (const dump_row &row : section.rows)
        rows.push_back(row_text(section, row));
    return rows;
}

bytes long_value(const dump_row &row) {
    bytes value;
    for (const bytes &chunk : row.long_chunks)
        value.insert(value.end(), chunk.begin(), chunk.end());
    return value;
}

} // namespace vexlo_test
