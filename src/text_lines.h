// Line by line reading of the configuration and the datafile list.
#pragma once

#include <cstdio>

constexpr int LINE_SIZE = 1024; // a longer line is taken in pieces of 1023 characters, each a line of its own

// Opens the text file `path` for reading; null after "open %s: %s\n".
FILE *open_text(const char *path);

// Reads the next line of `file` into `line`, its newline included; feof is true afterwards exactly for a
// last line without one. Returns 1, 0 at the end of the file, or -1 after "read %s: %s\n" with `path`.
int next_line(FILE *file, const char *path, char (&line)[LINE_SIZE]);
