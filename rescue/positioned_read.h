// Reading at positions.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vexlo {

// Reads `size` bytes at `offset`, going on after short and interrupted reads. Returns how many came; when
// that is fewer, `error` is the errno of the read that failed, 0 at the end of the file.
size_t read_fully(int fd, uint8_t *to, size_t size, uint64_t offset, int &error);

} // namespace vexlo
