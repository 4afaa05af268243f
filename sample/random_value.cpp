#include "random_value.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "vexlo.h"

namespace sample {

namespace {

constexpr uint32_t TIMESTAMP_SIZE = 11;

template <class... Parts>
std::string formatted(const char *format, Parts... parts) {
    char line[128];
    std::snprintf(line, sizeof line, format, parts...);
    return line;
}

// ---- Numbers

std::string random_digits(RandomSource &random, int count) {
    std::string digits;
    for (int i = 0; i < count; i++)
        digits += static_cast<char>('0' + random.below(10));
    return digits;
}

// The decimal text without zeros that say nothing.
std::string random_decimal(RandomSource &random) {
    std::string whole = random_digits(random, random.between(0, random.chance(20) ? 24 : 7));
    whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size()));
    std::string fraction = random.chance(50) ? random_digits(random, random.between(1, 12)) : "";
    fraction.erase(fraction.find_last_not_of('0') + 1);
    if (whole.empty() && fraction.empty())
        return "0";
    std::string text = random.chance(30) ? "-" : "";
    text += whole.empty() ? "0" : whole;
    return fraction.empty() ? text : text + '.' + fraction;
}

RandomCell number_cell(RandomSource &random) {
    std::string text = random_decimal(random);
    return {decimal(text), text};
}

template <class Real>
std::string shortest_text(Real value) {
    char digits[64];
    return {digits, std::to_chars(digits, digits + sizeof digits, value).ptr};
}

// ---- Moments

DateTime random_moment(RandomSource &random) {
    int year = random.chance(5) ? random.between(-4711, -1) : random.between(1, 9999);
    return {year,
            random.between(1, 12),
            random.between(1, 28),
            random.between(0, 23),
            random.between(0, 59),
            random.between(0, 59)};
}

uint32_t random_nanoseconds(RandomSource &random) {
    constexpr uint32_t units[] = {1, 1000, 1000000, 100000000};
    uint32_t unit = random.pick(units);
    return random.chance(20) ? 0 : random.below(1000000000 / unit) * unit;
}

std::string fraction_text(uint32_t nanoseconds) {
    if (nanoseconds == 0)
        return "";
    std::string text = formatted(".%09u", nanoseconds);
    return text.erase(text.find_last_not_of('0') + 1);
}

std::string moment_text(const DateTime &t, uint32_t nanoseconds = 0) {
    return formatted("%s%04d-%02d-%02dT%02d:%02d:%02d", t.year < 0 ? "-" : "", std::abs(t.year), t.month,
                     t.day, t.hour, t.minute, t.second) +
           fraction_text(nanoseconds);
}

// The hour is such that the local time falls on the same day.
RandomCell zoned_cell(RandomSource &random) {
    DateTime t = random_moment(random);
    t.hour = 12;
    t.minute = 0;
    int offset = 15 * random.between(-44, 44);
    uint32_t nanoseconds = random_nanoseconds(random);
    DateTime local = t;
    local.hour = (12 * 60 + offset) / 60;
    local.minute = (12 * 60 + offset) % 60;
    int minutes = std::abs(offset);
    return {timestamp_tz(t, nanoseconds, offset),
            moment_text(local, nanoseconds) +
                formatted("%c%02d:%02d", offset < 0 ? '-' : '+', minutes / 60, minutes % 60)};
}

RandomCell months_cell(RandomSource &random) {
    int months = random.between(-1000, 1000);
    return {interval_ym(months / 12, months % 12), formatted("P%dY%dM", months / 12, months % 12)};
}

RandomCell seconds_cell(RandomSource &random) {
    int sign = random.chance(40) ? -1 : 1;
    int days = sign * random.between(0, 999999), hours = sign * random.between(0, 23);
    int minutes = sign * random.between(0, 59), seconds = sign * random.between(0, 59);
    uint32_t nanoseconds = random_nanoseconds(random);
    bool lost_sign = sign < 0 && seconds == 0 && nanoseconds != 0; // "%d" shows none for -0
    return {interval_ds(days, hours, minutes, seconds, sign * static_cast<int>(nanoseconds)),
            formatted("P%dDT%dH%dM%s%d", days, hours, minutes, lost_sign ? "-" : "", seconds) +
                fraction_text(nanoseconds) + "S"};
}

// ---- Text

// Mostly letters; now and then what an output format must quote, or a letter beyond ASCII.
uint32_t random_point(RandomSource &random, bool unicode) {
    constexpr uint32_t special[] = {',', '"', '\'', '\\', '\n', '\r', '\t', ' ', ';', '&'};
    constexpr uint32_t latin[] = {0xE9, 0xFC, 0xDF, 0xD1, 0xA3, 0xFF};
    constexpr uint32_t wide[] = {0x20AC, 0x6F22, 0x5B57, 0x416, 0x1F600, 0x10FFFD};
    if (random.chance(90))
        return 'a' + random.below(26);
    if (random.chance(60))
        return random.pick(special);
    return unicode && random.chance(60) ? random.pick(wide) : random.pick(latin);
}

enum class CodeUnits { utf8, latin1, utf16 };

