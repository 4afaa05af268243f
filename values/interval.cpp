#include "values/interval.h"

#include <cstdlib>

#include "format/byte_order.h"
#include "values/digits.h"
#include "values/micros.h"

namespace vexlo {

namespace {

constexpr size_t YEAR_MONTH_SIZE = 5;  // years in 4 bytes, months in 1
constexpr size_t DAY_SECOND_SIZE = 11; // days in 4 bytes, hours, minutes, seconds in 1 each, billionths in 4
constexpr int64_t FIELD_MAX = 999999999;

// Four-byte fields are stored plus 0x80000000, one-byte fields plus 60, so that both signs sort.
int64_t wide_field(const uint8_t *p) {
    return static_cast<int64_t>(load_be32(p)) - 0x80000000LL;
}

int64_t narrow_field(uint8_t byte) {
    return byte - 60;
}

// The magnitudes of an interval's fields; all fields of one interval have the same sign.
template <size_t N>
struct Fields {
    bool negative = false;
    unsigned size[N];
};

template <size_t N>
bool split_fields(const int64_t (&values)[N], const int64_t (&limits)[N], Fields<N> &fields) {
    bool positive = false;
    for (size_t i = 0; i < N; ++i) {
        if (std::llabs(values[i]) > limits[i])
            return false;
        positive |= values[i] > 0;
        fields.negative |= values[i] < 0;
        fields.size[i] = static_cast<unsigned>(std::llabs(values[i]));
    }
    return !(positive && fields.negative);
}

char *put_iso_field(char *out, bool negative, unsigned value) {
    if (negative && value != 0)
        *out++ = '-';
    return put_integer(out, value);
}

char *put_iso_seconds(char *out, bool negative, unsigned seconds, unsigned nanos) {
    if (negative && (seconds != 0 || nanos != 0))
        *out++ = '-';
    return put_fraction(put_integer(out, seconds), nanos);
}

char *put_iso_ds(char *out, const Fields<5> &f) {
    *out++ = 'P';
    out = put_text(put_iso_field(out, f.negative, f.size[0]), "DT");
    out = put_text(put_iso_field(out, f.negative, f.size[1]), "H");
    out = put_text(put_iso_field(out, f.negative, f.size[2]), "M");
    return put_text(put_iso_seconds(out, f.negative, f.size[3], f.size[4]), "S");
}

// Days have room for one more.
void round_to_micros(Fields<5> &f) {
    constexpr unsigned LIMITS[] = {0, 24, 60, 60};
    const uint32_t micros = rounded_micros(f.size[4]);
    f.size[4] = micros % MICROS_PER_SECOND * NANOS_PER_MICRO;
    f.size[3] += micros / MICROS_PER_SECOND;
    for (size_t i = 3; i > 0 && f.size[i] == LIMITS[i]; --i) {
        f.size[i] = 0;
        ++f.size[i - 1];
    }
}

char *put_oracle_ds(char *out, const Fields<5> &f) {
    if (f.negative)
        *out++ = '-';
    out = put_text(put_integer(out, f.size[0]), " ");
    out = put_text(put_pair(out, f.size[1]), ":");
    out = put_text(put_pair(out, f.size[2]), ":");
    return put_fraction(put_pair(out, f.size[3]), f.size[4]);
}

} // namespace

char *format_interval_ym(const uint8_t *p, size_t size, IntervalStyle style, char *out) {
    if (size != YEAR_MONTH_SIZE)
        return nullptr;
    Fields<2> f;
    if (!split_fields({wide_field(p), narrow_field(p[4])}, {FIELD_MAX, 11}, f))
        return nullptr;
    if (style != IntervalStyle::oracle) {
        *out++ = 'P';
        out = put_text(put_iso_field(out, f.negative, f.size[0]), "Y");
        return put_text(put_iso_field(out, f.negative, f.size[1]), "M");
    }
    if (f.negative)
        *out++ = '-';
    return put_pair(put_text(put_integer(out, f.size[0]), "-"), f.size[1]);
}

bool has_wide_months(const uint8_t *p) {
    return std::llabs(wide_field(p) * 12 + narrow_field(p[4])) > INT32_MAX;
}

char *format_interval_ds(const uint8_t *p, size_t size, IntervalStyle style, char *out) {
    if (size != DAY_SECOND_SIZE)
        return nullptr;
    Fields<5> f;
    if (!split_fields(
            {wide_field(p), narrow_field(p[4]), narrow_field(p[5]), narrow_field(p[6]), wide_field(p + 7)},
            {FIELD_MAX, 23, 59, 59, FIELD_MAX}, f))
        return nullptr;
    if (style == IntervalStyle::micros)
        round_to_micros(f);
    return style == IntervalStyle::oracle ? put_oracle_ds(out, f) : put_iso_ds(out, f);
}

bool is_finer_than_micros(const uint8_t *p) {
    return wide_field(p + 7) % NANOS_PER_MICRO != 0;
}

} // namespace vexlo
