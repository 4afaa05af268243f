// The twelve dictionary tables: all by which the program tells one from the other. The export, the load, the
// sorts and the listings take it from here.
#pragma once

#include <tuple>

#include "vexlo.h"

// Where the export learns of a table's segment, besides a place in special_tables.
constexpr int IN_BOOTSTRAP = -1; // from a statement of bootstrap$

// What can be said of a table whatever its records are.
struct DICT_FACTS {
    const char *table;       // its name in the database
    const char *label;       // the same in progress lines, which add the dollar sign
    const char *file;        // base name of its dictionary file
    const char *what;        // what the message of a failed write calls it
    uint32_t ZUKSYS::*count; // number of its records: exported, or visible to listings
    int segment;             // IN_BOOTSTRAP or its place in special_tables
};

// A table whose records are REC.
template <class REC>
struct DICT_TABLE : DICT_FACTS {
    REC *ZUKCTX::*array; // slot of the loaded records; null for a table that has none
};

inline constexpr DICT_TABLE<USER> USER_TABLE{{"USER$", "user", "user", "user", &ZUKSYS::nu, IN_BOOTSTRAP},
                                             &ZUKCTX::usr};
inline constexpr DICT_TABLE<TS> TS_TABLE{{"TS$", "ts", "ts", "tablespace", &ZUKSYS::nts, IN_BOOTSTRAP},
                                         &ZUKCTX::ts};
inline constexpr DICT_TABLE<OBJ> OBJ_TABLE{{"OBJ$", "obj", "obj", "object", &ZUKSYS::nobj, IN_BOOTSTRAP},
                                           &ZUKCTX::obj};
inline constexpr DICT_TABLE<TAB> TAB_TABLE{{"TAB$", "tab", "tab", "table", &ZUKSYS::ntab, IN_BOOTSTRAP},
                                           &ZUKCTX::tab};
// Clusters have no counter of their own: the table counter holds their number until the tables are sorted.
inline constexpr DICT_TABLE<CLU> CLU_TABLE{{"CLU$", "clu", "cluster", "cluster", &ZUKSYS::ntab, IN_BOOTSTRAP},
                                           nullptr};
inline constexpr DICT_TABLE<COL> COL_TABLE{{"COL$", "col", "col", "column", &ZUKSYS::ncol, IN_BOOTSTRAP},
                                           &ZUKCTX::col};
inline constexpr DICT_TABLE<LOBIDX> IND_TABLE{
    {"IND$", "ind", "ind", "lob index", &ZUKSYS::nidx, IN_BOOTSTRAP}, &ZUKCTX::lidx};
inline constexpr DICT_TABLE<LOB> LOB_TABLE{{"LOB$", "lob", "lob", "lob", &ZUKSYS::nlob, 0}, &ZUKCTX::lob};
inline constexpr DICT_TABLE<TABPART> TABPART_TABLE{
    {"TABPART$", "tabpart", "tabpart", "tabpart", &ZUKSYS::ntp, 1}, &ZUKCTX::tp};
inline constexpr DICT_TABLE<TABSUBPART> TABSUBPART_TABLE{
    {"TABSUBPART$", "tabsubpart", "tabsubpart", "tabsubpart", &ZUKSYS::ntsp, 2}, &ZUKCTX::tsp};
inline constexpr DICT_TABLE<TABPART> TABCOMPART_TABLE{
    {"TABCOMPART$", "tabcompart", "tabcompart", "tabcompart", &ZUKSYS::ntcp, 3}, &ZUKCTX::tcp};
// Properties have no counter either: the object counter holds their number.
inline constexpr DICT_TABLE<PROPS> PROPS_TABLE{{"PROPS$", "props", "props", "property", &ZUKSYS::nobj, 4},
                                               nullptr};

// The tables that bootstrap$ does not describe. The sorts of OBJ$ and TAB$ find their segments and fill
// vectors in this order.
inline constexpr const DICT_FACTS *special_tables[] = {&LOB_TABLE, &TABPART_TABLE, &TABSUBPART_TABLE,
                                                       &TABCOMPART_TABLE, &PROPS_TABLE};
constexpr int SPECIAL_TABLES = 5;
static_assert(sizeof special_tables / sizeof special_tables[0] == SPECIAL_TABLES);
static_assert([] {
    for (int k = 0; k < SPECIAL_TABLES; k++)
        if (special_tables[k]->segment != k)
            return false;
    return true;
}());

// The tables that have arrays, in the order in which they are loaded.
inline constexpr std::tuple loaded_tables(USER_TABLE, TS_TABLE, OBJ_TABLE, TAB_TABLE, COL_TABLE,
                                          TABPART_TABLE, TABCOMPART_TABLE, TABSUBPART_TABLE, LOB_TABLE,
                                          IND_TABLE);
