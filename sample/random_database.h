// Random databases together with what must come out of them: the same seed gives the same database.
#pragma once

#include "database.h"
#include "random_value.h"

namespace sample {

struct RandomDatabaseOptions {
    uint32_t seed = 1;
    unsigned tables = 8;
    unsigned rows = 60; // most rows of one table
    // Also what the console program cannot unload: the full dictionary of 11g or 12c over several files, long
    // names, virtual columns, values cut over row pieces with columns behind them, LONG columns anywhere and
    // of more than 32 KiB, and blocks of an earlier owner of the space.
    bool beyond_console = false;
    // LOB columns have data, where otherwise they are NULL in every row; beyond the console also columns that
    // were added with a default, which is a LOB of the dictionary.
    bool lobs = false;
};

using ExpectedRow = std::vector<std::optional<std::string>>; // the shown text of each column

// A table as it must be recovered: the columns that a query shows, in that order, and the rows that are not
// deleted, in the order in which the table's segments hold them.
struct ExpectedTable {
    std::string owner;
    std::string name;
    bool partitioned = false; // then the rows of each partition follow each other, first partition first
    std::vector<std::string> columns;
    std::vector<ExpectedRow> rows;
};

// Writes a finished database into dir and returns its tables, in object number order.
std::vector<ExpectedTable> write_random_database(const std::filesystem::path &dir,
                                                 const RandomDatabaseOptions &options);

} // namespace sample
