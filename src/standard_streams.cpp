#include "standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <initializer_list>

// In rising order, because a new descriptor gets the lowest number that is free.
int open_standard_streams() {
    for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", fd == STDIN_FILENO ? O_RDONLY : O_WRONLY) != fd)
            return -1;
    return 0;
}
