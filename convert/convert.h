// The conversion of whole dumps.
#pragma once

#include <atomic>
#include <cstdint>
#include <exception>
#include <mutex>
#include <string>

#include "convert/conversion_queue.h"
#include "convert/dump_file.h"
#include "convert/dump_reader.h"
#include "convert/dump_texts.h"
#include "convert/options.h"
#include "convert/selection.h"
#include "output/format.h"
#include "output/load_script.h"
#include "output/progress.h"
#include "output/report.h"

namespace vexlo {

class Conversion {
public:
    // Throws UsageError.
    Conversion(const Options &options, Report &report);

    // Converts the tables of every file of the options that are selected; what fails is reported and the next
    // one is done. Ends with a line that sums up, unless the options say otherwise. Throws UsageError.
    void run();

private:
    void work();
    bool convert_table(TableTask &task);
    void complete(TableTask &task, uint64_t rows);
    void write_load_script();
    bool keeps_earlier(const TableWriter &writer);
    std::string write_table(DumpReader &reader, CellDecoder &decoder, const TableTask &task,
                            TableReport &report);
    unsigned tables_at_once() const;
    void summarise(double seconds);

    const Options &options_;
    Report &report_;
    TableSelection selection_;
    Destination destination_;
    LoadScript load_script_;
    ConversionQueue queue_;
    Progress progress_;
    std::mutex progress_mutex_;
    std::mutex failure_mutex_;
    std::exception_ptr failure_; // what a thread ended with
    std::atomic<uint64_t> tables_done_ = 0, rows_done_ = 0;
};

// Adds what the reader found damaged since the last call.
void add_damage(DumpReader &reader, RowLosses &losses);

// Reports how the table, read to its end, differs from what the directory says.
void report_end(const DumpReader &reader, const TableInfo &info, TableReport &report);

} // namespace vexlo
