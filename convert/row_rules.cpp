#include "convert/row_rules.h"

#include <algorithm>
#include <cstring>

#include "convert/dump_format.h"
#include "values/datetime.h"
#include "values/interval.h"
#include "values/number.h"

namespace vexlo {

namespace {

constexpr uint32_t TEXT_EXCESS = 4; // a value this many times longer than declared is none

bool is_text(ColumnKind kind) {
    return kind == ColumnKind::text || kind == ColumnKind::national_text;
}

bool holds_zero(const uint8_t *data, size_t size) {
    return size != 0 && std::memchr(data, 0, size) != nullptr;
}

bool is_wide_text(const uint8_t *data, size_t size) {
    for (size_t i = 0; i + 1 < size; i += 2)
        if (data[i] == 0 && data[i + 1] == 0)
            return false;
    return size % 2 == 0;
}

// Text of two bytes a character without control characters.
bool is_readable_wide_text(const uint8_t *data, size_t size) {
    for (size_t i = 0; i + 1 < size; i += 2)
        if (data[i] == 0 && data[i + 1] < ' ')
            return false;
    return size % 2 == 0;
}

bool is_moment(const uint8_t *data, size_t size) {
    Moment moment;
    return decode_moment(data, size, moment);
}

bool is_zoned_moment(const uint8_t *data, size_t size) {
    Moment moment;
    Zone zone;
    return decode_zoned_moment(data, size, moment, zone);
}

bool has_free_length(ColumnKind kind) {
    switch (kind) {
    case ColumnKind::text:
    case ColumnKind::national_text:
    case ColumnKind::raw:
    case ColumnKind::long_text:
    case ColumnKind::long_raw:
    case ColumnKind::lob:
    case ColumnKind::unknown:
        return true;
    default:
        return false;
    }
}

} // namespace

ColumnRule column_rule(const ColumnInfo &column) {
    const ColumnKind kind = column_kind(column.ctyp, column.national);
    static_assert(VALUE_SIZE_MAX <= VALUE_MAX);
    const LengthRange range = value_lengths(kind, column.clen);
    ColumnRule rule{kind, range.low, range.high - range.low, 0, range.high, has_free_length(kind)};
    if (is_text(kind) || kind == ColumnKind::raw)
        rule.span = std::min<uint32_t>(TEXT_EXCESS * range.high, VALUE_MAX) - range.low;
    if (kind == ColumnKind::timestamp || kind == ColumnKind::timestamp_ltz)
        rule.step_mask = 3; // with a fraction or without
    return rule;
}

bool can_end_with_zero(ColumnKind kind) {
    return kind != ColumnKind::text && kind != ColumnKind::number && kind != ColumnKind::date;
}

bool is_sound_value(ColumnKind kind, const uint8_t *data, size_t size) {
    switch (kind) {
    case ColumnKind::text:
        return !holds_zero(data, size);
    case ColumnKind::national_text:
        return !holds_zero(data, size) || is_wide_text(data, size);
    case ColumnKind::number:
        return is_canonical_number(data, size);
    case ColumnKind::date:
    case ColumnKind::timestamp:
    case ColumnKind::timestamp_ltz:
        return is_moment(data, size);
    case ColumnKind::timestamp_tz:
        return is_zoned_moment(data, size);
    case ColumnKind::long_text:
    case ColumnKind::long_raw:
    case ColumnKind::lob:
        return false; // their values do not stand in the row
    default:
        return true;
    }
}

bool is_telling_value(ColumnKind kind, const uint8_t *data, size_t size) {
    switch (kind) {
    case ColumnKind::text:
        return size > 1 && is_readable(data, size);
    case ColumnKind::national_text:
        return size > 2 && (is_readable(data, size) || is_readable_wide_text(data, size));
    case ColumnKind::number:
        return size > 1;
    case ColumnKind::date:
    case ColumnKind::timestamp:
    case ColumnKind::timestamp_ltz:
    case ColumnKind::timestamp_tz:
        return true;
    default:
        return false;
    }
}

bool is_readable(const uint8_t *data, size_t size) {
    return std::none_of(data, data + size,
                        [](uint8_t c) { return c < ' ' && c != '\t' && c != '\n' && c != '\r'; });
}

} // namespace vexlo
