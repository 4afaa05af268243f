#include "convert/byte_window.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "format/byte_order.h"
#include "output/file_handle.h"

namespace vexlo {

namespace {

constexpr size_t PEEK_SIZE = 4096; // read at once outside the window

} // namespace

ByteWindow::ByteWindow(int fd, const std::string &path, uint64_t begin, uint64_t end, size_t capacity)
    : fd_(fd), path_(path), begin_(begin), position_(begin), end_(end),
      capacity_(static_cast<size_t>(std::min<uint64_t>(capacity, end - begin))), buffer_(capacity_) {}

bool ByteWindow::fill(size_t count) {
    if (count > end_ - position_ || count > SIZE_MAX_BYTES)
        return false;
    if (count > room())
        move_to_begin(count);
    const uint64_t behind = position_ + available();
    const size_t want = static_cast<size_t>(std::min<uint64_t>(buffer_.size() - filled_, end_ - behind));
    const size_t got = read_at(fd_, buffer_.data() + filled_, want, behind, path_);
    filled_ += got;
    if (got < want)
        end_ = behind + got;
    return count <= available();
}

// Makes room for `count` bytes.
void ByteWindow::move_to_begin(size_t count) {
    if (holding_) {
        leave();
    } else {
        std::memmove(buffer_.data(), data(), available());
        filled_ = available();
        start_ = 0;
    }
    if (count > buffer_.size()) // a quarter more, so that a row that grows is seldom moved
        buffer_.resize(static_cast<size_t>(
            std::min({uint64_t{count} + count / 4, uint64_t{SIZE_MAX_BYTES}, end_ - position_})));
}

// Goes on in other memory of the usual size, with as much of what is available as it takes.
void ByteWindow::leave() {
    if (spare_.empty())
        spare_.emplace_back(capacity_);
    PaddedBytes next = std::move(spare_.back());
    spare_.pop_back();
    filled_ = std::min(available(), next.size());
    std::memcpy(next.data(), data(), filled_);
    start_ = 0;
    held_.push_back(std::exchange(buffer_, std::move(next)));
    holding_ = false;
}

std::vector<PaddedBytes> ByteWindow::take_held() {
    if (holding_)
        leave();
    return std::exchange(held_, {});
}

void ByteWindow::give_back(std::vector<PaddedBytes> memory) {
    for (PaddedBytes &bytes : memory)
        if (bytes.size() == capacity_)
            spare_.push_back(std::move(bytes));
}

void ByteWindow::move_to(uint64_t position) {
    const uint64_t in_memory = position_ - start_;
    position = std::clamp(position, begin_, end_);
    if (position >= in_memory && position <= in_memory + filled_) {
        start_ = static_cast<size_t>(position - in_memory);
    } else {
        start_ = filled_ = 0;
        if (holding_)
            leave();
    }
    position_ = position;
}

bool ByteWindow::peek(uint64_t at, uint16_t &mark) {
    if (at + sizeof mark <= available()) {
        mark = load_be16(data() + at);
        return true;
    }
    const uint64_t place = position_ + at;
    if (place > end_ || end_ - place < sizeof mark)
        return false;
    if (place < peeked_at_ || place + sizeof mark > peeked_at_ + peeked_.size()) {
        peeked_.resize(static_cast<size_t>(std::min<uint64_t>(PEEK_SIZE, end_ - place)));
        peeked_.resize(read_at(fd_, peeked_.data(), peeked_.size(), place, path_));
        peeked_at_ = place;
    }
    if (peeked_.size() < sizeof mark)
        return false;
    mark = load_be16(peeked_.data() + (place - peeked_at_));
    return true;
}

} // namespace vexlo
