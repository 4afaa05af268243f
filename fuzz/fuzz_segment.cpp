// Segment headers and extent maps, through the unload of a table, the export of a dictionary table, and the
// whole export from bootstrap$ on. Input: a byte of options, the address of
// the header, then the blocks of the one file from address 1 on.
#include <vector>

#include "data/segment.h"
#include "datafile.h"
#include "dict/export.h"
#include "harness.h"

namespace {

constexpr uint32_t BLOCK_SIZES[] = {512, 2048, 1024, 4096};
constexpr uint8_t BIGFILE = 0x4;
constexpr uint8_t VERIFY = 0x8;
constexpr size_t MOST_BLOCKS = 64;

void unload(uint32_t header) {
    static const std::vector<COL> columns(3, COL{0, 1, 1, 1, 1, 30, "C"});
    TAB tab{};
    ULDR ul{};
    ul.fd = fuzz::dump_file().fd();
    ul.lfd = -1;
    ul.hdba = header;
    ul.tabp = &tab;
    ul.cols = columns;
    ul.ordinary = true;
    unload_segment(&ul);
    fuzz::require(ul.lfd == -1, "temporary file stayed open");
}

void export_everything(uint32_t header) {
    g_ctx.sys.rootdba = header;
    fuzz::run_command("export dict");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::MemoryFile file;
    fuzz::Input in(data, size);
    const uint8_t options = in.u8();
    const uint32_t bsz = BLOCK_SIZES[options % std::size(BLOCK_SIZES)];
    const uint32_t header = in.u32();
    file.assign(in.bytes(MOST_BLOCKS * bsz), bsz); // behind block 0

    const fuzz::Run run;
    fuzz::add_datafile(file, 0, 1, bsz, (options & BIGFILE) != 0 ? DF_BIGFILE : 0);
    fuzz::add_datafile(file, 0, 2, bsz * 2);
    if ((options & VERIFY) != 0)
        g_ctx.par.flag = PAR_CHECKSUM;
    switch (options >> 6) {
    case 0:
    case 1:
        unload(header);
        break;
    case 2:
        export_tabpart(0, header, g_ctx.wrk, WORK_SIZE);
        break;
    default:
        export_everything(header);
    }
    return 0;
}
