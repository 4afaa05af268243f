#include "format/number_to_int.h"

// First byte of a NUMBER: 0x80 alone is zero; from 0xC1 on, the base-100 exponent of a number of 1 or more.
// Each further byte is one base-100 digit plus 1.
int ora_number_to_int(const uint8_t *p, int len) {
    if (len == 0)
        return -1;
    if (p[0] == 0x80 && len == 1)
        return 0;
    int exponent = p[0] - 0xC1;
    if (exponent < 0)
        return -1;
    uint32_t value = 0;
    for (int i = 1; i < len; i++, exponent--)
        value = value * 100 + p[i] - 1;
    for (; exponent >= 0; exponent--)
        value *= 100;
    return static_cast<int>(value);
}

// Of a negative number the exponent is counted down from 0x3E, a digit is 101 minus its byte, and a byte 102
// behind the last digit belongs to none.
int64_t ora_number_to_int64(const uint8_t *p, int len) {
    constexpr int64_t LARGEST = INT64_MAX;
    constexpr uint8_t NEGATIVE_END = 102;
    if (len < 1 || p[0] == 0x80)
        return 0;
    const bool negative = p[0] < 0x80;
    int exponent = negative ? 0x3E - p[0] : p[0] - 0xC1;
    int64_t value = 0;
    for (int i = 1; exponent >= 0; i++, exponent--) {
        const bool stored = i < len && !(negative && p[i] == NEGATIVE_END);
        const int digit = !stored ? 0 : negative ? 101 - p[i] : p[i] - 1;
        if (digit < 0 || digit > 99)
            return 0;
        if (value > (LARGEST - digit) / 100)
            return negative ? -LARGEST : LARGEST;
        value = value * 100 + digit;
    }
    return negative ? -value : value;
}
