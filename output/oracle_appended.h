// Long values in a script for Oracle: their row is inserted with an empty LOB, which then grows by blocks of
// PL/SQL of bounded size. SQL*Plus holds one block at a time and the server compiles one, however long the
// value is.
#pragma once

#include <string_view>

#include "output/cell.h"
#include "output/row_batch.h"

namespace vexlo {

// What stands around the rows: rows go to the server by the block of PL/SQL.
constexpr std::string_view ORACLE_BLOCK_HEAD = "BEGIN\n", ORACLE_BLOCK_TAIL = "END;\n/\n";

// The variable of SQL*Plus that names the row while its values grow, its declaration, and the clause of the
// INSERT that sets it.
constexpr std::string_view ORACLE_ROW_VARIABLE = "VARIABLE appended_to VARCHAR2(18)\n";
constexpr std::string_view ORACLE_ROW_RETURNED = " RETURNING ROWIDTOCHAR(ROWID) INTO :appended_to";

// Whether a column may have values that are appended.
bool has_appended_values(const Column &column);

// Whether this value of the column is appended to its row: what comes in pieces, and what is longer than an
// expression should be.
bool is_appended(const Column &column, const Field &field);

// Writes a value behind the INSERT of its row, which is in an open block, as the last one is left.
class AppendedValue {
public:
    AppendedValue(const Table &table, size_t index, RowBatch &batch)
        : table_(table), column_(table.columns[index]), batch_(batch) {}

    // Appends a text or binary cell, whole or in pieces.
    void put(const Cell &cell);

private:
    static constexpr size_t BLOCK_SIZE = 64000; // bytes of values in a block

    void put_bytes(std::string_view data);
    void put_text(std::string_view utf8);
    void begin_statement(size_t bytes);
    void open_block();

    const Table &table_;
    const Column &column_;
    RowBatch &batch_;
    bool is_binary_ = false;
    bool is_open_ = false;
    size_t in_block_ = 0;
};

} // namespace vexlo
