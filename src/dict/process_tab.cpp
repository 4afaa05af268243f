#include "dict/dict_bits.h"
#include "dict/process_block.h"

namespace {

// What the property column of TAB$ says about a table. Only the first rule that matches applies.
struct PROPERTY_RULE {
    uint32_t property; // any of these bits
    uint32_t flag;
};

constexpr PROPERTY_RULE property_rules[] = {
    {TAB_PROPERTY_TYPED, TAB_UNSUPPORTED},
    {TAB_PROPERTY_OBJECT_COLUMNS, TAB_OBJECT_COLUMNS | TAB_UNSUPPORTED},
    {TAB_PROPERTY_NESTED_COLUMNS | TAB_PROPERTY_ARRAY_COLUMNS, TAB_UNSUPPORTED},
    {TAB_PROPERTY_PARTITIONED, TAB_PARTITIONED},
    {TAB_PROPERTY_INDEX_ORGANIZED, TAB_INDEX_ORGANIZED | TAB_UNSUPPORTED},
    {TAB_PROPERTY_CLUSTERED, TAB_CLUSTERED},
    {TAB_PROPERTY_LOBS, TAB_HAS_LOB},
    {TAB_PROPERTY_NESTED | TAB_PROPERTY_QUEUE | TAB_PROPERTY_USER_LOBS | TAB_PROPERTY_MATERIALIZED_VIEW,
     TAB_UNSUPPORTED},
    {TAB_PROPERTY_GLOBAL_TEMPORARY, TAB_GLOBAL_TEMPORARY | TAB_UNSUPPORTED},
    {TAB_PROPERTY_EXTERNAL, TAB_UNSUPPORTED},
};

uint32_t table_flags(uint32_t property) {
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
        if ((read_number(row) & FLAGS_ROW_DEPENDENCIES) != 0)
            r.flag |= TAB_ROW_DEPENDENCIES;
        skip(row, 15);
        r.flag |= table_flags(read_number(row));
        return true;
    }
};

} // namespace

int process_tab_block(uint8_t *cblk, const BLOCK &blk, TAB *records, uint32_t tabn, int max_rows, int *nrow) {
    return process_dict_block<TAB_ROWS>(TAB_TABLE, cblk, blk, records, tabn, max_rows, nrow);
}
