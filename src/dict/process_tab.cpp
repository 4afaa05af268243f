#include "dict/process_block.h"

namespace {

// What the property column of TAB$ says about a table. Only the first rule that matches applies.
struct PROPERTY_RULE {
    uint32_t property; // any of these bits
    uint32_t flag;
};

constexpr PROPERTY_RULE property_rules[] = {
    {0x1, TAB_UNSUPPORTED},
    {0x2, TAB_PROPERTY_2 | TAB_UNSUPPORTED},
    {0x4 | 0x10, TAB_UNSUPPORTED},
    {0x20, TAB_PARTITIONED},
    {0x40, TAB_PROPERTY_6 | TAB_UNSUPPORTED},
    {0x400, TAB_PROPERTY_10},
    {0x800, TAB_HAS_LOB},
    {0x2000 | 0x20000 | 0x40000 | 0x100000, TAB_UNSUPPORTED},
    {0x400000, TAB_PROPERTY_22 | TAB_UNSUPPORTED},
    {0x80000000, TAB_UNSUPPORTED},
};

uint32_t property_flags(uint32_t property) {
    for (const PROPERTY_RULE &rule : property_rules)
        if ((property & rule.property) != 0)
            return rule.flag;
    return 0;
}

// Rows of TAB$, keyed by obj#.
struct TAB_ROWS {
    static constexpr bool clustered = true;
    static constexpr bool takes_continued = false;

    static bool read(ROW_CURSOR &row, uint32_t key, TAB &r) {
        r.objn = key;
        r.objd = read_number(row);
        r.tsn = read_number(row);
        r.fno = read_number(row);
        r.blk = read_number(row);
        r.objb = read_number(row);
        r.tabn = read_number(row);
        r.ncol = read_number(row);
        skip(row, 5);
        if ((read_number(row) & FLAGS_ROW_EXTRA) != 0)
            r.flag |= TAB_ROW_EXTRA;
        skip(row, 15);
        r.flag |= property_flags(read_number(row));
        return true;
    }
};

} // namespace

int process_tab_block(uint8_t *cblk, const BLOCK &blk, TAB *records, uint32_t tabn, int max_rows, int *nrow) {
    return process_dict_block<TAB_ROWS>(TAB_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
