// What every output format is to the rest of the program.
#pragma once

#include <memory>
#include <string>

#include "output/cell.h"
#include "output/output_file.h"

namespace vexlo {

// Writes the rows of one table. Destroyed before finish(), it leaves no output.
class TableWriter {
public:
    virtual ~TableWriter() = default;
    virtual void write_row(const Row &row) = 0;
    // The table is complete: its output gets its final name.
    virtual void finish() = 0;
};

// Writes the tables of one dump, one after the other.
class Format {
public:
    virtual ~Format() = default;
    // Starts a table. `decoder` gives its cells and outlives the writer; its style is set here.
    virtual std::unique_ptr<TableWriter> open_table(CellDecoder &decoder) = 0;
    // All tables of the dump are done.
    virtual void finish() {}
};

struct FormatOptions {
    std::string format;  // csv, jsonl, sql, sqlldr or sqlite
    std::string dialect; // of sql: oracle, postgresql or sqlite
    bool lf = false;     // of csv: lines end with LF alone
    bool raw = false;    // text is passed through in the character set of the dump
};

// The format for one dump, the file at `dump_path` with character set `charset` (Oracle's name). Throws
// UsageError when the program was built without what the format needs, OutputError when its output cannot be
// created.
std::unique_ptr<Format> make_format(const FormatOptions &options, Destination &destination,
                                    const std::string &dump_path, const std::string &charset);

// The name that the output of a table is given: "OWNER.TABLE".
std::string output_name(const Table &table);

// The formats make_format() builds, one function each.
std::unique_ptr<Format> make_csv_format(Destination &destination, bool lf);
std::unique_ptr<Format> make_jsonl_format(Destination &destination);
std::unique_ptr<Format> make_sql_format(Destination &destination, const std::string &dialect);
std::unique_ptr<Format> make_sqlldr_format(Destination &destination, const std::string &charset);
std::unique_ptr<Format> make_sqlite_format(Destination &destination, const std::string &dump_path);

} // namespace vexlo
