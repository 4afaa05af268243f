#include "output/byte_buffer.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "values/hex.h"

namespace vexlo {

namespace {

constexpr size_t FIRST_CAPACITY = 4096;

} // namespace

void ByteBuffer::grow(size_t more) {
    const size_t used = size();
    const size_t capacity =
        std::max({used + more, 2 * static_cast<size_t>(end_ - data_.get()), FIRST_CAPACITY});
    std::unique_ptr<char[]> larger(new char[capacity]);
    if (used > 0)
        std::memcpy(larger.get(), data_.get(), used);
    data_ = std::move(larger);
    cursor_ = data_.get() + used;
    end_ = data_.get() + capacity;
}

void ByteBuffer::append(std::string_view text) {
    if (text.empty())
        return;
    char *out = reserve(text.size());
    std::memcpy(out, text.data(), text.size());
    commit_to(out + text.size());
}

void ByteBuffer::append_hex(std::string_view bytes) {
    char *out = reserve(2 * bytes.size());
    commit_to(put_hex(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), out));
}

} // namespace vexlo
