// The twelve dictionary row decoders. Input: the decoder, the table number in the cluster, the room for
// records, the block size, the block, and behind it the blocks from address 1 on, which migrated rows may
// lead to.
#include "dict/row_decoders.h"
#include "harness.h"

namespace {

constexpr uint32_t BLOCK_SIZES[] = {512, 1024, 4096, 2048};
constexpr uint32_t HOME_RDBA = 0x00400001;

using Decode = void (*)(uint8_t *cblk, const BLOCK &blk, uint32_t tabn, int max_rows);

template <class REC, auto DECODE>
void decode(uint8_t *cblk, const BLOCK &blk, uint32_t tabn, int max_rows) {
    const std::unique_ptr<REC[]> records(new REC[static_cast<size_t>(max_rows)]);
    int nrow = 0;
    DECODE(cblk, blk, records.get(), tabn, max_rows, &nrow);
    fuzz::require(nrow >= 0 && nrow < max_rows, "record array not written when it was full");
}

constexpr Decode decoders[] = {
    decode<USER, process_user_block>,
    decode<TS, process_ts_block>,
    decode<OBJ, process_obj_block>,
    decode<TAB, process_tab_block>,
    decode<CLU, process_clu_block>,
    decode<COL, process_col_block>,
    decode<LOBIDX, process_ind_block>,
    decode<LOB, process_lob_block>,
    decode<TABPART, process_tabpart_block>,
    decode<TABSUBPART, process_tabsubpart_block>,
    decode<TABPART, process_tabcompart_block>,
    decode<PROPS, process_props_block>,
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const fuzz::MemoryFile file;
    fuzz::Input in(data, size);
    const Decode decoder = decoders[in.u8() % std::size(decoders)];
    const uint32_t tabn = in.u8() % 8;
    const int max_rows = 1 + in.u8();
    const uint8_t options = in.u8();
    const uint32_t bsz = BLOCK_SIZES[options % std::size(BLOCK_SIZES)];

    const fuzz::HeapBlock home(in.bytes(bsz), bsz);
    fuzz::HeapBlock cblk({}, bsz);
    file.assign(in.rest(), bsz); // behind block 0
    const fuzz::Run run;
    fuzz::add_datafile(file, 0, 1, bsz);
    if ((options & 0x80) != 0)
        g_ctx.par.flag = PAR_CHECKSUM;
    decoder(cblk.data(), home.view(HOME_RDBA), tabn, max_rows);
    return 0;
}
