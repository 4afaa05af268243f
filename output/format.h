// What every output format is to the rest of the program.
#pragma once

#include <memory>
#include <string>

#include "output/cell.h"
#include "output/output_file.h"

namespace vexlo {

// Turns rows into the bytes of an output. Each thread has its own.
class RowFormatter {
public:
    virtual ~RowFormatter() = default;
    // Appends what the format makes of `row`.
    virtual void format(const Row &row, RowBatch &batch) = 0;
};

// Writes the rows of one table. Destroyed before finish(), it leaves no output.
class TableWriter {
public:
    virtual ~TableWriter() = default;
    // A formatter for this table; several may work at the same time. `decoder`, whose style is set here, and
    // the writer must outlive it.
    virtual std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const = 0;
    // Writes the rows of `batch`, which is cleared. Batches come in the order of their rows, from one thread.
    virtual void write(RowBatch &batch) = 0;
    // The table is complete: its output gets its final name.
    virtual void finish() = 0;
};

// Writes tables, one after the other.
class Format {
public:
    virtual ~Format() = default;
    // Starts a table, which must outlive the writer.
    virtual std::unique_ptr<TableWriter> open_table(const Table &table) = 0;
    // All tables are done.
    virtual void finish() {}
};

struct FormatOptions {
    std::string format;  // csv, jsonl, sql, sqlldr or sqlite
    std::string dialect; // of sql: oracle, postgresql or sqlite
    bool lf = false;     // of csv: lines end with LF alone
    bool raw = false;    // text is passed through in the character set of the dump
};

// The format for the tables of one input. `database` names the output where all tables share one; `charset`
// is Oracle's name of the character set of text that is passed through. Throws UsageError when the program
// was built without what the format needs, OutputError when its output cannot be created.
std::unique_ptr<Format> make_format(const FormatOptions &options, Destination &destination,
                                    const std::string &database, const std::string &charset);

// The name that the output of a table is given: "OWNER.TABLE".
std::string output_name(const Table &table);

// The formats make_format() builds, one function each.
std::unique_ptr<Format> make_csv_format(Destination &destination, bool lf);
std::unique_ptr<Format> make_jsonl_format(Destination &destination);
std::unique_ptr<Format> make_sql_format(Destination &destination, const std::string &dialect);
std::unique_ptr<Format> make_sqlldr_format(Destination &destination, const std::string &charset);
std::unique_ptr<Format> make_sqlite_format(Destination &destination, const std::string &name);

} // namespace vexlo
