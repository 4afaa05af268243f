#include "values/date_format.h"

#include <cstdlib>
#include <string>

#include "values/digits.h"

namespace vexlo {

namespace {

constexpr std::string_view MONTHS[] = {"January", "February", "March",     "April",   "May",      "June",
                                       "July",    "August",   "September", "October", "November", "December"};
constexpr std::string_view DAY_NAMES[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                          "Thursday", "Friday", "Saturday"};
constexpr size_t SHORT_NAME = 3;

bool is_gregorian(const Moment &m) {
    return m.year > 1582 || (m.year == 1582 && (m.month > 10 || (m.month == 10 && m.day >= 15)));
}

// Days since a fixed one, in the calendar of the moment.
int day_number(const Moment &m) {
    const int shift = m.month <= 2 ? 1 : 0;
    const int year = m.year + 4800 - shift; // of years that begin in March, none below 0
    const int month = static_cast<int>(m.month) + 12 * shift - 3;
    const int julian = static_cast<int>(m.day) + (153 * month + 2) / 5 + 365 * year + year / 4;
    return is_gregorian(m) ? julian - year / 100 + year / 400 - 32045 : julian - 32083;
}

unsigned weekday(const Moment &m) {
    return static_cast<unsigned>((day_number(m) + 1) % 7);
}

char *put_words(std::string_view words, char *out) {
    return out + words.copy(out, words.size());
}

char *put_year(int year, char *out) {
    if (year < 0)
        *out++ = '-';
    const auto size = static_cast<unsigned>(std::abs(year));
    return put_pair(put_pair(out, size / 100), size % 100);
}

char *put_three(unsigned value, char *out) {
    *out++ = static_cast<char>('0' + value / 100);
    return put_pair(out, value % 100);
}

char *put_nanos(uint32_t nanos, char *out) {
    for (int i = 9; i-- > 0; nanos /= 10)
        out[i] = static_cast<char>('0' + nanos % 10);
    return out + 9;
}

char *put_offset(const Zone *zone, char *out) {
    if (zone == nullptr)
        return out;
    const int minutes = zone->is_region ? 0 : zone->minutes;
    *out++ = minutes < 0 ? '-' : '+';
    const auto size = static_cast<unsigned>(std::abs(minutes));
    return put_pair(put_pair(out, size / 60), size % 60);
}

unsigned day_of_year(const Moment &m) {
    Moment first = m;
    first.month = first.day = 1;
    return static_cast<unsigned>(day_number(m) - day_number(first) + 1);
}

// What the letter stands for, or null when it is not known.
char *put_letter(char letter, const Moment &m, const Zone *zone, char *out) {
    const auto century_year = static_cast<unsigned>(std::abs(m.year));
    const std::string_view month = MONTHS[m.month - 1];
    switch (letter) {
    case 'Y':
        return put_year(m.year, out);
    case 'C':
        return put_pair(out, century_year / 100);
    case 'y':
        return put_pair(out, century_year % 100);
    case 'm':
        return put_pair(out, m.month);
    case 'd':
        return put_pair(out, m.day);
    case 'e':
        put_pair(out, m.day);
        if (m.day < 10)
            *out = ' ';
        return out + 2;
    case 'H':
        return put_pair(out, m.hour);
    case 'I':
        return put_pair(out, (m.hour + 11) % 12 + 1);
    case 'M':
        return put_pair(out, m.minute);
    case 'S':
        return put_pair(out, m.second);
    case 'p':
        return put_words(m.hour < 12 ? "AM" : "PM", out);
    case 'j':
        return put_three(day_of_year(m), out);
    case 'a':
        return put_words(DAY_NAMES[weekday(m)].substr(0, SHORT_NAME), out);
    case 'A':
        return put_words(DAY_NAMES[weekday(m)], out);
    case 'b':
    case 'h':
        return put_words(month.substr(0, SHORT_NAME), out);
    case 'B':
        return put_words(month, out);
    case 'u':
        return put_integer(out, weekday(m) == 0 ? 7U : weekday(m));
    case 'w':
        return put_integer(out, weekday(m));
    case 'D':
        return format_date(m, zone, "%m/%d/%y", out);
    case 'F':
        return format_date(m, zone, "%Y-%m-%d", out);
    case 'T':
        return format_date(m, zone, "%H:%M:%S", out);
    case 'R':
        return format_date(m, zone, "%H:%M", out);
    case 'N':
        return put_nanos(m.nanos, out);
    case 'z':
        return put_offset(zone, out);
    case 'n':
        return put_words("\n", out);
    case 't':
        return put_words("\t", out);
    case '%':
        return put_words("%", out);
    default:
        return nullptr;
    }
}

} // namespace

bool is_date_format(std::string_view form) {
    constexpr size_t LETTER_MAX = 12; // characters of the longest one
    const Moment some{-4712, 9, 29, 23, 59, 59, 999999999};
    const Zone zone{false, 0, -1439};
    size_t size = 0;
    for (size_t i = 0; i < form.size(); ++i, ++size) {
        if (form[i] != '%')
            continue;
        char room[LETTER_MAX + 4];
        if (++i == form.size() || put_letter(form[i], some, &zone, room) == nullptr)
            return false;
        size += LETTER_MAX;
    }
    return size <= DATE_FORMAT_TEXT_MAX;
}

char *format_date(const Moment &m, const Zone *zone, std::string_view form, char *out) {
    for (size_t i = 0; i < form.size(); ++i) {
        if (form[i] != '%')
            *out++ = form[i];
        else if (char *end = put_letter(form[++i], m, zone, out))
            out = end;
    }
    return out;
}

} // namespace vexlo
