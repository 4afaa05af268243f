// What the flags and the type of a column mean for its stored values.
#pragma once

#include "vexlo.h"

// True for a stored column that is not unloaded: its values are stepped over.
inline bool is_skipped(const COL &col) {
    return (col.flag & (COL_HIDDEN | COL_UNUSED)) != 0;
}

// True for a column whose values stand in the cluster key row, not in the table's own row.
inline bool is_cluster_key(const COL &col) {
    return (col.flag & COL_CLUSTER_KEY) != 0;
}

// True for LONG and LONG RAW.
inline bool is_long(const COL &col) {
    return col.ctyp == TYPE_LONG || col.ctyp == TYPE_LONG_RAW;
}

// True for CLOB and BLOB.
inline bool is_lob(const COL &col) {
    return col.ctyp == TYPE_CLOB || col.ctyp == TYPE_BLOB;
}

// True for a column whose values go into the dump as they come from the row piece or the cluster key.
inline bool is_ordinary(const COL &col) {
    return !is_skipped(col) && !is_long(col) && !is_lob(col);
}
