#include "rescue/datafile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "format/block_address.h"
#include "rescue/file_probe.h"
#include "rescue/positioned_read.h"
#include "values/errors.h"

namespace vexlo {

namespace {

std::string error_text(const std::string &path, const char *what) {
    return path + ": " + what + ": " + std::strerror(errno);
}

// What the file begins with. Pages that cannot be read are zero there, as of a header that is lost.
std::vector<uint8_t> read_start(int fd) {
    constexpr size_t PAGE = 4096; // the disk fails in pieces no smaller
    std::vector<uint8_t> start(PROBE_START);
    int error;
    size_t got = read_fully(fd, start.data(), start.size(), 0, error);
    if (error != 0)
        for (got = 0; got < start.size(); got += PAGE) {
            const size_t page = read_fully(fd, start.data() + got, PAGE, got, error);
            if (error != 0) {
                std::memset(start.data() + got, 0, PAGE);
            } else if (page < PAGE) { // the end of the file
                got += page;
                break;
            }
        }
    start.resize(got);
    return start;
}

} // namespace

const char *status_text(FileStatus status) {
    switch (status) {
    case FileStatus::used:
        return "used";
    case FileStatus::duplicate:
        return "duplicate";
    case FileStatus::damaged_header:
        return "damaged header";
    case FileStatus::missing:
        return "missing";
    default:
        return "not a datafile";
    }
}

Datafile::Datafile(FileHandle file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}

std::unique_ptr<Datafile> Datafile::open(const std::string &path) {
    FileHandle file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (file.get() < 0)
        throw InputError(error_text(path, "cannot be opened"));
    return adopt(std::move(file), path);
}

std::unique_ptr<Datafile> Datafile::adopt(FileHandle file, std::string path) {
    std::unique_ptr<Datafile> result(new Datafile(std::move(file), std::move(path)));
    result->identify();
    return result;
}

std::unique_ptr<Datafile> Datafile::absent(std::string path, std::string why) {
    std::unique_ptr<Datafile> result(new Datafile(FileHandle(), std::move(path)));
    result->set_status(FileStatus::missing, std::move(why));
    return result;
}

void Datafile::identify() {
    struct stat st;
    if (fstat(file_.get(), &st) != 0)
        throw InputError(error_text(path_, "cannot be read"));
    device_ = st.st_dev;
    inode_ = st.st_ino;
    modified_ = st.st_mtim;
    if (!S_ISREG(st.st_mode) && !S_ISBLK(st.st_mode)) {
        remark_ = "no regular file";
        return;
    }
    const off_t end = lseek(file_.get(), 0, SEEK_END); // devices have no size of their own
    size_ = end > 0 ? static_cast<uint64_t>(end) : 0;

    const std::vector<uint8_t> start = read_start(file_.get());
    FileFinding finding = probe_file(file_.get(), start, size_);
    identity_ = std::move(finding.identity);
    status_ = finding.status;
    remark_ = std::move(finding.remark);
    if (!is_used())
        return;
    block0_size_ = finding.block0_size;
    const uint64_t whole = size_ < block0_size_ ? 0 : 1 + (size_ - block0_size_) / identity_.block_size;
    const uint64_t most = identity_.bigfile ? uint64_t{1} << 32 : RDBA_BLOCK_MASK + 1;
    blocks_ = std::min(whole, most);
    posix_fadvise(file_.get(), 0, 0, POSIX_FADV_SEQUENTIAL);
}

uint32_t Datafile::rdba(uint64_t block) const {
    const uint32_t number = static_cast<uint32_t>(block);
    return identity_.bigfile ? number : make_rdba(identity_.relative_file, number);
}

uint64_t Datafile::block_number(uint32_t rdba) const {
    return identity_.bigfile ? rdba : rdba & RDBA_BLOCK_MASK;
}

uint64_t Datafile::offset(uint64_t block) const {
    return block == 0 ? 0 : block0_size_ + (block - 1) * identity_.block_size;
}

BlockRead Datafile::read(uint64_t first, uint32_t count, uint8_t *to) const {
    if (first == 0 || first >= blocks_)
        return {0, 0};
    const uint32_t size = identity_.block_size;
    count = static_cast<uint32_t>(std::min<uint64_t>(count, blocks_ - first));
    int error;
    const size_t got = read_fully(file_.get(), to, size_t{count} * size, offset(first), error);
    const uint32_t whole = static_cast<uint32_t>(got / size);
    if (error == 0 || whole == count)
        return {whole, 0};
    // Where in the request the unreadable place lies is not told: block by block up to it.
    uint32_t done = whole;
    while (done < count &&
           read_fully(file_.get(), to + size_t{done} * size, size, offset(first + done), error) == size)
        ++done;
    return {done, error};
}

uint64_t Datafile::skip_hole(uint64_t block) const {
    if (block >= blocks_)
        return blocks_;
    const off_t data = lseek(file_.get(), static_cast<off_t>(offset(block)), SEEK_DATA);
    if (data < 0)
        return errno == ENXIO ? blocks_ : block;
    const uint64_t at = static_cast<uint64_t>(data);
    if (at <= offset(block))
        return block;
    return std::min(blocks_, 1 + (at - block0_size_) / identity_.block_size);
}

void Datafile::set_status(FileStatus status, std::string remark) {
    status_ = status;
    remark_ = std::move(remark);
}

void Datafile::set_place(uint32_t file, uint32_t tablespace) {
    identity_.file = file;
    identity_.tablespace = tablespace;
    placed_ = true;
}

} // namespace vexlo
