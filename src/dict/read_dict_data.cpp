#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "console.h"
#include "dict/dict_file.h"
#include "dict_path.h"
#include "file_io.h"

namespace {

int read_error(const char *path, int error) {
    report("read %s: %s\n", path, strerror(error));
    return -1;
}

// Chooses the buffer for the file behind `fd` and fills it.
int read_whole(int fd, const char *path, void **data, int *size) {
    struct stat st;
    if (fstat(fd, &st) < 0) {
        report("get %s stat error: %s\n", path, strerror(errno));
        return -1;
    }
    if (st.st_size > INT_MAX) // sizes are 32-bit counts
        return read_error(path, EFBIG);
    *size = static_cast<int>(st.st_size);
    void *buffer = *size > WORK_SIZE ? malloc(static_cast<size_t>(*size)) : g_ctx.wrk;
    if (buffer == nullptr) {
        report("allocate memory %d bytes error: %s\n", *size, strerror(errno));
        return -1;
    }
    *data = buffer;
    const ssize_t n = read_all(fd, buffer, static_cast<size_t>(*size));
    if (n < 0)
        return read_error(path, errno);
    if (n < *size) // the file shrank since its size was taken
        return read_error(path, EIO);
    return 0;
}

} // namespace

int read_dict_data(const char *name, void **data, int *size) {
    char path[PATH_SIZE];
    dict_path(path, name);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        report("open %s: %s\n", path, strerror(errno));
        return -1;
    }
    const int result = read_whole(fd, path, data, size);
    close(fd);
    return result;
}
