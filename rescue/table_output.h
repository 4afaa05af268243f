// The outputs of tables: files of their own, or tables of a database that all share.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "output/format.h"
#include "rescue/options.h"
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

class OutputFactory {
public:
    // Throws UsageError when the program was built without what the format needs, OutputError when an output
    // cannot be created. The options must outlive the factory.
    OutputFactory(const RescueOptions &options, const TextCharsets &charsets);
    ~OutputFactory();

    // Opens the outputs of a table, which must outlive them, at `stem` in the output directory.
    std::unique_ptr<TableOutput> open(const Table &table, const std::string &stem);
    // All tables are done: a shared database gets its name and is entered with each table that has rows in
    // it.
    void finish(std::vector<TableEntry> &tables);

private:
    const RescueOptions &options_;
    std::string charset_;
    std::unique_ptr<Destination> shared_destination_; // both null for formats with files for each table
    std::unique_ptr<Format> shared_;
};

// The files of its own that a table with these stems can have in the output directory.
std::vector<std::string> output_files(const FormatOptions &options, const std::string &stem,
                                      const std::string &suspect_stem);

// The files in the output directory that all tables share.
std::vector<std::string> shared_files(const FormatOptions &options);

// The CRC-32 of an open file. Throws InputError naming `path`.
uint32_t file_crc32(int fd, const std::string &path);

} // namespace vexlo
