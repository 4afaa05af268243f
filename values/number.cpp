#include "values/number.h"

#include <cstring>

namespace vexlo {

namespace {

constexpr size_t DIGITS_MAX = 20;                   // of base 100
constexpr size_t NUMBER_BYTES_MAX = DIGITS_MAX + 2; // exponent, digits, mark behind those of a negative value
constexpr int PADDING_MAX = 40;

struct Decimal {
    char digits[2 * NUMBER_BYTES_MAX]; // most significant first
    int first;                         // index of the first significant digit
    int count;                         // significant digits, no zeros at either end; 0 for zero
    int point;                         // digits before the decimal point, may be negative or beyond count
};

char *put_zeros(char *out, int count) {
    std::memset(out, '0', static_cast<size_t>(count));
    return out + count;
}

char *put_digits(char *out, const Decimal &d, int from, int to) {
    std::memcpy(out, d.digits + d.first + from, static_cast<size_t>(to - from));
    return out + (to - from);
}

char *put_exponent_form(char *out, const Decimal &d) {
    out = put_digits(out, d, 0, 1);
    if (d.count > 1) {
        *out++ = '.';
        out = put_digits(out, d, 1, d.count);
    }
    const int exponent = d.point - 1;
    *out++ = 'E';
    if (exponent > 0)
        *out++ = '+';
    return put_integer(out, exponent);
}

char *put_decimal(char *out, const Decimal &d) {
    if (d.point - d.count > PADDING_MAX || -d.point > PADDING_MAX)
        return put_exponent_form(out, d);
    if (d.point >= d.count)
        return put_zeros(put_digits(out, d, 0, d.count), d.point - d.count);
    if (d.point <= 0) {
        out = put_zeros(put_text(out, "0."), -d.point);
        return put_digits(out, d, 0, d.count);
    }
    out = put_digits(out, d, 0, d.point);
    *out++ = '.';
    return put_digits(out, d, d.point, d.count);
}

// The digit of a byte: stored plus 1 in a positive value, as 101 minus it in a negative one. Above 99 when
// the byte is none.
constexpr unsigned digit_of(uint8_t byte, bool negative) {
    return negative ? 101U - byte : byte - 1U;
}

bool unpack_digits(const uint8_t *p, size_t size, bool negative, Decimal &d) {
    char *out = d.digits;
    for (size_t i = 0; i < size; ++i) {
        const unsigned digit = digit_of(p[i], negative);
        if (digit > 99)
            return false;
        out = put_pair(out, digit);
    }
    const int total = static_cast<int>(2 * size);
    int first = 0, last = total;
    while (first < total && d.digits[first] == '0')
        ++first;
    while (last > first && d.digits[last - 1] == '0')
        --last;
    d.first = first;
    d.count = last - first;
    d.point -= first;
    return true;
}

// Whether the digits are ones, the first and the last not zero.
bool are_canonical_digits(const uint8_t *p, size_t size, bool negative) {
    for (size_t i = 0; i < size; ++i)
        if (digit_of(p[i], negative) > 99)
            return false;
    return digit_of(p[0], negative) != 0 && digit_of(p[size - 1], negative) != 0;
}

} // namespace

bool is_canonical_number(const uint8_t *data, size_t size) {
    if (size < 2)
        return size == 1 && data[0] == 0x80;
    const bool negative = data[0] < 0x80;
    const bool marked = negative && data[size - 1] == NEGATIVE_MARK;
    const size_t digits = size - 1 - marked;
    return data[0] != 0x00 && data[0] != 0x80 && digits >= 1 && digits <= DIGITS_MAX &&
           (!negative || marked == (digits < DIGITS_MAX)) && are_canonical_digits(data + 1, digits, negative);
}

char *put_long_number(const uint8_t *data, size_t size, char *out) {
    if (size == 0 || size > NUMBER_BYTES_MAX)
        return nullptr;
    const bool negative = data[0] < 0x80;
    if (size == 1) {
        if (data[0] == 0x80)
            return put_text(out, "0");
        return data[0] == 0x00 ? put_text(out, "-Infinity") : nullptr;
    }
    if (data[0] == 0xFF && size == 2 && data[1] == 101)
        return put_text(out, "Infinity");
    const bool marked = negative && data[size - 1] == NEGATIVE_MARK;
    size -= marked;
    if (size == 1 || (negative && !marked && size - 1 < DIGITS_MAX))
        return nullptr;
    const int exponent = negative ? 0x3E - data[0] : data[0] - 0xC1; // of 100, for the first digit
    Decimal d;
    d.point = 2 * (exponent + 1);
    if (!unpack_digits(data + 1, size - 1, negative, d))
        return nullptr;
    if (d.count == 0)
        return put_text(out, "0");
    if (negative)
        *out++ = '-';
    return put_decimal(out, d);
}

} // namespace vexlo
