// Column types: Oracle's type codes, what kind of value they hold and how long such a value can be.
#pragma once

#include <cstdint>
#include <string>

namespace vexlo {

// Oracle's type codes.
constexpr uint32_t TYPE_VARCHAR2 = 1, TYPE_NUMBER = 2, TYPE_LONG = 8, TYPE_ROWID_OLD = 11, TYPE_DATE = 12,
                   TYPE_RAW = 23, TYPE_LONG_RAW = 24, TYPE_ROWID = 69, TYPE_CHAR = 96,
                   TYPE_BINARY_FLOAT = 100, TYPE_BINARY_DOUBLE = 101, TYPE_CLOB = 112, TYPE_BLOB = 113,
                   TYPE_BFILE = 114, TYPE_JSON = 119, TYPE_TIMESTAMP = 180, TYPE_TIMESTAMP_TZ = 181,
                   TYPE_INTERVAL_YM = 182, TYPE_INTERVAL_DS = 183, TYPE_UROWID = 208,
                   TYPE_TIMESTAMP_LTZ = 231;

enum class ColumnKind : uint8_t {
    text,
    national_text,
    number,
    date,
    timestamp,
    timestamp_tz,
    timestamp_ltz,
    interval_ym,
    interval_ds,
    binary_float,
    binary_double,
    raw,
    long_text,
    long_raw,
    lob,
    rowid,
    unknown,
    ready_text,    // UTF-8, made by the program itself
    ready_integer, // the same as digits
};

constexpr uint32_t VALUE_SIZE_MAX = 0xFFFA; // bytes of the longest value of a column that is no LONG or LOB

// A value of a column as stored is at least `low` and at most `high` bytes long.
struct LengthRange {
    uint32_t low;
    uint32_t high;
};

// The kind of a column from its type code and whether it uses the national character set.
ColumnKind column_kind(uint32_t ctyp, bool national);

// The lengths a sound value of the column has; a longer or shorter one is a sign of damage.
LengthRange value_lengths(ColumnKind kind, uint32_t clen);

// The type as a person writes it, such as "VARCHAR2(30)"; lengths are bytes. Unknown codes give
// "UNKNOWN(code)".
std::string type_text(uint32_t ctyp, bool national, uint32_t clen);

} // namespace vexlo
