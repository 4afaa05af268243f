#include "convert/byte_window.h"

#include <algorithm>
#include <cstring>

#include "output/file_handle.h"
#include "values/text_scan.h"

namespace vexlo {

ByteWindow::ByteWindow(int fd, const std::string &path, uint64_t begin, uint64_t end, size_t capacity)
    : fd_(fd), path_(path), position_(begin), end_(end),
      capacity_(static_cast<size_t>(std::min<uint64_t>(capacity, end - begin))),
      buffer_(capacity_ + READ_SLACK) {}

bool ByteWindow::fill(size_t count) {
    if (count > end_ - position_)
        return false;
    std::memmove(buffer_.data(), data(), available());
    filled_ = available();
    start_ = 0;
    if (count > capacity_) {
        capacity_ = static_cast<size_t>(std::min<uint64_t>(std::max(count, 2 * capacity_), end_ - position_));
        buffer_.resize(capacity_ + READ_SLACK);
    }
    const uint64_t left = end_ - position_ - filled_;
    const size_t want = static_cast<size_t>(std::min<uint64_t>(capacity_ - filled_, left));
    const size_t got = read_at(fd_, buffer_.data() + filled_, want, position_ + filled_, path_);
    filled_ += got;
    if (got < want)
        end_ = position_ + filled_;
    return count <= filled_;
}

} // namespace vexlo
