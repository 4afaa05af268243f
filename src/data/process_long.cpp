#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console.h"
#include "data/entry.h"
#include "data/long_value.h"
#include "file_io.h"

namespace {

// Cache bytes of a chunk with its length, and of the end of the block.
constexpr int chunk_space(int size) {
    return size + 2 * MARK_SIZE;
}

int flush_for(ULDR *ul, int space) {
    return ul->clen + space > ul->csz ? write_cache(ul) : 0;
}

// Appends the value that the temporary file holds, chunk by chunk. A chunk is read to where its length
// belongs, not behind it: the length then takes the place of its first two bytes, and two bytes that were not
// read, zeros, end the entry. Readers of dump files count on this place.
int put_spilled(ULDR *ul) {
    uint64_t offset = 0;
    for (;;) {
        if (flush_for(ul, chunk_space(LONG_SIZE)) < 0)
            return -1;
        uint8_t *chunk = ul->cache + ul->clen;
        const ssize_t n = pread_all(ul->lfd, chunk, LONG_SIZE, offset);
        if (n < 0) {
            report("read long data error: %s\n", strerror(errno));
            return -1;
        }
        if (n == 0)
            return 0;
        store_be16(chunk, static_cast<uint16_t>(n));
        store_be16(chunk + n, 0);
        ul->clen += static_cast<int32_t>(n) + MARK_SIZE;
        offset += static_cast<uint64_t>(n);
    }
}

} // namespace

int process_long(ULDR *ul) {
    if (flush_for(ul, chunk_space(std::max(LONG_SIZE, ul->lsz)) + MARK_SIZE) < 0)
        return -1;
    put_word(ul, MARK_LONG_BLOCK);
    if (ul->lfd == -1) {
        put_word(ul, static_cast<uint16_t>(ul->lsz));
        put_bytes(ul, ul->lbuf, static_cast<uint32_t>(ul->lsz));
    } else if (put_spilled(ul) < 0) {
        return -1;
    }
    put_word(ul, 0);
    return 0;
}
