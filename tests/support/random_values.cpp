#include "random_values.h"

#include <cstring>

namespace {

class Values {
public:
    explicit Values(unsigned seed) : random_(seed) {}

    int between(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random_); }
    bool chance(int in) { return between(1, in) == 1; }

    template <class T>
    T one_of(const std::vector<T> &list) {
        return list[static_cast<size_t>(between(0, static_cast<int>(list.size()) - 1))];
    }

    Bytes number() {
        if (chance(3))
            return ora_number(
                one_of<std::string>({"0", "1", "-1", "Infinity", "-Infinity", "1E-130", "-1E-130", "1E+125",
                                     "9.999999999999999999999999999999999999999E+125",
                                     "-9.999999999999999999999999999999999999999E+125", "9223372036854775807",
                                     "-9223372036854775808", "0.1234567890123456789012345678901234567891"}));
        std::string digits = chance(2) ? "-" : "";
        digits += static_cast<char>('1' + between(0, 8));
        for (int i = between(0, 36); i > 0; --i)
            digits += static_cast<char>('0' + between(0, 9));
        return ora_number(digits + "E" + std::to_string(between(-120, 80)));
    }

    Bytes date() {
        if (chance(3))
            return one_of<Bytes>({ora_date(-4712, 1, 1), ora_date(9999, 12, 31, 23, 59, 59),
                                  ora_date(0, 1, 1), ora_date(0, 2, 29), ora_date(-1, 12, 31),
                                  ora_date(1, 1, 1), ora_date(1500, 2, 29), ora_date(-100, 2, 29),
                                  ora_date(-400, 2, 29), ora_date(1582, 10, 4), ora_date(1582, 10, 15),
                                  ora_date(100, 2, 29)});
        return ora_date(between(-4712, 9999), between(1, 12), between(1, 28), between(0, 23), between(0, 59),
                        between(0, 59));
    }

    uint32_t nanos() {
        return static_cast<uint32_t>(chance(3)
                                         ? one_of<int>({0, 1, 499, 500, 501, 1500, 999999500, 999999999})
                                         : between(0, 999999999));
    }

    Bytes timestamp() { return ora_timestamp(date(), nanos()); }

    Bytes zoned() {
        if (chance(4))
            return ora_zoned_region(date(), nanos(), static_cast<unsigned>(between(1, 2000)));
        return ora_zoned(date(), nanos(),
                         chance(4) ? one_of<int>({959, -959, 0, 840, -720}) : between(-900, 900));
    }

    Bytes year_month() {
        if (chance(3))
            return one_of<Bytes>({ora_interval_ym(999999999, 11), ora_interval_ym(-999999999, -11),
                                  ora_interval_ym(178956970, 7), ora_interval_ym(178956970, 8),
                                  ora_interval_ym(-178956970, -7), ora_interval_ym(-178956970, -8),
                                  ora_interval_ym(0, 0), ora_interval_ym(0, -1)});
        const int sign = chance(2) ? -1 : 1;
        return ora_interval_ym(sign * between(0, 300000000), sign * between(0, 11));
    }

    Bytes day_second() {
        if (chance(3))
            return one_of<Bytes>({ora_interval_ds(999999999, 23, 59, 59, 999999999),
                                  ora_interval_ds(-999999999, -23, -59, -59, -999999999),
                                  ora_interval_ds(0, 0, 0, 0, 0), ora_interval_ds(0, 0, 0, 0, -1),
                                  ora_interval_ds(0, 0, 0, 0, -500000000)});
        const int sign = chance(2) ? -1 : 1;
        return ora_interval_ds(sign * between(0, 999999999), sign * between(0, 23), sign * between(0, 59),
                               sign * between(0, 59), sign * static_cast<int>(nanos()));
    }

    template <class Real, class Word>
    Real real() {
        const Word bits =
            static_cast<Word>(std::uniform_int_distribution<uint64_t>()(random_)) >> (chance(5) ? 12 : 0);
        Real value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    Bytes text(int characters) {
        Bytes text;
        for (int i = between(1, chance(8) ? characters + 3 : characters); i > 0; --i)
            text += one_of<Bytes>({"a",
                                   "Z",
                                   " ",
                                   "\\",
                                   "\\.",
                                   "\n\\.\n",
                                   "\r",
                                   "\n",
                                   "\t",
                                   ",",
                                   "\"",
                                   "'",
                                   "\x01",
                                   "\x7F",
                                   "\xC3\xA9",
                                   "\xE2\x82\xAC",
                                   "\xF0\x9D\x84\x9E",
                                   ";",
                                   "{",
                                   "NULL",
                                   "\\N"});
        if (chance(40))
            text.insert(0, 1, '\0');
        if (chance(40))
            text += '\xFF';
        return text;
    }

    Bytes national(int characters) {
        Bytes text;
        for (int i = between(1, chance(8) ? characters + 3 : characters); i > 0; --i)
            text +=
                one_of<Bytes>({Bytes("\0a", 2), Bytes("\x20\xAC", 2), Bytes("\0\"", 2), Bytes("\0\\", 2)});
        return text;
    }

    Bytes raw() {
        Bytes bytes;
        for (int i = between(1, 20); i > 0; --i)
            bytes += static_cast<char>(between(0, 255));
        return bytes;
    }

    Bytes entry(const Bytes &bytes) { return chance(10) ? null() : value(bytes); }

private:
    std::mt19937 random_;
};

} // namespace

DumpTable table_of_all_types(const std::string &name, int rows, unsigned seed) {
    constexpr int TEXT_LENGTH = 20;
    Values v(seed);
    DumpTable table{.name = name,
                    .columns = {{"ID", 2, 22},
                                {"N", 2, 22},
                                {"NAME", 1, TEXT_LENGTH},
                                {"FIXED", 96, TEXT_LENGTH},
                                {"NICK", 1, 2 * TEXT_LENGTH, true},
                                {"BORN", 12, 7},
                                {"AT", 180, 11},
                                {"ZONED", 181, 13},
                                {"LOCAL", 231, 11},
                                {"YM", 182, 5},
                                {"DS", 183, 11},
                                {"F", 100, 4},
                                {"D", 101, 8},
                                {"BIN", 23, 20},
                                {"ADDRESS", 69, 10},
                                {"ODD", 58, 10}}};
    for (int i = 0; i < rows; ++i)
        table.rows.push_back(
            row({value(ora_number(std::to_string(i))), v.entry(v.number()), v.entry(v.text(TEXT_LENGTH)),
                 v.entry(v.text(TEXT_LENGTH)), v.entry(v.national(TEXT_LENGTH)), v.entry(v.date()),
                 v.entry(v.timestamp()), v.entry(v.zoned()), v.entry(v.timestamp()), v.entry(v.year_month()),
                 v.entry(v.day_second()), v.entry(ora_binary_float(v.real<float, uint32_t>())),
                 v.entry(ora_binary_double(v.real<double, uint64_t>())), v.entry(v.raw()),
                 v.entry(Bytes("\x00\x01\x1D\xEC\x01\x00\x00\x97\x00\x04", 10)), v.entry(v.raw())}));
    return table;
}
