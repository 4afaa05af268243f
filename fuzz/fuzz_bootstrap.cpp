// bootstrap$: the statements in it, and the blocks that hold them. Input: a byte of options, then either
// statements separated by NUL or blocks.
#include <algorithm>
#include <vector>

#include "dict/bootstrap.h"
#include "harness.h"

namespace {

constexpr uint8_t AS_BLOCKS = 0x1;
constexpr uint32_t BLOCK_SIZES[] = {512, 1024, 2048, 4096};

// The rows that a run has filled; the others hold what an earlier run left and are not read.
BOOTSTRAP *bootstrap_rows() {
    static std::vector<BOOTSTRAP> rows(BOOTSTRAP_ROWS);
    return rows.data();
}

int take_blocks(fuzz::Input &in, uint32_t bsz) {
    int nbr = 0;
    for (uint32_t i = 0; !in.empty(); i++) {
        const fuzz::HeapBlock block(in.bytes(bsz), bsz);
        nbr += process_bootstrap_block(block.view(0x00400001 + i), bootstrap_rows(), nbr);
        fuzz::require(nbr <= BOOTSTRAP_ROWS, "more rows than there is room for");
    }
    return nbr;
}

int take_statements(fuzz::Input &in) {
    const fuzz::Bytes all = in.rest();
    int nbr = 0;
    for (auto at = all.begin(); at != all.end() && nbr < BOOTSTRAP_ROWS; nbr++) {
        const auto end = std::find(at, all.end(), 0);
        const auto kept = std::min<ptrdiff_t>(end - at, BOOTSTRAP_TEXT - 1);
        char *text = bootstrap_rows()[nbr].text;
        *std::copy(at, at + kept, text) = '\0';
        at = end == all.end() ? end : end + 1;
    }
    return nbr;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Input in(data, size);
    const uint8_t options = in.u8();
    const fuzz::Run run;
    const int nbr =
        (options & AS_BLOCKS) != 0 ? take_blocks(in, BLOCK_SIZES[options >> 1 & 3]) : take_statements(in);
    for (const char *table : {"USER$", "TS$", "OBJ$", "TAB$", "CLU$", "COL$", "IND$"}) {
        int tabn;
        uint32_t rdba;
        get_boot_table_rdba(bootstrap_rows(), nbr, table, &tabn, &rdba);
    }
    return 0;
}
