#include "values/binary_float.h"

#include <bit>
#include <charconv>
#include <cmath>

#include "format/byte_order.h"
#include "values/digits.h"

namespace vexlo {

namespace {

// Positive values have the sign bit set, negative ones have every bit inverted.
template <class Bits>
Bits unsort(Bits stored) {
    constexpr Bits SIGN = Bits{1} << (8 * sizeof(Bits) - 1);
    return (stored & SIGN) != 0 ? stored ^ SIGN : ~stored;
}

template <class Real>
char *format_real(Real value, char *out) {
    if (std::isnan(value))
        return put_text(out, "NaN");
    if (std::isinf(value))
        return value < 0 ? put_text(out, "-Infinity") : put_text(out, "Infinity");
    return std::to_chars(out, out + FLOAT_TEXT_MAX, value).ptr;
}

} // namespace

bool decode_binary_float(const uint8_t *data, size_t size, float &value) {
    if (size != sizeof value)
        return false;
    value = std::bit_cast<float>(unsort(load_be32(data)));
    return true;
}

bool decode_binary_double(const uint8_t *data, size_t size, double &value) {
    if (size != sizeof value)
        return false;
    value = std::bit_cast<double>(unsort(load_be64(data)));
    return true;
}

char *format_float(float value, char *out) {
    return format_real(value, out);
}

char *format_double(double value, char *out) {
    return format_real(value, out);
}

} // namespace vexlo
