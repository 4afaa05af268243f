// Rows of stored values, as a reader hands them to the writers.
#pragma once

#include <cstdint>

namespace vexlo {

enum class FieldKind : uint8_t { null, value, lob };

// The entry of one column; `data` holds until the next row is read and has READ_SLACK.
struct Field {
    FieldKind kind;
    uint32_t size;
    const uint8_t *data;
};

// A row as stored. There is a field for every column, those the dump left out are null.
struct Row {
    uint64_t number; // from 1
    uint64_t offset; // in the file
    const Field *fields;
};

} // namespace vexlo
