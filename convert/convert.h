// The conversion of whole dumps.
#pragma once

#include <cstdint>
#include <set>
#include <string>

#include "convert/dump_file.h"
#include "convert/dump_reader.h"
#include "convert/dump_texts.h"
#include "convert/options.h"
#include "output/format.h"
#include "output/progress.h"
#include "output/report.h"

namespace vexlo {

class Conversion {
public:
    Conversion(const Options &options, Report &report);

    // Converts every file of the options; what fails is reported and the next one is done. Throws UsageError
    // and, when the output directory cannot be used, OutputError.
    void run();

private:
    void convert_file(const std::string &path);
    void convert_dump(const DumpFile &dump);
    void convert_table(const DumpFile &dump, const TableInfo &info, DumpTexts &texts, Format &format);
    void write_rows(DumpReader &reader, CellDecoder &decoder, TableWriter &writer, TableReport &report);
    bool is_selected(const std::string &name);
    void check_standard_output(const DumpFile &dump);

    const Options &options_;
    Report &report_;
    Destination destination_;
    Progress progress_;
    std::set<std::string> tables_found_; // of those the options name
    uint64_t bytes_done_ = 0;            // of the dumps before this one
};

// Adds what the reader found damaged since the last call.
void add_damage(DumpReader &reader, RowLosses &losses);

// Reports how the table, read to its end, differs from what the directory says.
void report_end(const DumpReader &reader, const TableInfo &info, TableReport &report);

} // namespace vexlo
