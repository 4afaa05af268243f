// Bytes that may be read over their end.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "values/text_scan.h"

namespace vexlo {

// A buffer for what is scanned or copied in blocks (values/text_scan.h): whatever its size, READ_SLACK bytes
// more can be read. Values are called padded when they stand in such a buffer.
class PaddedBytes {
public:
    PaddedBytes() : bytes_(READ_SLACK) {}
    explicit PaddedBytes(size_t size) : bytes_(size + READ_SLACK) {}
    // A copy.
    explicit PaddedBytes(std::string_view text) : PaddedBytes(text.size()) {
        if (!text.empty())
            std::memcpy(bytes_.data(), text.data(), text.size());
    }

    size_t size() const { return bytes_.size() - READ_SLACK; }
    uint8_t *data() { return bytes_.data(); }
    const uint8_t *data() const { return bytes_.data(); }
    std::span<const uint8_t> bytes() const { return {data(), size()}; }
    std::string_view text() const { return {reinterpret_cast<const char *>(data()), size()}; }

    // Keeps the bytes that are left, wherever they are then.
    void resize(size_t size) { bytes_.resize(size + READ_SLACK); }
    void clear() { resize(0); }
    void append(std::span<const uint8_t> more) {
        bytes_.insert(bytes_.end() - READ_SLACK, more.begin(), more.end());
    }
    // Gives up the first `count` bytes, which there must be.
    void remove_front(size_t count) {
        bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(count));
    }

private:
    std::vector<uint8_t> bytes_;
};

// Makes the text one that is padded, until it changes.
inline void pad(std::string &text) {
    const size_t size = text.size();
    text.append(READ_SLACK, '\0');
    text.resize(size);
}

} // namespace vexlo
