// Whole transfers: interrupted calls are repeated, short ones continued.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>

// Writes `len` bytes at the current position of `fd`. Returns 0, or -1 with errno set.
int write_all(int fd, const void *data, size_t len);

// Writes `len` bytes at `offset` of `fd`. Returns 0, or -1 with errno set.
int pwrite_all(int fd, const void *data, size_t len, uint64_t offset);

// Reads up to `len` bytes from the current position of `fd`. Returns the bytes read, fewer than asked only
// at the end of the file, or -1 with errno set.
ssize_t read_all(int fd, void *data, size_t len);

// The same from `offset` on.
ssize_t pread_all(int fd, void *data, size_t len, uint64_t offset);
