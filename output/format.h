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
    // Where the output will be, with several files the one that a loader starts from; empty for standard
    // output.
    virtual std::string path() const { return ""; }
    // Whether rows go into the output at all; where not, none need to be read.
    virtual bool takes_rows() const { return true; }
    // Tells, when the table is complete, what became of rows that are not in the output.
    virtual void tell(TableReport &) const {}
};

// Writes tables, one after the other.
class Format {
public:
    virtual ~Format() = default;
    // Starts a table, which must outlive the writer.
    virtual std::unique_ptr<TableWriter> open_table(const Table &table) = 0;
    // The table's writer was destroyed before finish(); the table can be started again.
    virtual void give_up(const Table &) {}
    // All tables are done.
    virtual void finish() {}
};

enum class SqlPart : uint8_t { all, ddl, data };

// What stands in front of the extension of a file that has this part: both parts of a table can be in one
// directory.
std::string part_suffix(SqlPart part);

struct FormatOptions {
    std::string format;           // csv, jsonl, sql, sqlldr or sqlite
    std::string dialect;          // of sql and csv: oracle, postgresql or sqlite; empty for oracle and none
    bool lf = false;              // of csv: lines end with LF alone
    bool raw = false;             // text is passed through in the character set of the dump
    std::string null_text = {};   // of csv: what stands for NULL
    char delimiter = ',';         // of csv
    bool header = true;           // of csv
    std::string date_format = {}; // of csv and jsonl: how moments are written, in letters of strftime
    bool json_number_strings = false;
    SqlPart part = SqlPart::all; // of sql
    bool real_numbers = false;   // of sqlite: every NUMBER is a number
    std::string compress = {};   // of csv, jsonl and sql: gzip or zstd
    bool lowercase = false;      // names of tables and columns

    CellStyle cell_style() const { return {MomentStyle::iso, IntervalStyle::iso, date_format}; }
};

// Why the option, by its name on the command line, does not go with the format; empty when it does.
std::string option_fault(const std::string &option, const std::string &format);

// What is wrong with the options of the format, as far as they do not fit each other or mean nothing; empty
// when nothing is.
std::string format_options_fault(const FormatOptions &options);

// Throws UsageError when text is to be passed through and cannot: the format is in UTF-8, or the character
// set `charset`, by Oracle's name, does not suit it or every column of the table.
void check_raw_text(const FormatOptions &options, const Table &table, const std::string &charset);

// Names of one kind in the output that must differ from each other, of the size that the target takes.
UniqueNames output_names(const FormatOptions &options);

// Gives the table and its columns the names they have in the output. Returns what is to be told of those that
// became others, but for the case of letters.
std::vector<std::string> apply_output_names(const FormatOptions &options, Table &table);

// The format for the tables of one input. `database` names the output where all tables share one; `charset`
// is Oracle's name of the character set of text that is passed through. Throws UsageError when the program
// was built without what the format needs, OutputError when its output cannot be created.
std::unique_ptr<Format> make_format(const FormatOptions &options, Destination &destination,
                                    const std::string &database, const std::string &charset);

// The name that the output of a table is given: "OWNER.TABLE".
std::string output_name(const Table &table);

// The formats make_format() builds, one function each.
std::unique_ptr<Format> make_csv_format(Destination &destination, const FormatOptions &options);
std::unique_ptr<Format> make_jsonl_format(Destination &destination, const FormatOptions &options);
std::unique_ptr<Format> make_sql_format(Destination &destination, const FormatOptions &options,
                                        const std::string &charset);
std::unique_ptr<Format> make_sqlldr_format(Destination &destination, const std::string &charset);
std::unique_ptr<Format> make_sqlite_format(Destination &destination, const std::string &name,
                                           const FormatOptions &options);

} // namespace vexlo
