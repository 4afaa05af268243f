#include "rescue/lob_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>

#include "output/names.h"
#include "values/errors.h"

namespace vexlo {

namespace {

constexpr uint64_t ROWS_A_DIRECTORY = 1000;

[[noreturn]] void fail_file(const std::string &path) {
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

void remove(const std::string &path) {
    std::error_code error;
    std::filesystem::remove_all(path, error);
    if (error)
        throw OutputError(path + ": " + error.message());
}

} // namespace

std::string lob_directory(const std::string &stem) {
    return stem + ".lobs";
}

LobFiles::LobFiles(const std::string &directory, const std::string &stem,
                   const std::vector<std::string> &columns)
    : path_(directory + "/" + lob_directory(stem)), made_(columns.size(), UINT64_MAX) {
    written_.path = lob_directory(stem);
    UniqueNames names;
    for (const std::string &column : columns)
        columns_.push_back(names.take(safe_file_name(column)));
    remove(path_.temporary());
}

LobFiles::~LobFiles() {
    std::error_code error;
    std::filesystem::remove_all(path_.temporary(), error);
}

void LobFiles::finish(std::vector<LobFilesEntry> &entries) {
    remove(path_.final_path());
    if (written_.files == 0)
        return;
    path_.commit();
    entries.push_back(written_);
}

LobFiles::File LobFiles::open(uint64_t row, size_t column, bool is_text) {
    const uint64_t number = row / ROWS_A_DIRECTORY;
    const std::string folder = "/" + columns_[column] + "/" + padded(number, 3);
    if (made_[column] != number)
        make_directories(path_.temporary() + folder);
    made_[column] = number;
    const std::string name = folder + "/" + padded(row, 9) + (is_text ? ".txt" : ".bin");
    return {*this, path_.temporary() + name, written_.path + name};
}

LobFiles::File::File(LobFiles &owner, std::string path, std::string name)
    : owner_(owner), file_(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)),
      path_(std::move(path)), name_(std::move(name)) {
    if (file_.get() < 0)
        fail_file(path_);
}

void LobFiles::File::append(const void *data, size_t size) {
    const char *from = static_cast<const char *>(data);
    while (size != 0) {
        const ssize_t n = pwrite(file_.get(), from, size, static_cast<off_t>(digest_.bytes()));
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            fail_file(path_);
        digest_.add(from, static_cast<size_t>(n));
        from += n;
        size -= static_cast<size_t>(n);
    }
}

// A hole reads as zeros. What is missing is a claim of the row: more of it than file systems take leaves
// none.
void LobFiles::File::skip(uint64_t bytes) {
    constexpr uint64_t LONGEST_FILE = uint64_t{1} << 40;
    if (digest_.bytes() <= LONGEST_FILE && bytes <= LONGEST_FILE - digest_.bytes())
        digest_.add_zeros(bytes);
}

void LobFiles::File::finish() {
    if (ftruncate(file_.get(), static_cast<off_t>(digest_.bytes())) != 0 || file_.close() != 0)
        fail_file(path_);
    ++owner_.written_.files;
    owner_.written_.bytes += digest_.bytes();
    owner_.written_.crc32 += digest_.crc32();
}

} // namespace vexlo
