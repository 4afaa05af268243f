// Memory for the values of one row. What was put in stays where it is until the arena is cleared.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "values/text_scan.h"

namespace vexlo {

class ValueArena {
public:
    // A padded copy of `size` bytes.
    const uint8_t *put(const uint8_t *data, size_t size) {
        uint8_t *to = reserve(size + READ_SLACK);
        std::memcpy(to, data, size);
        used_ += size;
        return to;
    }

    // Gives up all values. The memory of the first chunk is kept.
    void clear() {
        if (chunks_.size() > 1)
            chunks_.resize(1);
        used_ = 0;
        size_ = chunks_.empty() ? 0 : CHUNK_SIZE;
    }

private:
    static constexpr size_t CHUNK_SIZE = 128 << 10; // more than any value in one piece

    uint8_t *reserve(size_t size) {
        if (size > size_ - used_) {
            size_ = size > CHUNK_SIZE ? size : CHUNK_SIZE;
            chunks_.push_back(std::make_unique_for_overwrite<uint8_t[]>(size_));
            used_ = 0;
        }
        return chunks_.back().get() + used_;
    }

    std::vector<std::unique_ptr<uint8_t[]>> chunks_;
    size_t used_ = 0; // of the last chunk
    size_t size_ = 0;
};

} // namespace vexlo
