#include "rescue/long_value.h"

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "rescue/positioned_read.h"
#include "values/errors.h"

namespace vexlo {

namespace {

[[noreturn]] void fail_temporary(const std::string &directory) {
    throw OutputError(directory + ": temporary file of a LONG value: " + std::strerror(errno));
}

// A file without a name in the directory; one that is removed at once where the file system has no such
// files.
FileHandle open_nameless(const std::string &directory) {
    const int fd = open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600);
    if (fd >= 0)
        return FileHandle(fd);
    std::string name = directory + "/long_XXXXXX";
    FileHandle file(mkostemp(name.data(), O_CLOEXEC));
    if (file.get() < 0)
        fail_temporary(directory);
    unlink(name.c_str());
    return file;
}

} // namespace

void LongValue::clear() {
    memory_.clear();
    file_.close();
    written_ = 0;
}

void LongValue::append(const uint8_t *data, size_t size) {
    if (memory_.size() + size > IN_MEMORY)
        flush();
    memory_.append({data, size});
}

void LongValue::flush() {
    if (directory_.empty()) {
        written_ += memory_.size();
        memory_.clear();
        return;
    }
    if (file_.get() < 0)
        file_ = open_nameless(directory_);
    for (size_t done = 0; done < memory_.size();) {
        const ssize_t n = pwrite(file_.get(), memory_.data() + done, memory_.size() - done,
                                 static_cast<off_t>(written_ + done));
        if (n < 0 && errno != EINTR)
            fail_temporary(directory_);
        done += n > 0 ? static_cast<size_t>(n) : 0;
    }
    written_ += memory_.size();
    memory_.clear();
}

Field LongValue::field() {
    if (size() == 0)
        return {FieldKind::null, 0, {nullptr}};
    if (written_ != 0) {
        Field field{FieldKind::stream, 0, {nullptr}};
        field.stream = this;
        return field;
    }
    return {FieldKind::value, static_cast<uint32_t>(memory_.size()), {memory_.data()}};
}

void LongValue::for_each_piece(const Take &take) {
    constexpr size_t PIECE = 1 << 20;
    PaddedBytes piece(PIECE);
    for (uint64_t offset = 0; offset < size();) {
        const size_t got = read(offset, piece.data(), PIECE);
        take({piece.data(), got});
        offset += got;
    }
}

// Reads up to `size` bytes from `offset`, which lies inside the value; fewer at its end only.
size_t LongValue::read(uint64_t offset, uint8_t *to, size_t size) {
    size_t done = 0;
    if (offset < written_) {
        int error;
        const size_t wanted = static_cast<size_t>(std::min<uint64_t>(size, written_ - offset));
        if (directory_.empty()) {
            std::memset(to, 0, wanted);
            return wanted;
        }
        done = read_fully(file_.get(), to, wanted, offset, error);
        if (done < wanted)
            throw OutputError(directory_ + ": temporary file of a LONG value: " +
                              (error == 0 ? "cut short" : std::strerror(error)));
    }
    const uint64_t at = offset + done - written_; // in memory
    if (done < size && offset + done >= written_ && at < memory_.size()) {
        const size_t rest = std::min<size_t>(size - done, memory_.size() - static_cast<size_t>(at));
        std::memcpy(to + done, memory_.data() + at, rest);
        done += rest;
    }
    return done;
}

} // namespace vexlo
