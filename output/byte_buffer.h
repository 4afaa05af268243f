// Bytes on their way to an output: written in place, kept when emptied.
#pragma once

#include <cstddef>
#include <memory>
#include <string_view>
#include <utility>

namespace vexlo {

class ByteBuffer {
public:
    ByteBuffer() = default;
    ByteBuffer(ByteBuffer &&other) noexcept { swap(other); }
    ByteBuffer &operator=(ByteBuffer &&other) noexcept {
        swap(other);
        return *this;
    }

    // Room for `size` bytes; what is written there counts after commit_to().
    char *reserve(size_t size) {
        if (size > static_cast<size_t>(end_ - cursor_))
            grow(size);
        return cursor_;
    }
    void commit_to(char *end) { cursor_ = end; }
    // Bytes from `at`, which lies in that room, up to its end.
    size_t room_behind(const char *at) const { return static_cast<size_t>(end_ - at); }

    void put(char c) {
        *reserve(1) = c;
        ++cursor_;
    }
    void append(std::string_view text);
    // Two upper-case digits a byte.
    void append_hex(std::string_view bytes);

    size_t size() const { return static_cast<size_t>(cursor_ - data_.get()); }
    bool empty() const { return cursor_ == data_.get(); }
    const char *data() const { return data_.get(); }
    std::string_view view() const { return {data(), size()}; }

    // Gives up what lies behind the first `size` bytes.
    void truncate(size_t size) { cursor_ = data_.get() + size; }
    void clear() { cursor_ = data_.get(); }
    void swap(ByteBuffer &other) noexcept {
        std::swap(data_, other.data_);
        std::swap(cursor_, other.cursor_);
        std::swap(end_, other.end_);
    }

private:
    void grow(size_t size);

    std::unique_ptr<char[]> data_;
    char *cursor_ = nullptr;
    char *end_ = nullptr;
};

} // namespace vexlo
