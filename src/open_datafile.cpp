#include <fcntl.h>

#include <cerrno>
#include <cstring>

#include "console.h"
#include "datafile.h"
#include "file_io.h"
#include "format/byte_order.h"
#include "format/check_sum.h"
#include "format/file_header.h"

namespace {

constexpr int START_SIZE = 40960; // bytes read from the start of a file: block 0 and its file header block

constexpr uint32_t BLK0_MAX = START_SIZE - FILE_HEADER_SIZE; // the header block lies inside the bytes read

int read_start(const DATAFILE &df, uint8_t *start) {
    const ssize_t n = read_all(df.fd, start, START_SIZE);
    if (n == START_SIZE)
        return 0;
    if (n < 0)
        report("read %s: %s\n", df.name, strerror(errno));
    else
        report("%s size too small.\n", df.name);
    return -1;
}

// The check value stands at its place in the file even where block 0 ends before it.
bool block0_matches(uint8_t *start, uint32_t size) {
    if (size > BLK0_MAX)
        return false;
    if (size < CHKVAL_END)
        return load_le16(start + CHKVAL_KCBH) == fold_words(start, static_cast<int>(size));
    return check_sum(start, static_cast<int>(size)) == 0;
}

int check_block0(DATAFILE &df, uint8_t *start) {
    df.blk0_sz = load_le32(start + BLK0_SIZE);
    if (!block0_matches(start, df.blk0_sz)) {
        report("block 0 of \"%s\" check value error.\n", df.name);
        return -1;
    }
    return 0;
}

int take_identity(DATAFILE &df, const uint8_t *start) {
    if (memcmp(start + BLK0_PLATFORM, PLATFORM_MARK, sizeof PLATFORM_MARK) == 0)
        df.flag |= DF_MARKED;
    const uint8_t *header = start + df.blk0_sz;
    df.fno = load_le16(header + KCCFHFNO);
    df.rfn = load_le32(header + KCVFHRFN);
    df.tsn = load_le32(header + KCVFHTSN);
    df.blks = load_le32(header + KCCFHFSZ);
    df.bsz = load_le32(header + KCCFHBSZ);
    if (df.bsz == 0 || df.bsz > MAX_BLOCK_SIZE) {
        report("block size %u of \"%s\" not supported.\n", df.bsz, df.name);
        return -1;
    }
    if (df.rfn == BIGFILE_RFN)
        df.flag |= DF_BIGFILE;
    if (df.fno == 1) {
        g_ctx.sysf = &df;
        g_ctx.sys.rootdba = load_le32(header + ROOTDBA);
    }
    return 0;
}

int open_one(DATAFILE &df) {
    df.fd = open(df.name, O_RDONLY | O_CLOEXEC);
    if (df.fd < 0) {
        report("open %s: %s\n", df.name, strerror(errno));
        return -1;
    }
    if (read_start(df, g_ctx.wrk) < 0 || check_block0(df, g_ctx.wrk) < 0)
        return -1;
    return take_identity(df, g_ctx.wrk);
}

} // namespace

int open_datafile() {
    for (uint32_t i = 0; i < g_ctx.sys.nf; i++)
        if (open_one(g_ctx.df[i]) < 0)
            return -1;
    // The test is on the root address: a SYSTEM datafile whose header has none is of no use either.
    if (g_ctx.sys.rootdba == 0) {
        report("SYSTEM tablespace file not configured.\n");
        return -1;
    }
    return 0;
}
