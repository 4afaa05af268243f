// A window that slides over a range of a file. It holds what the reader is working on contiguously and grows,
// up to a bound, when one row is larger than it. Bytes that are still needed when the window has moved on are
// not copied: they keep the memory, and the window goes on in other memory.
#pragma once

#include <algorithm>
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
    // The available bytes are padded. They stay where they are until the next require(), or longer by hold().
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

    // What is in memory stays as and where it is, whatever the window does, and as long as the memory lives
    // that take_held() returns.
    void hold() { holding_ = true; }
    // Whether what is held is as much as it should become: it takes twice the usual memory already, or goes
    // beyond what it takes with the next `count` bytes.
    bool holds_enough(size_t count) const {
        return held_.size() > 1 || buffer_.size() > capacity_ ||
               std::min<uint64_t>(count, end_ - position_) > room();
    }
    // The memory that is held, oldest first; the window goes on elsewhere.
    std::vector<PaddedBytes> take_held();
    // Memory that take_held() returned is not needed any more.
    void give_back(std::vector<PaddedBytes> memory);

private:
    // Bytes from data() on that can be in this memory.
    size_t room() const { return buffer_.size() - start_; }
    bool fill(size_t count);
    void move_to_begin(size_t count);
    void leave();

    int fd_;
    const std::string &path_;
    uint64_t begin_;
    uint64_t position_;
    uint64_t end_;
    size_t capacity_; // of the memory, but for a larger row
    size_t start_ = 0, filled_ = 0;
    PaddedBytes buffer_;
    bool holding_ = false;
    std::vector<PaddedBytes> held_;  // left
    std::vector<PaddedBytes> spare_; // memory to go on in
    std::vector<uint8_t> peeked_;    // bytes outside the window
    uint64_t peeked_at_ = 0;
};

} // namespace vexlo
