#include "dump_writer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "dump_builder.h"

namespace {

using vexlo_test::dump_builder;

Bytes be(uint64_t number, int size) {
    Bytes bytes;
    for (int shift = 8 * (size - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>(number >> shift);
    return bytes;
}

Bytes padded(Bytes bytes, size_t width) {
    bytes.resize(width, '\0');
    return bytes;
}

Bytes bytes_of(const vexlo_test::dump_builder &dump) {
    return {dump.raw.begin(), dump.raw.end()};
}

char byte(int number) {
    return static_cast<char>(number);
}

// The digits of a decimal text and the power of ten of the first one, zeros at both ends removed.
struct Digits {
    std::string text;
    int before_point = 0;
};

Digits split_decimal(const std::string &decimal) {
    const size_t e = decimal.find('E');
    const std::string mantissa = decimal.substr(0, e);
    const int exponent = e == std::string::npos ? 0 : std::atoi(decimal.c_str() + e + 1);
    const size_t point = std::min(mantissa.find('.'), mantissa.size());
    Digits digits;
    digits.text = mantissa.substr(0, point) + (point < mantissa.size() ? mantissa.substr(point + 1) : "");
    digits.before_point = static_cast<int>(point) + exponent;
    while (!digits.text.empty() && digits.text[0] == '0') {
        digits.text.erase(0, 1);
        --digits.before_point;
    }
    while (!digits.text.empty() && digits.text.back() == '0')
        digits.text.pop_back();
    return digits;
}

Bytes table_section(const DumpTable &table) {
    Bytes section;
    if (table.without_data)
        return section;
    for (const DumpColumn &column : table.columns)
        section += bytes_of(dump_builder().column(column.name, column.ctyp, column.clen,
                                                  column.national ? 1 : 0, 0xDEADBEEF));
    for (const Bytes &r : table.rows)
        section += r;
    if (table.end_mark)
        section += bytes_of(dump_builder().table_end());
    return section;
}

Bytes table_record(const DumpTable &table, uint64_t offset) {
    const auto lobs = std::count_if(table.columns.begin(), table.columns.end(),
                                    [](const DumpColumn &c) { return c.ctyp == 112 || c.ctyp == 113; });
    return bytes_of(dump_builder().table(
        table.name, table.flag, table.ncol.value_or(static_cast<uint32_t>(table.columns.size())),
        static_cast<uint32_t>(lobs), table.nrows.value_or(static_cast<uint32_t>(table.rows.size())),
        table.offset.value_or(offset)));
}

} // namespace

Bytes ora_number(const std::string &decimal) {
    if (decimal == "Infinity")
        return "\xFF\x65";
    if (decimal == "-Infinity")
        return Bytes(1, '\0');
    const bool negative = decimal[0] == '-';
    Digits digits = split_decimal(decimal.substr(negative ? 1 : 0));
    if (digits.text.empty())
        return "\x80";
    // Base-100 digits start at an even distance from the point.
    if (digits.before_point % 2 != 0) {
        digits.text.insert(0, "0");
        ++digits.before_point;
    }
    if (digits.text.size() % 2 != 0)
        digits.text += '0';
    const int exponent = digits.before_point / 2 - 1;
    Bytes bytes(1, byte(negative ? 0x3E - exponent : 0xC1 + exponent));
    for (size_t i = 0; i < digits.text.size(); i += 2) {
        const int digit = std::atoi(digits.text.substr(i, 2).c_str());
        bytes += byte(negative ? 101 - digit : digit + 1);
    }
    if (negative && bytes.size() < 21)
        bytes += byte(102);
    return bytes;
}

Bytes ora_date(int year, int month, int day, int hour, int minute, int second) {
    return {byte(year / 100 + 100), byte(year % 100 + 100), byte(month),     byte(day),
            byte(hour + 1),         byte(minute + 1),       byte(second + 1)};
}

Bytes ora_timestamp(const Bytes &date, uint32_t nanos) {
    return date + be(nanos, 4);
}

Bytes ora_zoned(const Bytes &utc_date, uint32_t nanos, int offset_minutes) {
    return ora_timestamp(utc_date, nanos) + byte(offset_minutes / 60 + 20) + byte(offset_minutes % 60 + 60);
}

Bytes ora_zoned_region(const Bytes &utc_date, uint32_t nanos, unsigned region) {
    return ora_timestamp(utc_date, nanos) + byte(static_cast<int>(0x80 | (region >> 6))) +
           byte(static_cast<int>((region & 0x3F) << 2));
}

Bytes ora_interval_ym(int years, int months) {
    return be(0x80000000ULL + static_cast<uint64_t>(static_cast<int64_t>(years)), 4) + byte(months + 60);
}

Bytes ora_interval_ds(int days, int hours, int minutes, int seconds, int nanos) {
    return be(0x80000000ULL + static_cast<uint64_t>(static_cast<int64_t>(days)), 4) + byte(hours + 60) +
           byte(minutes + 60) + byte(seconds + 60) +
           be(0x80000000ULL + static_cast<uint64_t>(static_cast<int64_t>(nanos)), 4);
}

Bytes ora_binary_float(float number) {
    uint32_t bits;
    std::memcpy(&bits, &number, sizeof bits);
    return be(number < 0 || (bits >> 31) != 0 ? ~bits : bits | 0x80000000U, 4);
}

Bytes ora_binary_double(double number) {
    uint64_t bits;
    std::memcpy(&bits, &number, sizeof bits);
    return be((bits >> 63) != 0 ? ~bits : bits | 0x8000000000000000U, 8);
}

Bytes value(const Bytes &bytes) {
    return bytes_of(dump_builder().value(bytes));
}

Bytes null() {
    return bytes_of(dump_builder().null());
}

Bytes lob() {
    return bytes_of(dump_builder().lob());
}

Bytes long_mark() {
    return bytes_of(dump_builder().long_mark());
}

Bytes long_block(const std::vector<Bytes> &chunks) {
    dump_builder block;
    block.long_begin();
    for (const Bytes &chunk : chunks)
        block.value(chunk);
    return bytes_of(block.long_end());
}

Bytes row(const std::vector<Bytes> &entries) {
    Bytes bytes;
    for (const Bytes &entry : entries)
        bytes += entry;
    return bytes + bytes_of(dump_builder().row_end());
}

Bytes dump_bytes(const Dump &dump) {
    const size_t directory = (dump.tables.size() * 56 + 511) / 512 * 512;
    const Bytes head =
        bytes_of(dump_builder().header(dump.owner, dump.nls_lang, dump.ncharset, dump.dbtimezone,
                                       dump.tab_cnt.value_or(static_cast<uint32_t>(dump.tables.size()))));
    Bytes records, data;
    for (const DumpTable &table : dump.tables) {
        records += table_record(table, 1024 + directory + data.size());
        data += table_section(table);
    }
    return padded(head, 1024) + padded(records, directory) + data;
}
