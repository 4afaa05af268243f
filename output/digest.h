// Size and CRC-32 of what was written, so that an output can be recognised later.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

class Digest {
public:
    // Takes the next `size` bytes of the output.
    void add(const char *data, size_t size);
    // The same of `size` bytes that are zero, in a time that does not depend on their number.
    void add_zeros(uint64_t size);
    // Takes what `next` has taken, without its bytes.
    void append(const Digest &next);

    uint64_t bytes() const { return bytes_; }
    // The CRC-32 that gzip and zip use.
    uint32_t crc32() const { return ~state_; }

private:
    uint64_t bytes_ = 0;
    uint32_t state_ = 0xFFFFFFFF;
};

// The state of a CRC-32 behind `size` bytes more, as any processor computes it.
uint32_t crc32_by_tables(const uint8_t *data, size_t size, uint32_t state);

} // namespace vexlo
