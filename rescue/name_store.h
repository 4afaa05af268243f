// The bytes of all names and values of the dictionary, one behind the other.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace vexlo {

// A name or value in a store.
struct NameRef {
    uint32_t at = 0;
    uint32_t size = 0;

    bool empty() const { return size == 0; }
};

class NameStore {
public:
    // Takes up to `most` bytes: a reference reaches no further than 4 GiB.
    explicit NameStore(size_t most = UINT32_MAX) : most_(most) {}

    // A copy of `size` bytes; an empty name, which is counted, when there is no room left for them.
    NameRef put(const uint8_t *data, size_t size) {
        if (size > most_ - bytes_.size()) {
            ++dropped_;
            return {};
        }
        const NameRef name{static_cast<uint32_t>(bytes_.size()), static_cast<uint32_t>(size)};
        bytes_.insert(bytes_.end(), data, data + size);
        return name;
    }
    // Names for which there was no room.
    uint64_t dropped() const { return dropped_; }

    std::string_view bytes(NameRef name) const { return {bytes_.data() + name.at, name.size}; }

private:
    std::vector<char> bytes_;
    const size_t most_;
    uint64_t dropped_ = 0;
};

} // namespace vexlo
