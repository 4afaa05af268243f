// File descriptors with an owner.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vexlo {

// A file descriptor that is closed with its owner; -1 for none.
class FileHandle {
public:
    explicit FileHandle(int fd = -1) : fd_(fd) {}
    FileHandle(FileHandle &&other) noexcept : fd_(other.fd_) { other.fd_ = -1; }
    FileHandle &operator=(FileHandle &&other) noexcept;
    ~FileHandle() { close(); }
    int get() const { return fd_; }
    // Closes the descriptor now; returns what close() does, 0 when there is none.
    int close();

private:
    int fd_;
};

// Reads up to `size` bytes at `offset`, fewer at the end of the file; throws InputError naming `path`.
size_t read_at(int fd, void *buffer, size_t size, uint64_t offset, const std::string &path);

} // namespace vexlo
