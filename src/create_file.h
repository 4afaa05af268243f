// The one way in which the program opens a file for writing.
#pragma once

// Opens `path` for writing, created with mode 0644 or emptied. A file that the program reads (an open
// datafile, the configuration, the datafile list), or that is open as `being_written`, is left as it is,
// under whatever name or link `path` leads to it. Returns the descriptor, or -1 with errno set: EEXIST for
// such a file.
int create_file(const char *path, int being_written = -1);
