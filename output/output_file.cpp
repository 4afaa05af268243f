#include "output/output_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "values/errors.h"
#include "values/hex.h"

namespace vexlo {

namespace {

[[noreturn]] void fail(const std::string &path, const char *what) {
    throw OutputError(path + ": " + what + ": " + std::strerror(errno));
}

std::string temporary_name(const std::string &final_path) {
    const size_t slash = final_path.rfind('/');
    const size_t base = slash == std::string::npos ? 0 : slash + 1;
    return final_path.substr(0, base) + "." + final_path.substr(base) + "." + std::to_string(getpid()) +
           ".part";
}

FileHandle create(const std::string &path) {
    FileHandle file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (file.get() < 0)
        fail(path, "cannot be created");
    return file;
}

FileHandle duplicate_standard_output() {
    FileHandle file(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
    if (file.get() < 0)
        fail("standard output", "cannot be used");
    return file;
}

} // namespace

PendingPath::PendingPath(const std::string &final_path)
    : final_(final_path), temporary_(temporary_name(final_path)) {}

PendingPath::~PendingPath() {
    if (pending_)
        unlink(temporary_.c_str());
}

void PendingPath::commit() {
    if (std::rename(temporary_.c_str(), final_.c_str()) != 0)
        fail(final_, "cannot be given its name");
    pending_ = false;
}

OutputFile::OutputFile(const std::string &final_path)
    : path_(std::make_unique<PendingPath>(final_path)), file_(create(path_->temporary())),
      cursor_(filling_.data.get()), end_(cursor_ + filling_.size), writer_(file_.get()) {}

OutputFile::OutputFile()
    : file_(duplicate_standard_output()), cursor_(filling_.data.get()), end_(cursor_ + filling_.size),
      writer_(file_.get()) {}

void OutputFile::check(int error) const {
    errno = error;
    if (error != 0)
        fail(path_ ? path_->final_path() : "standard output", "cannot be written");
}

void OutputFile::make_room(size_t size) {
    flush();
    if (size > filling_.size)
        filling_ = {std::unique_ptr<char[]>(new char[size]), size};
    cursor_ = filling_.data.get();
    end_ = cursor_ + filling_.size;
}

void OutputFile::flush() {
    check(writer_.write(filling_.data.get(), static_cast<size_t>(cursor_ - filling_.data.get())));
    std::swap(filling_, writing_);
}

void OutputFile::append(std::string_view text) {
    char *out = reserve(text.size());
    std::memcpy(out, text.data(), text.size());
    commit_to(out + text.size());
}

void OutputFile::append_hex(std::string_view bytes) {
    char *out = reserve(2 * bytes.size());
    commit_to(put_hex(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size(), out));
}

void OutputFile::finish() {
    flush();
    check(writer_.wait());
    check(file_.close() == 0 ? 0 : errno);
    if (path_)
        path_->commit();
}

Destination::Destination(const std::string &directory)
    : directory_(directory.empty() ? "." : directory), standard_output_(directory == "-") {
    if (!standard_output_ && mkdir(directory_.c_str(), 0777) != 0 && errno != EEXIST)
        fail(directory_, "cannot be created");
}

std::string Destination::path_for(std::string_view name, std::string_view extension) {
    return directory_ + "/" + used_.take(safe_file_name(name)) + std::string(extension);
}

std::unique_ptr<OutputFile> Destination::open(std::string_view name, std::string_view extension) {
    if (standard_output_)
        return std::make_unique<OutputFile>();
    return std::make_unique<OutputFile>(path_for(name, extension));
}

} // namespace vexlo
