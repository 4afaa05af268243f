// The eleven sorted dictionary files as a family of types for typed tests.
#pragma once

#include <utility>

#include "dict/sort.h"
#include "store_context.h"

namespace vexlo_test {

constexpr std::uint32_t SPECIAL_OBJN = 0xFFFFFF00; // object number of the first special table in these tests

// One sorted file: record type, base name, sort, key fields (`SECOND` is null for one key).
template <class REC, int (*SORT)(), std::uint32_t REC::*FIRST, std::uint32_t REC::*SECOND = nullptr>
struct file_sort {
    using record = REC;

    static int sort() { return SORT(); }

    static void set_key(REC &record, std::uint32_t first, std::uint32_t second) {
        record.*FIRST = first;
        if constexpr (SECOND != nullptr)
            record.*SECOND = second;
    }

    static bool less(const REC &a, const REC &b) {
        if constexpr (SECOND != nullptr)
            if (a.*FIRST == b.*FIRST)
                return a.*SECOND < b.*SECOND;
        return a.*FIRST < b.*FIRST;
    }

    // Adds the records without which the sort would report a missing special table.
    static void complete(std::vector<REC> &) {}
};

// The files with an array slot and a count of their own.
template <const auto &SLOT, class BASE>
struct counted_file : BASE {
    static constexpr const char *name = SLOT.file;
    static const auto &slot() { return SLOT; }
};

inline int sort_objects() {
    std::uint32_t sobj[SPECIAL_TABLES];
    return sort_obj_by_objn(sobj);
}

inline int sort_tables() {
    std::uint32_t sobj[SPECIAL_TABLES], tabn[SPECIAL_TABLES], rdba[SPECIAL_TABLES];
    for (std::uint32_t k = 0; k < SPECIAL_TABLES; k++)
        sobj[k] = SPECIAL_OBJN + k;
    return sort_tab_by_objn(sobj, tabn, rdba);
}

// The SYS objects of the five special tables.
inline std::vector<OBJ> special_objects() {
    std::vector<OBJ> objects;
    for (std::uint32_t k = 0; k < SPECIAL_TABLES; k++) {
        OBJ obj{.flag = 0, .objn = SPECIAL_OBJN + k, .owner = 0, .type = 2, .name = {}};
        std::snprintf(obj.name, NAME_SIZE, "%s", special_tables[k]->table);
        objects.push_back(obj);
    }
    return objects;
}

// The tables of the five special tables, table k at file k + 1 and block 100 + k.
inline std::vector<TAB> special_tabs() {
    std::vector<TAB> tables;
    for (std::uint32_t k = 0; k < SPECIAL_TABLES; k++) {
        TAB tab{};
        tab.objn = SPECIAL_OBJN + k;
        tab.tabn = 10 + k;
        tab.fno = k + 1;
        tab.blk = 100 + k;
        tables.push_back(tab);
    }
    return tables;
}

struct user_file : counted_file<USER_TABLE, file_sort<USER, sort_user_by_uid, &USER::uid>> {};
struct ts_file : counted_file<TS_TABLE, file_sort<TS, sort_ts_by_tsn, &TS::tsn>> {};
struct obj_file : counted_file<OBJ_TABLE, file_sort<OBJ, sort_objects, &OBJ::objn>> {
    static void complete(std::vector<OBJ> &records) {
        const std::vector<OBJ> special = special_objects();
        records.insert(records.end(), special.begin(), special.end());
    }
};
struct tab_file : counted_file<TAB_TABLE, file_sort<TAB, sort_tables, &TAB::objn>> {
    static void complete(std::vector<TAB> &records) {
        const std::vector<TAB> special = special_tabs();
        records.insert(records.end(), special.begin(), special.end());
    }
};
struct cluster_file : file_sort<CLU, sort_clu_by_objn, &CLU::objn> {
    static constexpr const char *name = "cluster";
};
struct col_file : counted_file<COL_TABLE, file_sort<COL, sort_col_by_scid, &COL::objn, &COL::scid>> {};
struct ind_file : counted_file<IND_TABLE, file_sort<LOBIDX, sort_lob_index_by_objn, &LOBIDX::objn>> {};
struct lob_file : counted_file<LOB_TABLE, file_sort<LOB, sort_lob_by_objn, &LOB::objn, &LOB::cid>> {};
struct tabpart_file
    : counted_file<TABPART_TABLE, file_sort<TABPART, sort_tabpart_by_objp, &TABPART::objp, &TABPART::objn>> {
};
struct tabsubpart_file
    : counted_file<TABSUBPART_TABLE,
                   file_sort<TABSUBPART, sort_tabsubpart_by_objp, &TABSUBPART::objp, &TABSUBPART::objn>> {};
struct tabcompart_file
    : counted_file<TABCOMPART_TABLE,
                   file_sort<TABPART, sort_tabcompart_by_objp, &TABPART::objp, &TABPART::objn>> {};

using counted_files = testing::Types<user_file, ts_file, obj_file, tab_file, col_file, ind_file, lob_file,
                                     tabpart_file, tabsubpart_file, tabcompart_file>;
using all_files = testing::Types<user_file, ts_file, obj_file, tab_file, cluster_file, col_file, ind_file,
                                 lob_file, tabpart_file, tabsubpart_file, tabcompart_file>;

// Names the instances of a typed test after their files.
struct file_names {
    template <class FILE_TYPE>
    static std::string GetName(int) {
        return FILE_TYPE::name;
    }
};

} // namespace vexlo_test
