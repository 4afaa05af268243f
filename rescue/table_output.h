// The outputs of tables: files of their own, or tables of a database that all share.
#pragma once

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "output/sqlite_database.h"
#include "rescue/options.h"
#include "rescue/plan.h"
#include "rescue/record.h"

namespace vexlo {

// The outputs of the rows of one table. Destroyed before finish(), it leaves none.
class TableOutput {
public:
    virtual ~TableOutput() = default;
    virtual TableWriter &writer() = 0;
    // The table is complete. Appends its files to `outputs`, those of a shared database apart.
    virtual void finish(std::vector<OutputEntry> &outputs) = 0;
};

// What a planned table is called in a database that all share.
struct SharedNames {
    std::string main, suspect;
};

// These names of all planned tables, in their order; no two are equal.
std::vector<SharedNames> shared_names(const FormatOptions &options, const std::vector<PlannedTable> &tables);

// The shared database of an earlier run, and what is good in it.
struct EarlierDatabase {
    std::string path; // empty when there is none
    std::set<std::string> kept_tables;
};

class OutputFactory {
public:
    // All arguments must outlive the factory. `has_lobs`: LOBs go into their columns in some of the tables.
    OutputFactory(const RescueOptions &options, const TextCharsets &charsets,
                  const std::vector<PlannedTable> &tables, const EarlierDatabase &earlier, bool has_lobs);
    ~OutputFactory();

    // Opens the outputs of a table, which must outlive them, at a stem of a planned table in the output
    // directory. Throws UsageError when the program was built without what the format needs, OutputError when
    // an output cannot be created.
    std::unique_ptr<TableOutput> open(const Table &table, const std::string &stem);
    // What the outputs of a planned table are called where its own name was taken; empty where it was not.
    std::string numbered_name(const Table &table, const PlannedTable &planned) const;
    // The table that is opened next is the last one; a record that names it has to tell what the outputs of
    // all are. Call it when all others are finished.
    void begin_last();
    // All outputs of a table are finished: they stay, whatever becomes of the run.
    void commit();
    // The outputs of a table have failed: what a shared database has of them goes.
    void roll_back();
    // All tables are done: a shared database gets its name and is entered with each table that has rows in
    // it.
    void finish(std::vector<TableEntry> &tables);

private:
    ResumableDatabase &shared();

    const RescueOptions &options_;
    const EarlierDatabase &earlier_;
    const bool has_lobs_;
    std::string charset_;
    std::map<std::string, std::string> shared_names_; // by stem; empty for formats with files for each table
    std::unique_ptr<ResumableDatabase> shared_;       // from the first table on
};

// The files of its own that a table with these stems can have in the output directory.
std::vector<std::string> output_files(const FormatOptions &options, const std::string &stem,
                                      const std::string &suspect_stem);

// The files in the output directory that all tables share: none, or the database.
std::vector<std::string> shared_files(const FormatOptions &options);

// The CRC-32 of an open file, read by so many threads at most. Throws InputError naming `path`.
uint32_t file_crc32(int fd, const std::string &path, size_t jobs = 1);

} // namespace vexlo