RandomCell text_cell(RandomSource &random, CodeUnits units, size_t longest) {
    Bytes stored;
    std::string shown;
    constexpr size_t widest = 4;
    size_t wanted = 1 + random.below(static_cast<uint32_t>(longest));
    while (stored.size() < wanted) {
        bool room = longest - stored.size() >= widest;
        uint32_t point = room ? random_point(random, units != CodeUnits::latin1) : 'z';
        if (units == CodeUnits::utf16) {
            if (longest - stored.size() < 2)
                break;
            append_utf16(stored, point);
        } else if (units == CodeUnits::latin1) {
            stored.push_back(static_cast<uint8_t>(point));
        } else {
            std::string bytes;
            append_utf8(bytes, point);
            stored.insert(stored.end(), bytes.begin(), bytes.end());
        }
        append_utf8(shown, point);
    }
    if (stored.empty())
        return {};
    return {stored, shown};
}

void pad(RandomCell &cell, size_t width) {
    if (!cell.stored)
        return;
    cell.shown->append(width - std::min(width, cell.stored->size()), ' ');
    cell.stored->resize(std::max(width, cell.stored->size()), ' ');
}

RandomCell binary_cell(RandomSource &random, size_t longest) {
    Bytes stored(1 + random.below(static_cast<uint32_t>(longest)));
    std::string shown;
    for (uint8_t &byte : stored) {
        byte = static_cast<uint8_t>(random.below(256));
        shown += formatted("%02X", byte);
    }
    return {stored, shown};
}

CodeUnits code_units(const ColumnDef &column, TextStorage storage) {
    if (column.charset_form == NATIONAL_FORM)
        return CodeUnits::utf16;
    return storage == TextStorage::utf8 ? CodeUnits::utf8 : CodeUnits::latin1;
}

size_t shorter(size_t a, size_t b) {
    return std::min(a, b);
}

} // namespace

ColumnDef random_column(RandomSource &random, std::string name) {
    auto length = [&] {
        return static_cast<uint32_t>(random.chance(20) ? random.between(100, 4000) : random.between(1, 60));
    };
    switch (random.below(16)) {
    case 0:
    case 1:
    case 2:
        return number_column(std::move(name));
    case 3: {
        ColumnDef national = varchar2_column(std::move(name), 2 * length());
        national.charset_form = NATIONAL_FORM;
        return national;
    }
    case 4:
        return char_column(std::move(name), static_cast<uint32_t>(random.between(1, 40)));
    case 5:
        return date_column(std::move(name));
    case 6:
        return typed_column(std::move(name), TYPE_RAW, length());
    case 7:
        return typed_column(std::move(name), TYPE_BINARY_FLOAT, 4);
    case 8:
        return typed_column(std::move(name), TYPE_BINARY_DOUBLE, 8);
    case 9:
        return typed_column(std::move(name), TYPE_TIMESTAMP, TIMESTAMP_SIZE);
    case 10:
        return typed_column(std::move(name), TYPE_TIMESTAMP_TZ, 13);
    case 11:
        return typed_column(std::move(name), TYPE_INTERVAL_YM, 5);
    case 12:
        return typed_column(std::move(name), TYPE_INTERVAL_DS, TIMESTAMP_SIZE);
    default:
        return varchar2_column(std::move(name), length());
    }
}

RandomCell random_cell(RandomSource &random, const ColumnDef &column, TextStorage storage, size_t longest) {
    size_t limit = shorter(column.length, longest);
    switch (column.type) {
    case TYPE_NUMBER:
        return number_cell(random);
    case TYPE_VARCHAR2:
        return text_cell(random, code_units(column, storage), limit);
    case TYPE_LONG:
        return text_cell(random, code_units(column, storage), longest);
    case TYPE_CHAR: {
        RandomCell cell = text_cell(random, code_units(column, storage), limit);
        pad(cell, column.length);
        return cell;
    }
    case TYPE_RAW:
        return binary_cell(random, limit);
    case TYPE_LONG_RAW:
        return binary_cell(random, longest);
    case TYPE_DATE: {
        DateTime t = random_moment(random);
        return {date(t), moment_text(t)};
    }
    case TYPE_TIMESTAMP: {
        DateTime t = random_moment(random);
        uint32_t nanoseconds = random_nanoseconds(random);
        return {timestamp(t, nanoseconds), moment_text(t, nanoseconds)};
    }
    case TYPE_TIMESTAMP_TZ:
        return zoned_cell(random);
    case TYPE_INTERVAL_YM:
        return months_cell(random);
    case TYPE_INTERVAL_DS:
        return seconds_cell(random);
    case TYPE_BINARY_FLOAT: {
        auto value = static_cast<float>(random.between(-100000, 100000)) / 8;
        return {binary_float(value), shortest_text(value == 0 ? 0.0F : value)};
    }
    case TYPE_BINARY_DOUBLE: {
        double value = random.between(-1000000000, 1000000000) / 1024.0;
        return {binary_double(value), shortest_text(value == 0 ? 0.0 : value)};
    }
    default:
        throw std::invalid_argument("no random values of column type " + std::to_string(column.type));
    }
}

} // namespace sample
