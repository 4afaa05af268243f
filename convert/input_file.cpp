#include "convert/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "values/errors.h"

namespace vexlo {

namespace {

constexpr size_t COPY_SIZE = 1 << 18;

[[noreturn]] void fail(const std::string &what) {
    throw InputError(what + ": " + std::strerror(errno));
}

FileHandle nameless_file() {
    const char *directory = std::getenv("TMPDIR");
    std::string path = std::string(directory != nullptr && *directory != '\0' ? directory : "/tmp") +
                       "/vexlo-convert-XXXXXX";
    FileHandle file(mkostemp(path.data(), O_CLOEXEC));
    if (file.get() < 0)
        fail(path + ": a copy of standard input cannot be created");
    unlink(path.c_str());
    return file;
}

void write_all(int fd, const char *data, size_t size) {
    while (size > 0) {
        const ssize_t done = write(fd, data, size);
        if (done < 0 && errno == EINTR)
            continue;
        if (done < 0)
            fail("the copy of standard input cannot be written");
        data += done;
        size -= static_cast<size_t>(done);
    }
}

FileHandle copy_of_standard_input() {
    FileHandle copy = nameless_file();
    std::vector<char> buffer(COPY_SIZE);
    for (;;) {
        const ssize_t got = read(STDIN_FILENO, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            fail("standard input cannot be read");
        if (got == 0)
            return copy;
        write_all(copy.get(), buffer.data(), static_cast<size_t>(got));
    }
}

bool is_whole_file(int fd) {
    struct stat st;
    return fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && lseek(fd, 0, SEEK_CUR) == 0;
}

FileHandle standard_input() {
    return is_whole_file(STDIN_FILENO) ? FileHandle(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 0))
                                       : copy_of_standard_input();
}

} // namespace

InputFiles::InputFiles(const Options &options, Report &report) : paths_(options.files), report_(report) {
    if (options.salvage)
        salvage_.emplace();
    if (!options.dictionary.empty())
        salvage_->dictionary.emplace(options.dictionary);
}

DumpFile InputFiles::open_dump(const std::string &path) const {
    const Salvage *const salvage = salvage_ ? &*salvage_ : nullptr;
    return path == STANDARD_INPUT ? DumpFile(standard_input(), "standard input", salvage)
                                  : DumpFile(path, salvage);
}

std::optional<DumpFile> InputFiles::next() {
    while (next_ < paths_.size()) {
        try {
            std::optional<DumpFile> dump = open_dump(paths_[next_++]);
            ++opened_;
            return dump;
        } catch (const NoDumpError &error) {
            report_.loss(std::string(error.what()) + (paths_.size() > 1 ? ", skipped" : ""));
            ++skipped_;
        } catch (const InputError &error) {
            report_.failure(error.what());
        }
    }
    if (opened_ == 0 && skipped_ > 0)
        report_.failure("no dump file was given");
    return std::nullopt;
}

} // namespace vexlo
