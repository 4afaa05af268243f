// Rows of stored values, as a reader hands them to the writers.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

namespace vexlo {

enum class FieldKind : uint8_t {
    null,
    value,
    lob,    // a value that is a LOB locator
    text,   // a value that is UTF-8 already, whatever the column
    binary, // a value that is taken as bytes, whatever the column
    stream, // a value that comes in pieces
};

// What the bytes of a stream are.
enum class StreamForm : uint8_t {
    stored, // as the column's type stores them
    text,   // UTF-8, no character cut between two pieces
    binary,
};

// A value too long to be held in memory.
class ValueStream {
public:
    // Takes a piece, which is padded and holds until take returns.
    using Take = std::function<void(std::span<const uint8_t>)>;

    virtual ~ValueStream() = default;

    virtual StreamForm form() const = 0;
    // Its bytes, where they have been counted.
    virtual std::optional<uint64_t> known_size() const { return std::nullopt; }
    // Hands out the whole value, piece by piece; again with each call.
    virtual void for_each_piece(const Take &take) = 0;
};

// The entry of one column; what it refers to holds until the next row is read.
struct Field {
    FieldKind kind;
    uint32_t size; // bytes of `data`
    union {
        const uint8_t *data; // padded, see values/padded_bytes.h; not of a stream
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
