#include "create_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

#include "vexlo.h"

namespace {

// One device may have several nodes.
bool same_file(const struct stat &a, const struct stat &b) {
    const bool devices = S_ISBLK(a.st_mode) && S_ISBLK(b.st_mode);
    return (a.st_dev == b.st_dev && a.st_ino == b.st_ino) || (devices && a.st_rdev == b.st_rdev);
}

bool is_open_as(int fd, const struct stat &file) {
    struct stat other;
    return fd >= 0 && fstat(fd, &other) == 0 && same_file(file, other);
}

bool is_at(const char *path, const struct stat &file) {
    struct stat other;
    return stat(path, &other) == 0 && same_file(file, other);
}

bool is_open_datafile(const struct stat &file) {
    for (uint32_t i = 0; i < g_ctx.sys.nf; i++)
        if (is_open_as(g_ctx.df[i].fd, file))
            return true;
    return false;
}

// Empties the file behind `fd` unless it is one that must stay. Returns 0, or -1 with errno set.
int empty_file(int fd, int being_written) {
    struct stat file;
    if (fstat(fd, &file) < 0)
        return -1;
    if (is_open_datafile(file) || is_open_as(being_written, file) || is_at(g_cfgname, file) ||
        is_at(g_dbfile_list, file)) {
        errno = EEXIST;
        return -1;
    }
    return S_ISREG(file.st_mode) ? ftruncate(fd, 0) : 0;
}

} // namespace

int create_file(const char *path, int being_written) {
    const int fd = open(path, O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    if (fd < 0 || empty_file(fd, being_written) == 0)
        return fd;
    const int error = errno;
    close(fd);
    errno = error;
    return -1;
}
