// Makes the calls that the interposer watches and prints one result a line: a byte count, "ok", or the
// name of the error. Usage: probe WORK PATH [SIZE]
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t BUFFER_SIZE = 64;

const char *error_name() {
    return strerrorname_np(errno);
}

void print_result(ssize_t n) {
    if (n < 0)
        std::printf("%s\n", error_name());
    else
        std::printf("%zd\n", n);
}

void print_done(bool done) {
    std::printf("%s\n", done ? "ok" : error_name());
}

// Four reads in a row, whatever they return. The local buffer and the run-time size make a fortified build
// call the checked forms.
void read_four(int fd, size_t size) {
    char buffer[BUFFER_SIZE];
    for (int i = 0; i < 4; ++i)
        print_result(read(fd, buffer, size));
}

void pread_four(int fd, size_t size) {
    char buffer[BUFFER_SIZE];
    for (int i = 0; i < 4; ++i)
        print_result(pread(fd, buffer, size, 0));
}

void write_four(int fd, size_t size) {
    const char buffer[BUFFER_SIZE] = {};
    for (int i = 0; i < 4; ++i)
        print_result(write(fd, buffer, size));
}

void pwrite_four(int fd, size_t size) {
    const char buffer[BUFFER_SIZE] = {};
    for (int i = 0; i < 4; ++i)
        print_result(pwrite(fd, buffer, size, 0));
}

void print_size(int fd, size_t) {
    struct stat status;
    if (fstat(fd, &status) != 0)
        std::printf("%s\n", error_name());
    else
        std::printf("%lld\n", static_cast<long long>(status.st_size));
}

void print_lines(const char *path) {
    FILE *file = std::fopen(path, "r");
    if (file == nullptr) {
        std::printf("%s\n", error_name());
        return;
    }
    char line[BUFFER_SIZE];
    while (std::fgets(line, sizeof line, file) != nullptr)
        std::printf("line %s", line);
    std::printf("%s\n", std::ferror(file) != 0 ? error_name() : "end");
    print_done(std::fclose(file) == 0);
}

void print_line_write(const char *path) {
    FILE *file = std::fopen(path, "w");
    std::fputs("text", file);
    print_done(std::fclose(file) == 0);
}

// Allocates through each of the functions; the pointer is kept volatile so that none is optimised away.
void allocate(size_t size) {
    void *volatile block = std::malloc(size);
    print_done(block != nullptr);
    std::free(block);
    block = std::calloc(1, size);
    print_done(block != nullptr);
    std::free(block);
    void *volatile small = std::malloc(1);
    block = std::realloc(small, size);
    print_done(block != nullptr);
    std::free(block != nullptr ? block : small);
}

struct descriptor_work {
    const char *name;
    void (*run)(int fd, size_t size);
};

constexpr descriptor_work WORKS[] = {{"read", read_four},     {"pread", pread_four}, {"write", write_four},
                                     {"pwrite", pwrite_four}, {"fstat", print_size}, {"open", nullptr}};

void run_on_descriptor(const descriptor_work &work, const char *path, size_t size) {
    const int fd = open(path, O_RDWR | O_CREAT, 0644);
    if (fd == -1) {
        std::printf("%s\n", error_name());
        return;
    }
    if (work.run != nullptr)
        work.run(fd, size);
    print_done(close(fd) == 0);
}

} // namespace

int main(int argc, char **argv) {
    if (argc < 3)
        return 2;
    const std::string name = argv[1];
    const size_t size = argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 10;
    for (const descriptor_work &work : WORKS)
        if (name == work.name)
            run_on_descriptor(work, argv[2], size);
    if (name == "lines")
        print_lines(argv[2]);
    if (name == "fputs")
        print_line_write(argv[2]);
    if (name == "malloc")
        allocate(size);
    return 0;
}
