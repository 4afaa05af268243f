// Rows of stored values, as a reader hands them to the writers.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

enum class FieldKind : uint8_t {
    null,
    value,
    lob,    // a value that is a LOB locator
    stream, // a value that is read in pieces
};

// A value too long to be held in memory.
class ValueStream {
public:
    virtual ~ValueStream() = default;

    virtual uint64_t size() const = 0; // bytes
    // Reads up to `size` bytes from `offset` on into `to`; returns how many, fewer at the end of the value
    // only.
    virtual size_t read(uint64_t offset, uint8_t *to, size_t size) = 0;
};

// The entry of one column; what it refers to holds until the next row is read.
struct Field {
    FieldKind kind;
    uint32_t size; // bytes of `data`
    union {
        const uint8_t *data; // with READ_SLACK; not of a stream
        ValueStream *stream; // of FieldKind::stream alone
    };
};

// A row as stored. There is a field for every column, those the dump left out are null.
struct Row {
    uint64_t number; // from 1
    uint64_t offset; // in the file
    const Field *fields;
};

} // namespace vexlo
