// The tables of a run in the order they are converted, handed out to any number of threads.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "convert/dump_file.h"
#include "convert/dump_texts.h"
#include "convert/input_file.h"
#include "convert/options.h"
#include "convert/selection.h"
#include "output/format.h"
#include "output/report.h"

namespace vexlo {

// A dump that is being converted. Its output is complete, and takes the place of an older one, when the last
// of its tables is done and none of them has failed.
struct DumpRun {
    DumpRun(DumpFile file, const Options &options, Report &report)
        : dump(std::move(file)), texts(dump, options, report) {}

    DumpFile dump;
    DumpTexts texts;
    std::unique_ptr<Format> format; // null until the first table is known
    std::vector<const TableInfo *> tables;
    size_t next = 0; // of `tables` to be handed out
    size_t open = 0; // handed out and not done
    bool failed = false;
};

// One table with its open output.
struct TableTask {
    std::shared_ptr<DumpRun> run;
    std::optional<TableInfo> refined; // what `info` points to when the table is not what it seemed at first
    const TableInfo *info = nullptr;
    uint64_t number = 0; // in the order of the run
    Table table;
    std::unique_ptr<TableWriter> writer;
};

class ConversionQueue {
public:
    // All must outlive the queue.
    ConversionQueue(const Options &options, TableSelection &selection, Destination &destination,
                    Report &report);

    // The next table that can be converted, its output opened; false when there is none left. Dumps and
    // tables that cannot be are reported. Throws UsageError, which ends the queue for all threads.
    bool take(TableTask &task);
    // Opens the output of the task anew for the table as `info` describes it, with the columns that follow;
    // what it has so far is given up. False when that fails, which is reported.
    bool start_again(TableTask &task, const TableInfo &info);
    // The task is done; `failed` when its output could not be written.
    void done(TableTask &task, bool failed);

    // Bytes of the dumps that have been done.
    uint64_t bytes_done() const { return bytes_done_; }

private:
    bool take_next(TableTask &task);
    bool open_next();
    void select_tables(DumpRun &run);
    void check_standard_output(const DumpRun &run) const;
    void check_text(DumpRun &run) const;
    void read_ahead(TableTask &task) const;
    bool open_output(TableTask &task);
    bool open_writer(TableTask &task);
    void name_output(const DumpRun &run, Table &table);
    void finish(DumpRun &run);

    const Options &options_;
    TableSelection &selection_;
    Destination &destination_;
    Report &report_;
    InputFiles files_;
    std::map<std::string, UniqueNames> names_; // of tables, by where they must differ
    std::mutex mutex_;
    std::shared_ptr<DumpRun> current_;
    bool stopped_ = false; // by an exception
    uint64_t bytes_done_ = 0;
    uint64_t handed_out_ = 0; // tables
};

} // namespace vexlo
