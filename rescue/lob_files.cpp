#include "rescue/lob_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "output/names.h"
#include "values/errors.h"

namespace vexlo {

namespace {

constexpr uint64_t ROWS_A_DIRECTORY = 1000;

[[noreturn]] void fail(const std::string &path) {
    throw OutputError(path + ": " + std::strerror(errno));
}

std::string padded(uint64_t number, int digits) {
    char text[32];
    std::snprintf(text, sizeof text, "%0*llu", digits, static_cast<unsigned long long>(number));
    return text;
}

void make_directories(const std::string &path) {
    std::error_code error;
    std::filesystem::create_directories(path, error);
    if (error)
        throw OutputError(path + ": " + error.message());
}

} // namespace

LobFiles::LobFiles(const std::string &directory, const std::string &stem,
                   const std::vector<std::string> &columns)
    : directory_(directory), made_(columns.size(), UINT64_MAX) {
    UniqueNames names;
    for (const std::string &column : columns)
        columns_.push_back(stem + ".lobs/" + names.take(safe_file_name(column)));
}

LobFiles::File LobFiles::open(uint64_t row, size_t column, bool is_text) {
    const uint64_t number = row / ROWS_A_DIRECTORY;
    const std::string folder = columns_[column] + "/" + padded(number, 3);
    if (made_[column] != number)
        make_directories(directory_ + "/" + folder);
    made_[column] = number;
    const std::string name = folder + "/" + padded(row, 9) + (is_text ? ".txt" : ".bin");
    return File(directory_ + "/" + name, name);
}

LobFiles::File::File(std::string path, std::string name)
    : file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)), path_(std::move(path)),
      name_(std::move(name)) {
    if (file_.get() < 0)
        fail(path_);
}

void LobFiles::File::append(const void *data, size_t size) {
    const char *from = static_cast<const char *>(data);
    while (size != 0) {
        const ssize_t n = pwrite(file_.get(), from, size, static_cast<off_t>(size_));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            fail(path_);
        from += n;
        size -= static_cast<size_t>(n);
        size_ += static_cast<uint64_t>(n);
    }
}

void LobFiles::File::finish() {
    if (ftruncate(file_.get(), static_cast<off_t>(size_)) != 0 || file_.close() != 0)
        fail(path_);
}

} // namespace vexlo
