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
