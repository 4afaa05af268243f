#include "harness.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "command_map.h"
#include "console.h"
#include "datafile.h"
#include "dict/dict_file.h"
#include "dict_array.h"
#include "format/byte_order.h"
#include "text.h"

namespace fuzz {

namespace {

constexpr int COMMAND_SIZE = 512;

// The fuzzer's own output, which keeps the standard error of the start.
FILE *findings = stderr;

[[noreturn]] void fail(const char *what) {
    fprintf(findings, "%s\n", what);
    abort();
}

void remove_files(const std::string &dir) {
    DIR *list = opendir(dir.c_str());
    if (list == nullptr)
        fail("directory lost");
    while (const dirent *entry = readdir(list))
        unlinkat(dirfd(list), entry->d_name, 0);
    closedir(list);
}

// Directories below $TMPDIR, which is best in memory; every one of a process is new.
struct Directories {
    std::string root, dict, data;

    Directories() {
        const char *base = getenv("TMPDIR");
        root = std::string(base != nullptr ? base : "/dev/shm") + "/vexlo-fuzz-XXXXXX";
        if (mkdtemp(root.data()) == nullptr)
            fail("no directory in memory");
        dict = root + "/dict";
        data = root + "/data";
        if (mkdir(dict.c_str(), 0700) != 0 || mkdir(data.c_str(), 0700) != 0)
            fail("no directory in memory");
    }
    ~Directories() {
        remove_files(dict);
        remove_files(data);
        rmdir(dict.c_str());
        rmdir(data.c_str());
        rmdir(root.c_str());
    }
};

const Directories &directories() {
    static const Directories dirs;
    return dirs;
}

uint8_t *work_buffer() {
    static const std::unique_ptr<uint8_t[]> buffer(new uint8_t[WORK_SIZE]());
    return buffer.get();
}

// The lowest free descriptor.
int next_descriptor() {
    const int fd = fcntl(0, F_DUPFD, 3);
    close(fd);
    return fd;
}

int descriptor_before;

} // namespace

uint8_t Input::u8() {
    const Bytes b = bytes(1);
    return b.empty() ? uint8_t{0} : b[0];
}

uint16_t Input::u16() {
    uint8_t b[2] = {};
    std::ranges::copy(bytes(sizeof b), b);
    return load_le16(b);
}

uint32_t Input::u32() {
    uint8_t b[4] = {};
    std::ranges::copy(bytes(sizeof b), b);
    return load_le32(b);
}

Bytes Input::bytes(size_t n) {
    const Bytes taken = left_.first(std::min(n, left_.size()));
    left_ = left_.subspan(taken.size());
    return taken;
}

HeapBlock::HeapBlock(Bytes bytes, uint32_t bsz) : data_(new uint8_t[bsz]()), bsz_(bsz) {
    std::ranges::copy(bytes.first(std::min<size_t>(bytes.size(), bsz)), data_.get());
}

MemoryFile::MemoryFile() : fd_(memfd_create("fuzz", MFD_CLOEXEC)) {
    if (fd_ < 0)
        fail("no file in memory");
}

std::string MemoryFile::path() const {
    return "/proc/self/fd/" + std::to_string(fd_);
}

void MemoryFile::assign(Bytes bytes, size_t before) const {
    const auto start = static_cast<off_t>(before);
    if (ftruncate(fd_, 0) != 0 || ftruncate(fd_, start) != 0 ||
        pwrite(fd_, bytes.data(), bytes.size(), start) != static_cast<ssize_t>(bytes.size()))
        fail("file in memory not written");
}

const std::string &dict_directory() {
    return directories().dict;
}

const std::string &data_directory() {
    return directories().data;
}

const MemoryFile &dump_file() {
    static const MemoryFile file;
    return file;
}

void write_dict_file(const char *name, Bytes bytes) {
    const std::string path = dict_directory() + "/" + name + ".dat";
    const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        fail("dictionary file not written");
    close(fd);
}

Run::Run() {
    g_ctx = {};
    g_ctx.fd = -1;
    g_ctx.wrk = work_buffer();
    snprintf(g_ctx.par.dict_dir, DIR_SIZE, "%s", dict_directory().c_str());
    snprintf(g_ctx.par.data_dir, DIR_SIZE, "%s", data_directory().c_str());
    begin_damage();
    dump_file().assign({});
    descriptor_before = next_descriptor();
}

Run::~Run() {
    close_dict_file();
    free_dict_memory();
    require(next_descriptor() == descriptor_before, "a descriptor stayed open");
    remove_files(data_directory());
}

void add_datafile(const MemoryFile &file, uint32_t tsn, uint32_t rfn, uint32_t bsz, uint32_t flag) {
    const uint32_t n = g_ctx.sys.nf++;
    g_ctx.df = static_cast<DATAFILE *>(realloc(g_ctx.df, g_ctx.sys.nf * sizeof(DATAFILE)));
    DATAFILE &df = g_ctx.df[n];
    df = {};
    df.flag = flag;
    df.fd = file.fd();
    df.fno = n + 1;
    df.rfn = rfn;
    df.tsn = tsn;
    df.bsz = df.blk0_sz = bsz;
    strcpy(df.name, "datafile");
    g_ctx.sysf = g_ctx.df;
}

void run_command(const std::string &line) {
    char text[COMMAND_SIZE] = {};
    line.copy(text, COMMAND_SIZE - 1);
    text[strcspn(text, "\r\n")] = '\0';
    char *cmd = str_rtrim(str_ltrim(text));
    char *args = end_first_word(cmd);
    for (const COMMAND_MAP *entry = command_map; entry->cmd_name[0] != '\0'; entry++)
        if (strcmp(entry->cmd_name, cmd) == 0)
            entry->cmd_function(args);
}

void require(bool holds, const char *what) {
    if (!holds)
        fail(what);
}

} // namespace fuzz

// The program's own output goes nowhere: the C library takes its standard streams from these two variables,
// while the fuzzer keeps the stream it began with.
extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    stdout = fopen("/dev/null", "w");
    stderr = fopen("/dev/null", "w");
    return stdout != nullptr && stderr != nullptr ? 0 : 1;
}
