// The sorts of the dictionary files. Each reads its file whole, puts its records in order as a selection sort
// with exchanges leaves them, writes the file back and stores the record count in g_ctx.sys; no array stays
// in memory. Each returns 0, or -1 after its message.
#pragma once

#include <cstdint>

// Vectors of special tables hold SPECIAL_TABLES entries in the order of special_tables (dict_table.h).

int sort_user_by_uid();
int sort_ts_by_tsn();

// Also stores the object number of each special table in `sobj`. When one is missing, its message is
// printed, -1 returned, the file left as it was, and the sorted array stays in its slot.
int sort_obj_by_objn(uint32_t *sobj);

// Also stores for each object number of `sobj` the table's number in its cluster in `tabn` and the address
// of its segment header in `rdba`; fails as sort_obj_by_objn does.
int sort_tab_by_objn(const uint32_t *sobj, uint32_t *tabn, uint32_t *rdba);

// Provided with its siblings: the cluster file is used in the order of its export.
int sort_clu_by_objn();

int sort_col_by_scid();
int sort_lob_index_by_objn();
int sort_lob_by_objn();
int sort_tabpart_by_objp();
int sort_tabsubpart_by_objp();
int sort_tabcompart_by_objp();
