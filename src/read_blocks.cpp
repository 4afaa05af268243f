#include <algorithm>
#include <cerrno>
#include <cstring>

#include "console.h"
#include "datafile.h"
#include "file_io.h"
#include "format/check_sum.h"

uint32_t block_offset(const DATAFILE *df, uint32_t rdba) {
    const uint32_t block = (df->flag & DF_BIGFILE) != 0 ? rdba : rdba & RDBA_BLOCK_MASK;
    return df->blk0_sz + df->bsz * (block - 1);
}

uint32_t blocks_in_reach(const DATAFILE *df, uint32_t rdba) {
    const uint32_t in_file = RDBA_BLOCK_MASK - (rdba & RDBA_BLOCK_MASK) + 1;
    const uint32_t to_wrap = (UINT32_MAX - block_offset(df, rdba)) / df->bsz + 1;
    return std::min(in_file, to_wrap);
}

int read_extent_blocks(const DATAFILE *df, uint32_t rdba, int blocks, uint8_t *buf) {
    const int bsz = static_cast<int>(df->bsz);
    const int bytes = static_cast<int>(
        pread_all(df->fd, buf, static_cast<size_t>(blocks) * df->bsz, block_offset(df, rdba)));
    if (bytes < 0)
        report("read \"%s\": %s\n", df->name, strerror(errno));
    if (bytes < 0 || (g_ctx.par.flag & PAR_CHECKSUM) == 0)
        return bytes;
    // A block that was not delivered whole has no check value that could match.
    const int whole = bytes / bsz;
    for (int i = 0; i < blocks; i++) {
        if (i >= whole || check_sum(buf + i * bsz, bsz) != 0) {
            report("block rdba=0x%x check value not matched.\n", rdba + static_cast<uint32_t>(i));
            return -1;
        }
    }
    return bytes;
}
