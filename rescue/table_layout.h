// How the rows of one table are stored and which columns come out of them: what the row reader needs to know.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "output/cell.h"
#include "rescue/dictionary.h"
#include "values/padded_bytes.h"

namespace vexlo {

// A column of a row in the order of storage.
struct StoredColumn {
    int32_t output = -1;    // index of the column in Table::columns; -1 for one that is passed over
    bool from_key = false;  // stored in the cluster key row
    bool is_long = false;   // LONG or LONG RAW: of any size
    bool is_lob = false;    // its value is a locator
    bool is_bfile = false;  // the locator names a file outside the database
    bool is_text = false;   // a VARCHAR2 or NVARCHAR2; where it is a LOB, its bytes are characters
    bool national = false;  // these are of the national character set
    bool encrypted = false; // its value is ciphertext, which is not given; of a LOB what the locator leads to
    uint16_t internal_column = 0; // INTCOL#
};

// A column that rows older than itself read as a value.
struct AddedDefault {
    uint32_t stored = 0;      // index in TableLayout::stored
    int32_t output = -1;      // index in Table::columns
    int32_t guard = -1;       // bit of the guard column that says that a row has a value of its own; -1: none
    bool when_absent = false; // without a guard: a NULL that is stored stays NULL
    bool known = false;       // the default is known; else such rows read as NULL and are counted
    bool is_null = false;     // the default is NULL
    PaddedBytes value;
};

// Whether head pieces carry an SCN in front of their columns; not known where the table's row is lost.
enum class Dependencies : uint8_t { none, carried, unknown };

struct TableLayout {
    uint32_t object = 0; // object number of the table
    Table table;         // owner, name and the columns that come out, in output order; all UTF-8
    std::vector<StoredColumn> stored;
    bool all_stored = false; // rows have no values beyond `stored`: every column is known
    std::vector<AddedDefault> defaults;
    int32_t guard_column = -1;  // index in `stored` of the guard column of added defaults
    uint32_t cluster_table = 0; // number of the table in its blocks; 0 outside a cluster
    Dependencies dependencies = Dependencies::none;
    std::vector<uint16_t> internal_columns; // INTCOL# of each output column
    std::vector<std::string> renamed;       // lines that tell which columns have other names than stored
    uint32_t object_columns =
        0; // of these: columns of object types whose attributes do not come out, always NULL
};

// `hidden`: hidden, unused and virtual columns come out behind the others.
TableLayout make_layout(const Dictionary &dictionary, const TableRecord &table, bool hidden = false);

} // namespace vexlo
