// A set of block numbers of one file, as bits in pages that exist where a block was added.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <unordered_map>

namespace vexlo {

class BlockSet {
public:
    // Adds a block; false when it was there already.
    bool add(uint64_t block) {
        const uint64_t number = block / PAGE_BLOCKS;
        if (page_ == nullptr || number != page_number_)
            turn_to(number);
        uint64_t &word = (*page_)[block % PAGE_BLOCKS / 64];
        const uint64_t bit = uint64_t{1} << block % 64;
        const bool added = (word & bit) == 0;
        word |= bit;
        return added;
    }

private:
    static constexpr uint64_t PAGE_BLOCKS = 32768;
    using Page = std::array<uint64_t, PAGE_BLOCKS / 64>;

    void turn_to(uint64_t number) {
        std::unique_ptr<Page> &page = pages_[number];
        if (!page)
            page = std::make_unique<Page>();
        page_ = page.get();
        page_number_ = number;
    }

    std::unordered_map<uint64_t, std::unique_ptr<Page>> pages_;
    Page *page_ = nullptr; // the one asked for last
    uint64_t page_number_ = 0;
};

} // namespace vexlo
