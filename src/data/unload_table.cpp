#include <algorithm>

#include "console.h"
#include "data/entry.h"
#include "data/ordinary_row.h"
#include "data/segment.h"
#include "datafile.h"
#include "dict_array.h"
#include "format/byte_order.h"

namespace {

COL_INFO column_info(const COL &col) {
    COL_INFO info{};
    info.flag = to_be32((col.flag & COL_NATIONAL) != 0 ? COL_INFO_NATIONAL : 0);
    info.ctyp = to_be32(col.ctyp);
    info.clen = to_be32(col.clen);
    memcpy(info.name, col.name, sizeof info.name);
    return info;
}

// Puts the column list at the start of the empty cache. Returns 0, or -1 after its message.
int put_column_list(ULDR *ul) {
    constexpr uint32_t MOST = CACHE_SIZE / sizeof(COL_INFO);
    uint32_t actual = 0;
    for (const COL &col : ul->cols) {
        if ((col.flag & COL_UNLISTED) != 0)
            continue;
        if (actual < MOST) {
            const COL_INFO info = column_info(col);
            memcpy(ul->cache + actual * sizeof info, &info, sizeof info);
        }
        actual++;
    }
    if (actual != ul->tabp->ncol || actual > MOST) {
        report("column count not matched, COLS=%d, actual=%d\n", static_cast<int>(ul->tabp->ncol),
               static_cast<int>(actual));
        return -1;
    }
    ul->clen = static_cast<int32_t>(actual * sizeof(COL_INFO));
    return 0;
}

// Unloads the segment of a table, a partition or a subpartition.
template <class OWNER>
int unload_segment_of(ULDR *ul, const OWNER &owner) {
    ul->tsn = static_cast<int32_t>(owner.tsn);
    ul->hdba = make_rdba(owner.fno, owner.blk);
    if (unload_segment(ul) == 0)
        return 0;
    report("unload segment error.\n");
    return -1;
}

template <class PART>
bool is_in_order(const DICT_TABLE<PART> &parts) {
    return std::ranges::is_sorted(loaded(parts), {}, &PART::objp);
}

// The records among which those of the parent `objp` are, in their order: all of them where they stand in
// none.
template <class PART>
std::span<PART> parts_near(const DICT_TABLE<PART> &parts, bool in_order, uint32_t objp) {
    const std::span<PART> all = loaded(parts);
    if (!in_order)
        return all;
    const auto first =
        std::partition_point(all.begin(), all.end(), [objp](const PART &part) { return part.objp < objp; });
    const auto last =
        std::partition_point(first, all.end(), [objp](const PART &part) { return part.objp == objp; });
    return {first, last};
}

// Unloads the partitions or subpartitions whose parent is the object `objp`.
template <class PART>
int unload_parts(ULDR *ul, const DICT_TABLE<PART> &parts, bool in_order, uint32_t objp) {
    for (const PART &part : parts_near(parts, in_order, objp))
        if (part.objp == objp && unload_segment_of(ul, part) < 0)
            return -1;
    return 0;
}

int unload_composite(ULDR *ul) {
    const uint32_t objp = ul->tabp->objn;
    for (const TABPART &part : parts_near(TABCOMPART_TABLE, ul->in_order.tabcompart, objp))
        if (part.objp == objp && unload_parts(ul, TABSUBPART_TABLE, ul->in_order.tabsubpart, part.objn) < 0)
            return -1;
    return 0;
}

int unload_segments(ULDR *ul) {
    const TAB &tab = *ul->tabp;
    if ((tab.flag & TAB_PARTITIONED) == 0)
        return unload_segment_of(ul, tab);
    if ((tab.flag & TAB_COMPOSITE) == 0)
        return unload_parts(ul, TABPART_TABLE, ul->in_order.tabpart, tab.objn);
    return unload_composite(ul);
}

} // namespace

PARTS_IN_ORDER find_part_order() {
    return {is_in_order(TABPART_TABLE), is_in_order(TABCOMPART_TABLE), is_in_order(TABSUBPART_TABLE)};
}

int unload_one_table(ULDR *ul) {
    ul->cache = g_ctx.wrk;
    ul->clen = 0;
    ul->tabn = static_cast<int32_t>(ul->tabp->tabn);
    ul->cols = table_columns(*ul->tabp);
    ul->ordinary = has_ordinary_rows(*ul->tabp, ul->cols);
    if (put_column_list(ul) < 0 || unload_segments(ul) < 0)
        return -1;
    put_word(ul, MARK_TABLE_END);
    return write_cache(ul);
}
