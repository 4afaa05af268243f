// A window that slides over a range of a file. It holds what the reader is working on contiguously and grows,
// up to a bound, when one row is larger than it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "values/padded_bytes.h"

namespace vexlo {

class ByteWindow {
public:
    static constexpr size_t SIZE_MAX_BYTES = 12 << 20; // more is never held at once

    // The bytes of `fd` from `begin` up to `end`; `path` is for messages.
    ByteWindow(int fd, const std::string &path, uint64_t begin, uint64_t end, size_t capacity);

    // File offset of data()[0].
    uint64_t position() const { return position_; }
    // File offset of the range's end; less than was asked for once the file turned out to be shorter.
    uint64_t end() const { return end_; }
    // The available bytes are padded.
    const uint8_t *data() const { return buffer_.data() + start_; }
    // Bytes at data() that are in memory.
    size_t available() const { return filled_ - start_; }

    // Brings at least `count` bytes to data(), which may move; false when the range ends before or `count` is
    // more than a window can hold. Throws InputError when the file cannot be read.
    bool require(size_t count) { return count <= available() || fill(count); }

    // Gives up the first `count` bytes, which must be available.
    void advance(size_t count) {
        start_ += count;
        position_ += count;
    }

    // Goes to a file offset inside the range, ahead or back.
    void move_to(uint64_t position);

    // The 16-bit number at `at` bytes from data() in `mark`, wherever that lies in the range; the window
    // stays where it is. False when the range ends before.
    bool peek(uint64_t at, uint16_t &mark);

private:
    bool fill(size_t count);

    int fd_;
    const std::string &path_;
    uint64_t begin_;
    uint64_t position_;
    uint64_t end_;
    size_t capacity_;
    size_t start_ = 0, filled_ = 0;
    PaddedBytes buffer_;
    std::vector<uint8_t> peeked_; // bytes outside the window
    uint64_t peeked_at_ = 0;
};

} // namespace vexlo
