// Block 0 and the file header block of a datafile. Input: a byte of options, 64 bytes of block 0, then what
// stands at the place that block 0 gives the header.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "datafile.h"
#include "format/byte_order.h"
#include "format/check_sum.h"
#include "harness.h"

namespace {

constexpr size_t START_SIZE = 40960; // a datafile has no fewer bytes
constexpr size_t BLOCK0_BYTES = 64;
constexpr uint8_t SHORT_FILE = 0x1;
constexpr uint8_t RIGHT_CHECK_VALUE = 0x2; // otherwise hardly any input would come past it
constexpr uint8_t VERIFY_BLOCKS = 0x4;

std::vector<uint8_t> make_file(fuzz::Input &in, uint8_t options) {
    std::vector<uint8_t> file(START_SIZE);
    const fuzz::Bytes block0 = in.bytes(BLOCK0_BYTES);
    std::copy(block0.begin(), block0.end(), file.begin());
    const uint32_t blk0_sz = load_le32(&file[20]);
    if (blk0_sz >= file.size())
        return file;
    const fuzz::Bytes rest = in.bytes(file.size() - blk0_sz);
    std::copy(rest.begin(), rest.end(), file.begin() + blk0_sz);
    if ((options & RIGHT_CHECK_VALUE) != 0 && blk0_sz >= 18) {
        std::vector<uint8_t> copy = file;
        file[16] = file[17] = copy[16] = copy[17] = 0;
        const auto fold = static_cast<uint16_t>(-check_sum(copy.data(), static_cast<int>(blk0_sz)));
        file[16] = static_cast<uint8_t>(fold);
        file[17] = static_cast<uint8_t>(fold >> 8);
    }
    if ((options & SHORT_FILE) != 0)
        file.resize(START_SIZE - 1);
    return file;
}

void list_file(const std::string &path) {
    g_ctx.df = static_cast<DATAFILE *>(calloc(1, sizeof(DATAFILE)));
    g_ctx.sys.nf = 1;
    g_ctx.df[0].fd = -1;
    snprintf(g_ctx.df[0].name, DIR_SIZE, "%s", path.c_str());
}

// Reads a few blocks, wherever the header's block size puts them.
void read_blocks(const DATAFILE &df) {
    const std::unique_ptr<uint8_t[]> buf(new uint8_t[3 * df.bsz]);
    for (const uint32_t rdba : {0U, 1U, 2U, make_rdba(df.rfn, 2), NO_INDEX}) {
        read_extent_blocks(&df, rdba, 1, buf.get());
        read_extent_blocks(&df, rdba, 3, buf.get());
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::MemoryFile file;
    fuzz::Input in(data, size);
    const uint8_t options = in.u8();
    file.assign(make_file(in, options));

    const fuzz::Run run;
    list_file(file.path());
    if ((options & VERIFY_BLOCKS) != 0)
        g_ctx.par.flag = PAR_CHECKSUM;
    if (open_datafile() == 0) {
        const DATAFILE &df = g_ctx.df[0];
        fuzz::require(df.bsz > 0 && df.bsz <= MAX_BLOCK_SIZE,
                      "block size accepted that no buffer is made for");
        fuzz::require(get_datafile(df.tsn, df.rfn) == &df, "open datafile not found");
        read_blocks(df);
    }
    close_datafile();
    return 0;
}
