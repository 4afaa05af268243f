#include "output/output_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

#include "output/unfinished_files.h"
#include "values/errors.h"

namespace vexlo {

namespace {

[[noreturn]] void fail(const std::string &path, const char *what) {
    throw OutputError(path + ": " + what + ": " + std::strerror(errno));
}

constexpr std::string_view UNFINISHED = ".part";

std::string temporary_name(const std::string &final_path) {
    const size_t slash = final_path.rfind('/');
    const size_t base = slash == std::string::npos ? 0 : slash + 1;
    return final_path.substr(0, base) + "." + final_path.substr(base) + "." + std::to_string(getpid()) +
           std::string(UNFINISHED);
}

FileHandle duplicate_standard_output() {
    FileHandle file(fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0));
    if (file.get() < 0)
        fail("standard output", "cannot be used");
    return file;
}

} // namespace

std::optional<std::string> unfinished_output(std::string_view name) {
    constexpr std::string_view JOURNAL = "-journal";
    if (name.ends_with(JOURNAL))
        name.remove_suffix(JOURNAL.size());
    if (!name.starts_with('.') || !name.ends_with(UNFINISHED))
        return std::nullopt;
    name = name.substr(1, name.size() - 1 - UNFINISHED.size());
    const size_t dot = name.rfind('.');
    const bool numbered = dot != std::string_view::npos && dot + 1 < name.size() &&
                          name.find_first_not_of("0123456789", dot + 1) == std::string_view::npos;
    return numbered ? std::optional(std::string(name.substr(0, dot))) : std::nullopt;
}

PendingPath::PendingPath(const std::string &final_path)
    : final_(final_path), temporary_(temporary_name(final_path)) {}

PendingPath::PendingPath(const std::string &final_path, const std::string &temporary)
    : final_(final_path), temporary_(temporary) {}

PendingPath::~PendingPath() {
    if (pending_)
        remove_unfinished(temporary_);
}

FileHandle PendingPath::create() const {
    FileHandle file = create_unfinished(temporary_);
    if (file.get() < 0)
        fail(temporary_, "cannot be created");
    return file;
}

void PendingPath::commit() {
    if (rename_unfinished(temporary_, final_) != 0)
        fail(final_, "cannot be given its name");
    pending_ = false;
}

OutputFile::OutputFile(const std::string &final_path, std::vector<WrittenFile> *log, Compression compression)
    : path_(std::make_unique<PendingPath>(final_path)), log_(log), file_(path_->create()),
      sink_(file_.get(), log != nullptr ? &digest_ : nullptr, compression) {}

OutputFile::OutputFile(Compression compression)
    : file_(duplicate_standard_output()), sink_(file_.get(), nullptr, compression) {}

void OutputFile::check(int error) const {
    errno = error;
    if (error != 0)
        fail(path_ ? path_->final_path() : "standard output", "cannot be written");
}

void OutputFile::start(ByteBuffer &bytes) {
    if (is_direct_) {
        check(sink_.write(bytes.data(), bytes.size()));
        bytes.clear();
        return;
    }
    if (!writer_)
        writer_ = std::make_unique<BackgroundWriter>(sink_);
    check(writer_->wait());
    writing_.swap(bytes);
    bytes.clear();
    check(writer_->write(writing_.data(), writing_.size()));
}

void OutputFile::flush() {
    if (!filling_.empty())
        start(filling_);
}

void OutputFile::append(std::string_view text) {
    filling_.append(text);
    if (filling_.size() >= BUFFER_SIZE)
        flush();
}

void OutputFile::take(ByteBuffer &bytes) {
    if (bytes.size() < BUFFER_SIZE / 2) {
        append(bytes.view());
        bytes.clear();
        return;
    }
    flush();
    start(bytes);
}

// An output that never filled a buffer is written by this thread.
void OutputFile::finish() {
    if (writer_) {
        flush();
        check(writer_->wait());
    } else {
        check(sink_.write(filling_.data(), filling_.size()));
    }
    check(sink_.finish());
    check(file_.close() == 0 ? 0 : errno);
    if (path_)
        path_->commit();
    if (log_ != nullptr)
        log_->push_back({path_->final_path(), digest_.bytes(), digest_.crc32()});
}

Destination::Destination(const std::string &directory)
    : directory_(directory.empty() ? "." : directory), standard_output_(directory == "-") {}

Destination Destination::at(const std::string &stem) {
    Destination destination;
    destination.stem_ = stem;
    return destination;
}

std::string Destination::path_for(std::string_view name, std::string_view extension) {
    if (!stem_.empty())
        return stem_ + std::string(extension);
    std::error_code error;
    if (!standard_output_)
        std::filesystem::create_directories(directory_, error);
    if (error)
        throw OutputError(directory_ + ": cannot be created: " + error.message());
    return reserve(name, extension);
}

std::string Destination::reserve(std::string_view name, std::string_view extension) {
    return directory_ + "/" + used_.take(safe_file_name(name)) + std::string(extension);
}

std::string Destination::stream_path_for(std::string_view name, std::string_view extension) {
    return path_for(name, std::string(extension) + std::string(compression_extension(compression_)));
}

std::unique_ptr<OutputFile> Destination::opened(std::unique_ptr<OutputFile> file) const {
    if (is_direct_)
        file->write_directly();
    return file;
}

std::unique_ptr<OutputFile> Destination::open_path(const std::string &path) {
    return opened(std::make_unique<OutputFile>(path, log(), Compression::none));
}

std::unique_ptr<OutputFile> Destination::open_stream(const std::string &path) {
    return opened(standard_output_ ? std::make_unique<OutputFile>(compression_)
                                   : std::make_unique<OutputFile>(path, log(), compression_));
}

} // namespace vexlo
